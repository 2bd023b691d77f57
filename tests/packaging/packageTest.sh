#!/usr/bin/env bash
# Builds the Debian packages from a copy of the source tree as a packager
# would (dpkg-buildpackage), lints them and checks their debug symbols, then
# installs, uses, upgrades and purges them in a scratch root (installCheck.sh).
#   packageTest.sh SOURCE_DIRECTORY
# Needs root: the scratch root is an overlay mount in a private namespace.
set -euo pipefail
source_dir="$(cd "$1" && pwd)"
here="$(cd "$(dirname "$0")" && pwd)"
[ "$(id -u)" -eq 0 ] || { echo "FAIL: the package test needs root for its scratch root" >&2 && exit 1; }

scratch="$(mktemp -d /tmp/afp-package-XXXXXX)"
trap 'rm -rf "$scratch"' EXIT
failures=0
fail() { echo "FAIL: $*" >&2 && failures=$((failures + 1)); }

# --- Build: the tracked and new files of the work tree, nothing built --------
mkdir "$scratch/src"
(cd "$source_dir" && git ls-files -z --cached --others --exclude-standard |
    while IFS= read -r -d '' file; do if [ -e "$file" ]; then printf '%s\0' "$file"; fi; done |
    tar --null -T - -cf -) | tar -C "$scratch/src" -xf -
[ -x "$scratch/src/debian/rules" ] || { echo "FAIL: cannot copy the source tree (git ls-files)" >&2 && exit 1; }
(cd "$scratch/src" && DEB_BUILD_OPTIONS=parallel=2 dpkg-buildpackage -us -uc -b) >"$scratch/build.log" 2>&1 ||
    { tail -40 "$scratch/build.log" >&2 && echo "FAIL: dpkg-buildpackage" >&2 && exit 1; }
version="$(dpkg-parsechangelog -l "$scratch/src/debian/changelog" -S Version)"
deb() { echo "$scratch/${1}_${version}_$(dpkg --print-architecture).deb"; }
for package in qxesauditfileprocessor qxesauditgen qxesauditfileprocessor-dbgsym qxesauditgen-dbgsym; do
    [ -f "$(deb $package)" ] || { fail "no package $(deb $package)" && exit 1; }
done

# --- lintian: no tag at all (overrides carry their reasons) ------------------
chmod 755 "$scratch"
lint="$(runuser -u nobody -- lintian --display-info --pedantic "$scratch"/*.changes 2>&1)" || fail "lintian failed"
[ -z "$lint" ] || fail "lintian: $lint"

# --- Debug symbols: each program's, found by its build id ---------------------
for pair in qxesauditfileprocessor:2 qxesauditgen:1; do
    count=$(dpkg-deb -c "$(deb "${pair%:*}-dbgsym")" | grep -c '\./usr/lib/debug/\.build-id/.*\.debug$' || true)
    [ "$count" -eq "${pair#*:}" ] || fail "${pair%:*}-dbgsym holds $count debug files, wanted ${pair#*:}"
done

# --- Install, use, upgrade and purge in a scratch root ----------------------------
unshare --mount --propagation private bash "$here/installCheck.sh" "$scratch" "$version" ||
    failures=$((failures + $?))

[ "$failures" -eq 0 ] || { echo "$failures check(s) failed" >&2 && exit 1; }
echo "packages $version: all checks passed"
