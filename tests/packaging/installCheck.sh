#!/usr/bin/env bash
# The packages at work, as an administrator would have them: installed with
# dpkg into a copy-on-write copy of this machine's root (an overlay over /, in
# the private mount namespace that packageTest.sh starts, so nothing reaches
# the machine itself), the programs run there as the service runs them, the
# units verified, the administrator's changes made, the next version
# installed over it, and the package purged. Exits with the number of
# failed checks.
#   installCheck.sh SCRATCH VERSION   (SCRATCH holds the packages)
set -uo pipefail
scratch="$1"
version="$2"
failures=0
fail() { echo "FAIL: $*" >&2 && failures=$((failures + 1)); }
arch="$(dpkg --print-architecture)"

layers="$scratch/layers"
root="$scratch/root"
mkdir -p "$layers" "$root"
mount -t tmpfs tmpfs "$layers" && mkdir "$layers/upper" "$layers/work" &&
    mount -t overlay overlay -o "lowerdir=/,upperdir=$layers/upper,workdir=$layers/work" "$root" &&
    mount --rbind /dev "$root/dev" && mount -t proc proc "$root/proc" &&
    mount -t tmpfs tmpfs "$root/run" && mount -t tmpfs tmpfs "$root/tmp" ||
    { fail "cannot set up the scratch root" && exit "$failures"; }
in_root() { chroot "$root" "$@"; }
mkdir "$root/tmp/packages" && cp "$scratch"/*_"$version"_"$arch".deb "$root/tmp/packages/"

# The next version: the same files, the Debian revision one up.
next="${version%-*}-$((${version##*-} + 1))"
for package in qxesauditfileprocessor qxesauditgen; do
    dpkg-deb -R "$scratch/${package}_${version}_$arch.deb" "$scratch/next" &&
        sed -i "s/^Version: .*/Version: $next/" "$scratch/next/DEBIAN/control" &&
        dpkg-deb -b "$scratch/next" "$root/tmp/packages/${package}_${next}_$arch.deb" >/dev/null &&
        rm -rf "$scratch/next" || fail "cannot make $package $next"
done
install_version() {
    in_root env DEBIAN_FRONTEND=noninteractive dpkg -i "/tmp/packages/qxesauditfileprocessor_${1}_$arch.deb" \
        "/tmp/packages/qxesauditgen_${1}_$arch.deb" >"$scratch/dpkg-$1.log" 2>&1 ||
        fail "dpkg -i $1: $(cat "$scratch/dpkg-$1.log")"
}
modes() { for path in "$@"; do in_root stat -c '%n %a %U %G' "$path"; done; }

state=/var/lib/qxesauditfileprocessor
logs=/var/log/qxesauditfileprocessor
config=/etc/qxesauditfileprocessor
timer=qxesauditfileprocessor.timer

# --- Install version N: the user and directories, the timer left off -----------
install_version "$version"
in_root getent passwd qxesaudit | grep -q ":$state:/usr/sbin/nologin\$" || fail "no system user qxesaudit"
modes $state $logs $config/dbpass | diff -u - <(printf '%s\n' "$state 750 qxesaudit qxesaudit" \
    "$logs 750 qxesaudit qxesaudit" "$config/dbpass 600 root root") || fail "directories or password file"
[ "$(in_root systemctl is-enabled $timer)" = disabled ] || fail "the timer was enabled on installation"
for file in changelog.Debian.gz changelog.gz copyright README.md.gz examples/loader.env; do
    [ -f "$root/usr/share/doc/qxesauditfileprocessor/$file" ] || fail "no $file in /usr/share/doc"
done

# --- The programs, as the service runs them ----------------------------------------
in_root qxesauditfileprocessor >"$scratch/usage.out" 2>&1
grep -q '^AFP-0044: Too few arguments' "$scratch/usage.out" || fail "no catalogue: $(cat "$scratch/usage.out")"
[ "$(in_root qxesauditfileprocessor --version)" = "AFP-0062: qxesauditfileprocessor ${version%-*}" ] ||
    fail "the program's version is not the package's upstream version ${version%-*}"
audit=/var/log/qxes/audit
in_root qxesauditgen --output $audit --seed 11 --files 2 --lines 400 --live >/dev/null &&
    in_root chown -R qxesaudit: $audit || fail "the writer failed"
