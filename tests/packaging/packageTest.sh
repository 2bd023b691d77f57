#!/usr/bin/env bash
# Builds the Debian packages from a build tree, checks their metadata and
# contents, unpacks them into a scratch root (nothing is installed on the
# machine) and uses them there as an administrator would: the unpacked
# writer makes an audit directory, the unpacked loader loads it into a SQLite
# database made from the unpacked schema. Then lints the man pages and
# verifies the systemd units.
#   packageTest.sh BUILD_DIRECTORY
set -euo pipefail
build="$(cd "$1" && pwd)"

scratch="$(mktemp -d /tmp/afp-package-XXXXXX)"
trap 'rm -rf "$scratch"' EXIT
failures=0
fail() { echo "FAIL: $*" >&2 && failures=$((failures + 1)); }

# --- Build the packages --------------------------------------------------
cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages" >"$scratch/cpack.log" 2>&1 ||
    { cat "$scratch/cpack.log" >&2 && echo "FAIL: cpack" >&2 && exit 1; }
arch="$(dpkg --print-architecture)"
loader_deb=("$scratch"/packages/qxesauditfileprocessor_*_"$arch".deb)
gen_deb=("$scratch"/packages/qxesauditgen_*_"$arch".deb)
for deb in "${loader_deb[0]}" "${gen_deb[0]}"; do [ -f "$deb" ] || { fail "no package $deb" && exit 1; }; done

# --- Metadata --------------------------------------------------------------
field() { dpkg-deb -f "$1" "$2"; }
depends_has() { # DEB PACKAGE yes|no
    local depends has=no
    depends="$(field "$1" Depends)"
    [[ ", $depends," =~ [\ ,]${2}[\ ,] ]] && has=yes
    [ "$has" = "$3" ] || fail "$(basename "$1"): depends on $2: $has, wanted $3 ($depends)"
}
[ "$(field "${loader_deb[0]}" Package)" = qxesauditfileprocessor ] || fail "loader package name"
[ "$(field "${gen_deb[0]}" Package)" = qxesauditgen ] || fail "writer package name"
# Dependencies come from the libraries each binary really links.
for dependency in libc6 libsqlite3-0 libpq5 adduser; do
    depends_has "${loader_deb[0]}" "$dependency" yes
done
for dependency in libc6:yes libsqlite3-0:no libpq5:no; do
    depends_has "${gen_deb[0]}" "${dependency%:*}" "${dependency#*:}"
done

dpkg-deb -e "${loader_deb[0]}" "$scratch/control"
for script in postinst prerm postrm; do
    [ -x "$scratch/control/$script" ] || fail "maintainer script $script missing or not executable"
    sh -n "$scratch/control/$script" || fail "maintainer script $script does not parse"
done
sort "$scratch/control/conffiles" |
    diff -u <(printf '%s\n' /etc/logrotate.d/qxesauditfileprocessor /etc/qxesauditfileprocessor/loader.env) - ||
    fail "conffiles are not the files under /etc"

# --- Contents: exactly these files, all owned by root -----------------------
contents() { dpkg-deb -c "$1" | awk '$1 !~ /^d/ { sub(/^\./, "", $6); print $6 }' | sort; }
contents "${loader_deb[0]}" | diff -u - <(sort <<'EOF'
/etc/logrotate.d/qxesauditfileprocessor
/etc/qxesauditfileprocessor/loader.env
/lib/systemd/system/qxesauditfileprocessor.service
/lib/systemd/system/qxesauditfileprocessor.timer
/usr/bin/qxesauditfileprocessor
/usr/bin/qxesauditreport
/usr/share/man/man1/qxesauditfileprocessor.1.gz
/usr/share/man/man1/qxesauditreport.1.gz
/usr/share/qxesauditfileprocessor/en-us/afpmsg.cat
/usr/share/qxesauditfileprocessor/schema/postgresql-distributed.sql
/usr/share/qxesauditfileprocessor/schema/postgresql.sql
/usr/share/qxesauditfileprocessor/schema/sqlite.sql
EOF
) || fail "unexpected contents of the loader package"
contents "${gen_deb[0]}" | diff -u - <(printf '%s\n' /usr/bin/qxesauditgen /usr/share/man/man1/qxesauditgen.1.gz) ||
    fail "unexpected contents of the writer package"
for deb in "${loader_deb[0]}" "${gen_deb[0]}"; do
    ! dpkg-deb -c "$deb" | awk '$2 != "root/root"' | grep . || fail "$(basename "$deb") has files not owned by root"
done

