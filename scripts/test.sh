#!/usr/bin/env bash
# Sets everything up and runs the whole test suite: the format and static
# checks (scripts/lint.sh), a short run of every fuzz target, then the tests
# twice, in an optimised build and under AddressSanitizer and
# UndefinedBehaviorSanitizer, with a private PostgreSQL server started for the
# run and stopped afterwards.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

bash scripts/setup.sh

jobs=2
build() {
    local directory="$1"
    shift
    cmake -S . -B "$directory" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
    cmake --build "$directory" -j"$jobs"
}
build build
# Layout and static checks first: they fail in a minute, not after the suite.
bash scripts/lint.sh build
build build-sanitize -DAFP_SANITIZE=ON
bash scripts/fuzz.sh smoke

pg_directory="$(mktemp -d /tmp/afp-test-pg-XXXXXX)"
stop_server() { bash tests/support/pgserver.sh stop "$pg_directory" >/dev/null 2>&1 || true; rm -rf "$pg_directory"; }
trap stop_server EXIT
bash tests/support/pgserver.sh start "$pg_directory"
# shellcheck disable=SC1091
. "$pg_directory/env"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
ctest --test-dir build --output-on-failure -j"$jobs"
ctest --test-dir build-sanitize --output-on-failure -j"$jobs"