in_root runuser -u qxesaudit -- sqlite3 $state/audit.db <"$root/usr/share/qxesauditfileprocessor/schema/sqlite.sql" >/dev/null ||
    fail "cannot create the database"
# The unit's command line with systemd's expansions: ${VAR} is one word, $VAR
# is split at blanks, %d is the credentials' directory.
unit="$root/lib/systemd/system/qxesauditfileprocessor.service"
command="$(sed -n '/^ExecStart=/,/[^\\]$/p' "$unit" | sed 's/\\$//' | tr '\n' ' ' | sed -e 's/^ExecStart=//' \
    -e 's/\${\([A-Z_]*\)}/"${\1}"/g' -e 's/%d/"$CREDENTIALS_DIRECTORY"/g')"
credentials=/run/credentials/qxesauditfileprocessor.service
mkdir -p "$root$credentials" && cp "$root$config/dbpass" "$root$credentials/" &&
    in_root chown -R qxesaudit: $credentials && chmod 0400 "$root$credentials/dbpass"
in_root runuser -u qxesaudit -- env CREDENTIALS_DIRECTORY=$credentials \
    sh -c "set -a && . $config/loader.env && set +a && exec $command" >"$scratch/load.out" 2>&1 ||
    fail "the service's command exited with $?: $(cat "$scratch/load.out")"
# The messages go to standard output, that is the journal: only the summary.
grep -q '^AFP-0058:' "$scratch/load.out" && ! grep -qv '^AFP-0058:' "$scratch/load.out" ||
    fail "the service's run showed: $(cat "$scratch/load.out")"
[ "$(find "$root$audit" -name '*.___' | wc -l)" -eq 2 ] || fail "the audit files were not loaded: $(ls "$root$audit")"
[ -s "$root$state/run-report.json" ] || fail "no run report"
in_root qxesauditreport -dbname $state/audit.db -dbconnect 'LOCAL;SQ;' -dbuser a -dbpass a --text - \
    >"$scratch/report.txt" 2>&1 && [ -s "$scratch/report.txt" ] || fail "the report failed: $(cat "$scratch/report.txt")"

# --- Man pages: every option of the usage heads an entry (the line after .TP) ---
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
documented qxesauditgen < <(in_root qxesauditgen --help | grep -oE '^  --[a-z-]+' | tr -d ' ')

# --- The installed units ---------------------------------------------------------------
in_root systemd-analyze verify --recursive-errors=no /lib/systemd/system/qxesauditfileprocessor.service \
    /lib/systemd/system/$timer >"$scratch/verify.out" 2>&1 && [ ! -s "$scratch/verify.out" ] ||
    fail "systemd-analyze verify: $(cat "$scratch/verify.out")"

# --- The administrator's changes, then version N+1 over them -----------------------------
echo 'AFP_OPTIONS="-errorlog /var/log/qxesauditfileprocessor/errors.log"' >>"$root$config/loader.env"
echo 'secret' >"$root$config/dbpass"
in_root chmod 0770 $state && in_root chgrp adm $state && in_root chmod 0640 $config/dbpass &&
    in_root chgrp qxesaudit $config/dbpass && in_root systemctl enable $timer 2>/dev/null ||
    fail "the administrator's changes"
cp "$root$config/loader.env" "$scratch/loader.env.edited"
modes $state $logs $config/dbpass >"$scratch/modes.before"
install_version "$next"
[ "$(in_root dpkg-query -W -f '${Version}' qxesauditfileprocessor)" = "$next" ] || fail "$next was not installed"
cmp -s "$scratch/loader.env.edited" "$root$config/loader.env" || fail "the upgrade changed loader.env"
[ "$(cat "$root$config/dbpass")" = secret ] || fail "the upgrade changed the password"
modes $state $logs $config/dbpass | diff -u "$scratch/modes.before" - || fail "the upgrade changed modes or owners"
[ "$(in_root systemctl is-enabled $timer)" = enabled ] || fail "the timer is no longer enabled after the upgrade"

# --- Purge: the configuration, password, logs and timer link go; the data stays ----
in_root dpkg --purge qxesauditfileprocessor >"$scratch/purge.log" 2>&1 || fail "purge: $(cat "$scratch/purge.log")"
for path in $config $logs /etc/systemd/system/timers.target.wants/$timer; do
    [ ! -e "$root$path" ] || fail "$path is left after the purge"
done
[ -f "$root$state/audit.db" ] || fail "the purge removed the audit database"
exit "$failures"
