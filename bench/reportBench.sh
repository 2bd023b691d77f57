#!/usr/bin/env bash
# The usage report's benchmark: loads a generated audit directory of about a
# million lines into a fresh SQLite database, then times qxesauditreport over
# it (the page and the text summary). Not part of the test suite.
#
#   bash bench/reportBench.sh                     # 1,000,000 lines
#   bash bench/reportBench.sh --lines 200000 --runs 5
#
# Prints the lines and rows loaded and the wall and processor time of each
# report run; the aim is under 5 seconds for a million lines.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/.." && pwd)

usage() {
    cat >&2 <<EOF
usage: $0 [--build-dir DIR] [--work-dir DIR] [--lines N] [--runs N] [--keep]
  --build-dir DIR   build tree to use and build into (default: $root/build)
  --work-dir DIR    where a fresh work directory is made (default: /dev/shm, else /tmp)
  --lines N         audit lines to load (default 1000000)
  --runs N          report runs to time (default 3)
  --keep            keep the work directory
EOF
    exit 2
}

seconds() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", b - a }'; }

buildDir=$root/build
workDir=
lines=1000000
runs=3
keep=0
while [ $# -gt 0 ]; do
    case "$1" in
        --build-dir) buildDir=${2:?}; shift 2 ;;
        --work-dir) workDir=${2:?}; shift 2 ;;
        --lines) lines=${2:?}; shift 2 ;;
        --runs) runs=${2:?}; shift 2 ;;
        --keep) keep=1; shift ;;
        *) usage ;;
    esac
done
if [ -z "$workDir" ]; then
    if [ -w /dev/shm ]; then workDir=/dev/shm; else workDir=/tmp; fi
fi

cmake -S "$root" -B "$buildDir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$buildDir" -j2 --target qxesauditfileprocessor qxesauditgen qxesauditreport >/dev/null

run=$(mktemp -d "$workDir/afpreportbench.XXXXXX")
[ "$keep" = 1 ] || trap 'rm -rf "$run"' EXIT
files=10
"$buildDir/bin/qxesauditgen" --output "$run/audit" --seed 1 --files "$files" \
    --lines $(((lines + files - 1) / files)) --sessions 64 >/dev/null
loaded=$(cat "$run"/audit/qxes_audit_*.log | wc -l)
sqlite3 "$run/audit.db" <"$root/schema/sqlite.sql" >/dev/null

start=$(date +%s.%N)
"$buildDir/bin/qxesauditfileprocessor" -dbname "$run/audit.db" -dbconnect 'LOCAL;SQ;' \
    -dbuser bench -dbpass bench -auditlocation "$run/audit" -nbrows 1000 \
    -errorlog "$run/errors.log" >/dev/null
end=$(date +%s.%N)
echo "Loaded $loaded lines in $(seconds "$start" "$end") s"
for table in QXES_REQUEST QXES_SESSION QXES_USER_SOURCE QXES_DIM_USAGE QXES_LEVEL_USAGE \
             QXES_MEASURE_USAGE QXES_DISPATCHER; do
    printf '  %-20s %s rows\n' "$table" "$(sqlite3 "$run/audit.db" "SELECT COUNT(*) FROM $table")"
done

# Wall time, and the processor time beside it: on a busy machine the two part.
TIMEFORMAT='%R s wall, %U s user, %S s system'
for i in $(seq 1 "$runs"); do
    echo -n "Report run $i: "
    time "$buildDir/bin/qxesauditreport" -dbname "$run/audit.db" -dbconnect 'LOCAL;SQ;' \
        -dbuser bench -dbpass bench --output "$run/report.html" --text "$run/report.txt"
done
echo "Page: $(stat -c %s "$run/report.html") bytes"
