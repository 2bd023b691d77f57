#!/usr/bin/env bash
# Checks that two builds of the loader do exactly the same on the same audit
# traffic: the same SQL dump byte for byte, the same messages and the same rows
# in the eight audit tables, on SQLite and (when a server is given) PostgreSQL.
# The dump's bookkeeping look-ups (comment lines) are left out of the comparison.
# For refactorings that must not change behaviour. Not part of the test suite.
#
#   bash bench/equivalence.sh OLD_LOADER NEW_LOADER [GENERATOR]
#   AFP_TEST_PG_HOST=... AFP_TEST_PG_PORT=... AFP_TEST_PG_USER=... \
#   AFP_TEST_PG_PASSWORD=... bash bench/equivalence.sh OLD NEW   # PostgreSQL too
#
# Runs seeds 1 to 3, with and without --split-usage, at -nbrows 10 and 1000.
# Each case loads the same directory path twice, once per build, so that the
# paths in messages agree. Exits 1 on the first difference, printing it.
set -euo pipefail

[ $# -ge 2 ] || { echo "usage: $0 OLD_LOADER NEW_LOADER [GENERATOR]" >&2; exit 2; }
old=$(realpath "$1")
new=$(realpath "$2")
generator=$(realpath "${3:-$(dirname "$new")/qxesauditgen}")
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d /tmp/afp-equivalence-XXXXXX)
trap 'rm -rf "$work"' EXIT
tables="QXES_DISPATCHER QXES_SESSION QXES_REQUEST QXES_ADMIN_SOURCE QXES_USER_SOURCE QXES_DIM_USAGE QXES_MEASURE_USAGE QXES_LEVEL_USAGE"
pgDatabase=afp_equivalence

backends=(SQ)
if [ -n "${AFP_TEST_PG_HOST:-}" ]; then
    backends+=(PG)
    export PGHOST=$AFP_TEST_PG_HOST PGPORT=$AFP_TEST_PG_PORT PGUSER=$AFP_TEST_PG_USER
    export PGPASSWORD=$AFP_TEST_PG_PASSWORD
fi

freshDatabase() {
    if [ "$1" = SQ ]; then
        rm -f "$work/audit.db"*
        sqlite3 "$work/audit.db" < "$root/schema/sqlite.sql" >/dev/null
    else
        dropdb --if-exists "$pgDatabase" && createdb "$pgDatabase"
        psql -q -d "$pgDatabase" -f "$root/schema/postgresql.sql" >/dev/null
    fi
}

tablesOf() {
    local table
    for table in $tables; do
        if [ "$1" = SQ ]; then
            sqlite3 "$work/audit.db" "SELECT * FROM $table" | sort
        else
            psql -q -A -t -d "$pgDatabase" -c "SELECT * FROM $table" | sort
        fi
    done
}

# load LOADER BACKEND NBROWS OUT: one run over a fresh copy of the audit files.
load() {
    local loader=$1 backend=$2 nbrows=$3 out=$4
    rm -rf "$work/audit" && cp -r "$work/generated" "$work/audit"
    freshDatabase "$backend"
    if [ "$backend" = SQ ]; then
        "$loader" -dbname "$work/audit.db" -dbconnect "LOCAL;SQ;" -dbuser u -dbpass p \
            -auditlocation "$work/audit" -nbrows "$nbrows" -df "$out.sql" >"$out.messages" 2>&1
    else
        "$loader" -dbname "$pgDatabase" \
            -dbconnect "LOCAL;PG;host=$PGHOST port=$PGPORT user=%s password=%s" \
            -dbuser "$PGUSER" -dbpass "$PGPASSWORD" \
            -auditlocation "$work/audit" -nbrows "$nbrows" -df "$out.sql" >"$out.messages" 2>&1
    fi
    # The summary's elapsed time and the bookkeeping's clock differ from run to run.
    sed -i 's/^\(AFP-0058: Run finished\) .* s: /\1 T: /' "$out.messages"
    sed -i "/QXES_LOAD_PROGRESS\|QXES_USAGE_PENDING/s/'[0-9-]* [0-9:.]*'/'T'/g" "$out.sql"
    # The look-ups and notes that held batches add are comments, not statements.
    sed -i '/^-- bookkeeping: /d' "$out.sql"
    tablesOf "$backend" >"$out.tables"
    ls "$work/audit" >"$out.files"
}

cases=0
for backend in "${backends[@]}"; do
    for seed in 1 2 3; do
        for split in "" --split-usage; do
            rm -rf "$work/generated"
            "$generator" --output "$work/generated" --seed "$seed" --files 3 --lines 3000 \
                --sessions 16 $split >/dev/null
            for nbrows in 10 1000; do
                load "$old" "$backend" "$nbrows" "$work/old"
                load "$new" "$backend" "$nbrows" "$work/new"
                for part in sql messages tables files; do
                    if ! cmp -s "$work/old.$part" "$work/new.$part"; then
                        echo "differ: $backend seed $seed ${split:-whole} -nbrows $nbrows: $part" >&2
                        diff "$work/old.$part" "$work/new.$part" | head -20 >&2
                        exit 1
                    fi
                done
                cases=$((cases + 1))
            done
        done
    done
done
echo "equivalence: $cases cases identical (dump, messages, tables, file names) on ${backends[*]}"
