#!/usr/bin/env bash
# The main job on the embedded default: build the program, create a SQLite
# audit database when there is none, write a sample audit directory as a busy
# server would over a week, load it, show what landed, and write the usage
# report.
# Everything goes to ./demo.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j2 --target qxesauditfileprocessor qxesauditgen qxesauditreport

demo="$root/demo"
database="$demo/audit.db"
audit="$demo/audit"
mkdir -p "$demo"
if [ ! -f "$database" ]; then
    echo "Creating the audit database $database"
fi
# Run on an existing database too: one from an older demo gains the indexes and views.
sqlite3 "$database" < schema/sqlite.sql >/dev/null

# A new seed and session prefix per run, so that repeated runs add new sessions.
# A week of working days, so that the report has days to show.
seed="$(date +%s)"
rm -rf "$audit"
build/bin/qxesauditgen --output "$audit" --seed "$seed" --files 4 --lines 5000 \
    --sessions 25 --session-prefix "D${seed}-" --days 7 --live

echo
echo "Loading $audit"
build/bin/qxesauditfileprocessor -dbname "$database" -dbconnect 'LOCAL;SQ;' \
    -dbuser demo -dbpass demo -auditlocation "$audit" -nbrows 100 \
    -errorlog "$demo/errors.log" -df "$demo/statements.sql"

echo
echo "Audit directory after the run (loaded files end in .___, the live file is left alone):"
ls -l "$audit"
echo
echo "Rows per table:"
for table in QXES_DISPATCHER QXES_SESSION QXES_REQUEST QXES_ADMIN_SOURCE QXES_USER_SOURCE \
             QXES_DIM_USAGE QXES_MEASURE_USAGE QXES_LEVEL_USAGE; do
    printf '  %-20s %s\n' "$table" "$(sqlite3 "$database" "SELECT COUNT(*) FROM $table")"
done
echo
echo "A few requests:"
sqlite3 -header -column "$database" \
    "SELECT SESSION_ID, REQUEST_ID, START_DATE_TIME, REQUEST_STATUS, REQUEST_TYPE, ACTION, USER_CLASS
     FROM QXES_REQUEST ORDER BY START_DATE_TIME DESC LIMIT 5"
echo
echo "Dimension usage of a few requests:"
sqlite3 -header -column "$database" \
    "SELECT d.SESSION_ID, d.REQUEST_ID, d.DIM_CODE, d.DIM_NAME, d.DIM_COUNT
     FROM QXES_DIM_USAGE d ORDER BY d.SESSION_ID DESC, d.REQUEST_ID LIMIT 4"
echo
if [ -s "$demo/errors.log" ]; then
    echo "Messages of this and earlier runs: $demo/errors.log (last lines below)"
    tail -n 5 "$demo/errors.log"
else
    echo "No messages: every line was loaded."
fi
echo "Every statement of this run: $demo/statements.sql"

echo
build/bin/qxesauditreport -dbname "$database" -dbconnect 'LOCAL;SQ;' -dbuser demo -dbpass demo \
    -output "$demo/report.html" -text "$demo/report.txt"
sed -n '1,/^Start-ups/p' "$demo/report.txt"
echo
echo "Usage report (open it in a browser): $demo/report.html"
echo "Its plain-text summary: $demo/report.txt"
