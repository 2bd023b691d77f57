#!/usr/bin/env bash
# Checks the code without running it: the layout of every tracked C++ file
# against .clang-format, then .clang-tidy's checks over the program's and the
# tools' translation units, compiled as the given build tree compiles them.
# Exits non-zero on any finding.
#   bash scripts/lint.sh build     # a tree configured from this checkout
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

if [ $# -ne 1 ]; then
    echo "usage: $0 BUILD_DIRECTORY" >&2
    exit 2
fi
database="$(cd "$1" && pwd)/compile_commands.json"
if [ ! -f "$database" ]; then
    echo "lint: no $database; configure that tree with cmake first" >&2
    exit 2
fi

jobs=2
failed=0

echo "lint: clang-format"
if ! git ls-files -z '*.cpp' '*.h' | xargs -0 -r clang-format --dry-run -Werror; then
    failed=1
fi

# Tests and fuzz targets are left out: the tests lean on the test framework's
# macros, and the fuzz targets build with clang-only flags.
mapfile -t units < <(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$database" |
    grep -E "^$root/(auditfileprocessor|qxappshared|source|tools)/" | sort -u)
if [ ${#units[@]} -eq 0 ]; then
    echo "lint: $database compiles nothing of $root" >&2
    exit 2
fi
# clang-tidy reports a configuration it cannot read and then checks nothing.
if clang-tidy --dump-config 2>&1 >/dev/null | grep -q .; then
    echo "lint: .clang-tidy cannot be read:" >&2
    clang-tidy --dump-config 2>&1 >/dev/null | head -5 >&2
    exit 1
fi
echo "lint: clang-tidy over ${#units[@]} translation units"
# The flags are GCC's: an option clang does not know is no finding of ours.
if ! printf '%s\0' "${units[@]}" |
    xargs -0 -n 1 -P "$jobs" clang-tidy --quiet -p "$(dirname "$database")" \
        --extra-arg=-Wno-unknown-warning-option 2> >(grep -v ' warnings\{0,1\} generated\.$' >&2); then
    failed=1
fi

if [ "$failed" -ne 0 ]; then
    echo "lint: FAILED" >&2
    exit 1
fi
echo "lint: clean"