# --- Unpack and use ----------------------------------------------------------
root="$scratch/root"
dpkg-deb -x "${loader_deb[0]}" "$root"
dpkg-deb -x "${gen_deb[0]}" "$root"
for program in qxesauditfileprocessor qxesauditgen qxesauditreport; do
    file -b "$root/usr/bin/$program" | grep -q ', stripped' || fail "$program is not stripped"
done

# The loader must find its catalogue from where the package puts it: with the
# catalogue, the usage comes as text; without it, only as identifiers.
"$root/usr/bin/qxesauditfileprocessor" >"$scratch/usage.out" 2>"$scratch/usage.err" || true
grep -q '^AFP-0044: Too few arguments' "$scratch/usage.out" ||
    fail "the unpacked loader does not find its catalogue: $(cat "$scratch/usage.out" "$scratch/usage.err")"
[ ! -s "$scratch/usage.err" ] || fail "the unpacked loader wrote to standard error: $(cat "$scratch/usage.err")"

audit="$scratch/audit"
"$root/usr/bin/qxesauditgen" --output "$audit" --seed 11 --files 2 --lines 400 --live >/dev/null ||
    fail "the unpacked writer failed"
database="$scratch/audit.db"
sqlite3 "$database" <"$root/usr/share/qxesauditfileprocessor/schema/sqlite.sql" >/dev/null
"$root/usr/bin/qxesauditfileprocessor" -dbname "$database" -dbconnect 'LOCAL;SQ;' -dbuser audit \
    -dbpass unused -auditlocation "$audit" >"$scratch/load.out" 2>&1 ||
    fail "the unpacked loader exited with $?"
! grep -v '^AFP-0058:' "$scratch/load.out" | grep . || fail "the load of a generated directory showed messages"
loaded=$(find "$audit" -name '*.___' | wc -l)
[ "$loaded" -eq 2 ] || fail "$loaded files renamed to .___ instead of 2: $(ls "$audit")"
[ -f "$audit/qxes_audit.log" ] || fail "the live file was taken"
for table in QXES_DISPATCHER QXES_SESSION QXES_REQUEST QXES_DIM_USAGE; do
    rows=$(sqlite3 "$database" "SELECT COUNT(*) FROM $table")
    [ "$rows" -gt 0 ] || fail "no rows landed in $table"
done

# --- Man pages: lint clean, and every option of the usage documented --------
for page in qxesauditfileprocessor qxesauditgen qxesauditreport; do
    lint="$(MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/$page.1.gz" 2>&1 >/dev/null)"
    [ -z "$lint" ] || fail "man page $page: $lint"
done
# An option is documented when it heads an entry (the line after .TP), not
# merely when the synopsis names it.
documented() {
    local page="$1" option
    zcat "$root/usr/share/man/man1/$page.1.gz" | awk 'previous == ".TP" { print } { previous = $0 }' \
        >"$scratch/$page.entries"
    while read -r option; do
        grep -qE -- "^\.B[IR]? (.* )?${option//-/\\\\-}([ \",]|\$)" "$scratch/$page.entries" ||
            fail "man page $page does not document $option"
    done
}
documented qxesauditfileprocessor < <(grep -oE '^  -[a-z]+' "$scratch/usage.out" | tr -d ' ')
"$root/usr/bin/qxesauditgen" --no-such-option >"$scratch/gen-usage.out" 2>&1 || true
documented qxesauditgen < <(grep -oE '^  --[a-z-]+' "$scratch/gen-usage.out" | tr -d ' ')

# --- systemd units ------------------------------------------------------------
units=(/lib/systemd/system/qxesauditfileprocessor.service /lib/systemd/system/qxesauditfileprocessor.timer)
# Each variable the service expands must be set by the environment file.
while read -r variable; do
    grep -qE "^$variable=" "$root/etc/qxesauditfileprocessor/loader.env" ||
        fail "loader.env does not set $variable"
done < <(grep -oE 'AFP_[A-Z_]+' "$root${units[0]}" | sort -u)
if command -v systemd-analyze >/dev/null; then
    # --root resolves the program and, through MANPATH, the Documentation= page
    # in the unpacked tree; the host's own targets are not there to check.
    MANPATH="$root/usr/share/man" systemd-analyze verify --recursive-errors=no --root="$root" \
        "${units[@]}" >"$scratch/verify.out" 2>&1 && [ ! -s "$scratch/verify.out" ] ||
        fail "systemd-analyze verify: $(cat "$scratch/verify.out")"
else
    echo "NOTICE: systemd-analyze not found; the units were not verified"
fi

[ "$failures" -eq 0 ] || { echo "$failures check(s) failed" >&2 && exit 1; }
echo "packages: $(basename "${loader_deb[0]}") $(basename "${gen_deb[0]}"): all checks passed"
