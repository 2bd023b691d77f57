#!/usr/bin/env bash
# The loader's benchmark: loads a generated audit directory with the SQL dump on,
# replays that dump through the database's own shell with the same transaction
# boundaries, and compares the two. Not part of the test suite.
#
#   bash bench/run.sh                       # SQLite, and PostgreSQL when it can start a server
#   bash bench/run.sh --lines 200000 --no-pg
#   bash bench/run.sh --pg-host 127.0.0.1 --pg-port 5432 --pg-user audit --pg-password secret
#
# For each backend and each row count (-nbrows) it prints the loader's and the
# replay's wall time, lines and statements per second, peak resident memory, and
# the ratio loader time / replay time, after checking that both databases hold
# the same number of rows in every audit table. The exit status is 1 when a run
# fails or the two databases differ.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/.." && pwd)

usage() {
    cat >&2 <<EOF
usage: $0 [options]
  --build-dir DIR    build tree to use and build into (default: $root/build-bench)
  --work-dir DIR     where a fresh directory for audit files, dumps and SQLite
                     databases is made (default: /dev/shm, else the build tree)
  --lines N          audit lines for SQLite (default 1000000)
  --pg-lines N       audit lines for PostgreSQL (default 200000; one round trip per
                     statement makes a million lines take many minutes there)
  --files N          number of audit files the lines are spread over (default 10)
  --sessions N       concurrent server sessions in the generated traffic (default 64)
  --seed N           generator seed (default 1)
  --nbrows "A B"     row counts to run (default "10 1000")
  --no-pg            SQLite only
  --no-sqlite        PostgreSQL only
  --pg-host H --pg-port P --pg-user U --pg-password W
                     an existing PostgreSQL server (user allowed to create databases);
                     without them a private server is started with tests/support/pgserver.sh
  --keep             keep the work directory
EOF
    exit 2
}

buildDir=$root/build-bench
workDir=
lines=1000000
pgLines=200000
files=10
sessions=64
seed=1
rowCounts="10 1000"
usePg=auto
useSqlite=yes
pgHost=${AFP_BENCH_PG_HOST:-}
pgPort=${AFP_BENCH_PG_PORT:-}
pgUser=${AFP_BENCH_PG_USER:-}
pgPassword=${AFP_BENCH_PG_PASSWORD:-}
keep=0

while [ $# -gt 0 ]; do
    case "$1" in
    --build-dir) buildDir=$2; shift 2 ;;
    --work-dir) workDir=$2; shift 2 ;;
    --lines) lines=$2; shift 2 ;;
    --pg-lines) pgLines=$2; shift 2 ;;
    --files) files=$2; shift 2 ;;
    --sessions) sessions=$2; shift 2 ;;
    --seed) seed=$2; shift 2 ;;
    --nbrows) rowCounts=$2; shift 2 ;;
    --no-pg) usePg=no; shift ;;
    --no-sqlite) useSqlite=no; shift ;;
    --pg-host) pgHost=$2; shift 2 ;;
    --pg-port) pgPort=$2; shift 2 ;;
    --pg-user) pgUser=$2; shift 2 ;;
    --pg-password) pgPassword=$2; shift 2 ;;
    --keep) keep=1; shift ;;
    *) usage ;;
    esac
done

for number in "$lines" "$pgLines" "$files" "$sessions" "$seed" $rowCounts; do
    [[ "$number" =~ ^[0-9]+$ ]] || usage
done
[ "$files" -gt 0 ] || usage

tables="QXES_DISPATCHER QXES_SESSION QXES_REQUEST QXES_ADMIN_SOURCE QXES_USER_SOURCE QXES_DIM_USAGE QXES_MEASURE_USAGE QXES_LEVEL_USAGE"

say() { printf '%s\n' "$*" >&2; }
die() {
    say "bench: $*"
    exit 1
}

command -v sqlite3 >/dev/null || die "the sqlite3 shell is needed for the replay"

# --- build ------------------------------------------------------------------
say "bench: building into $buildDir"
if [ ! -f "$buildDir/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$buildDir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$buildDir" -j2 --target qxesauditfileprocessor qxesauditgen >/dev/null
loader=$buildDir/bin/qxesauditfileprocessor
generator=$buildDir/bin/qxesauditgen
measure=$buildDir/bench/measure
if [ ! -x "$measure" ] || [ "$here/measure.cpp" -nt "$measure" ]; then
    mkdir -p "$buildDir/bench"
    "${CXX:-c++}" -std=c++17 -O2 -Wall -Wextra -o "$measure" "$here/measure.cpp"
fi

# --- work directory and PostgreSQL server -------------------------------------
if [ -z "$workDir" ]; then
    # tmpfs keeps the disk's flush latency, identical for both sides, from
    # hiding what the loader itself costs.
    if [ -d /dev/shm ] && [ -w /dev/shm ]; then
        workDir=$(mktemp -d /dev/shm/afp-bench.XXXXXX)
    else
        mkdir -p "$buildDir/bench"
        workDir=$(mktemp -d "$buildDir/bench/work.XXXXXX")
    fi
else
    mkdir -p "$workDir"
    workDir=$(mktemp -d "$workDir/afp-bench.XXXXXX")
fi
workDir=$(cd "$workDir" && pwd)
# The private PostgreSQL server runs as another user and keeps its data here.
chmod 755 "$workDir"
pgServerDir=

cleanup() {
    if [ -n "$pgServerDir" ]; then
        bash "$root/tests/support/pgserver.sh" stop "$pgServerDir" >/dev/null 2>&1 || true
    fi
    if [ "$keep" -eq 0 ]; then
        rm -rf "$workDir"
    else
        say "bench: work directory kept: $workDir"
    fi
}
trap cleanup EXIT

if [ "$usePg" != no ]; then
    if [ -n "$pgHost" ]; then
        usePg=yes
    elif command -v psql >/dev/null && bash "$root/tests/support/pgserver.sh" start "$workDir/pg" >/dev/null 2>&1; then
        pgServerDir=$workDir/pg
        # shellcheck disable=SC1091
        . "$pgServerDir/env"
        pgHost=$AFP_TEST_PG_HOST pgPort=$AFP_TEST_PG_PORT
        pgUser=$AFP_TEST_PG_USER pgPassword=$AFP_TEST_PG_PASSWORD
        usePg=yes
    else
        say "bench: no PostgreSQL server given and none could be started; SQLite only"
        usePg=no
    fi
fi
if [ "$usePg" = yes ]; then
    command -v psql >/dev/null || die "the psql shell is needed for the PostgreSQL replay"
    export PGHOST=$pgHost PGPORT=${pgPort:-5432} PGUSER=$pgUser PGPASSWORD=$pgPassword
    export PGDATABASE=postgres PGOPTIONS=--client-min-messages=warning
fi

# --- helpers ------------------------------------------------------------------
generate() { # generate DIR LINES
    local perFile=$((($2 + files - 1) / files))
    "$generator" --output "$1" --seed "$seed" --files "$files" --lines "$perFile" \
        --sessions "$sessions" | sed -n 's/^qxesauditgen: \([0-9]*\) lines.*/\1/p'
}

# The dump opens with the connection options and report; each statement
# follows on its own line without a terminator.
convertDump() { # convertDump DUMP REPLAY [PREAMBLE]
    {
        [ -z "${3:-}" ] || printf '%s\n' "$3"
        tail -n +3 "$1" | awk 'length($0) > 0 { print $0 ";" }'
    } >"$2"
}

countStatements() { # data statements, without the transaction boundaries
    tail -n +3 "$1" | awk 'length($0) > 0 && $0 != "BEGIN" && $0 != "COMMIT" && $0 != "ROLLBACK"' | wc -l
}

countTransactions() {
    tail -n +3 "$1" | grep -c '^BEGIN$' || true
}

sqliteCounts() { # sqliteCounts DB
    local table
    for table in $tables; do
        printf '%s=%s ' "$table" "$(sqlite3 "$1" "SELECT count(*) FROM $table")"
    done
}

pgCounts() { # pgCounts DATABASE
    local table
    for table in $tables; do
        printf '%s=%s ' "$table" "$(psql -X -q -At -d "$1" -c "SELECT count(*) FROM $table")"
    done
}

pgFresh() { # pgFresh DATABASE
    psql -X -q -v ON_ERROR_STOP=1 -c "DROP DATABASE IF EXISTS $1" -c "CREATE DATABASE $1" >/dev/null
    psql -X -q -v ON_ERROR_STOP=1 -d "$1" -f "$root/schema/postgresql.sql" >/dev/null
}

pgDrop() {
    psql -X -q -c "DROP DATABASE IF EXISTS $1" >/dev/null 2>&1 || true
}

# CPU seconds of the private server's finished backends; "-" for another server.
serverCpu() {
    local pid stat
    pid=$([ -n "$pgServerDir" ] && head -1 "$pgServerDir/data/postmaster.pid" 2>/dev/null) || true
    if [ -z "$pid" ] || ! stat=$(cat "/proc/$pid/stat" 2>/dev/null); then
        echo -
        return
    fi
    # Fields 16 and 17 (after the parenthesised name) are the reaped children's times.
    awk -v ticks="$(getconf CLK_TCK)" '{ sub(/^.*\) /, ""); printf "%.2f", ($14 + $15) / ticks }' <<<"$stat"
}

# Server CPU used by the command just measured: its backend has ended and been
# reaped once the connection is closed; give the server a moment for that.
serverCpuSince() { # serverCpuSince BEFORE
    local after
    [ "$1" != - ] || { echo -; return; }
    sleep 0.5
    after=$(serverCpu)
    awk -v a="$after" -v b="$1" 'BEGIN { printf "%.2f", a - b }'
}

# Reads "WALL PEAK_KB STATUS CPU" as written by measure.
readMeasure() { # readMeasure FILE -> sets m_wall m_peak m_status m_cpu
    read -r m_wall m_peak m_status m_cpu <"$1"
}

rows=()
failed=0

record() { # record BACKEND NBROWS LINES STMTS COMMITS LWALL LCPU LSRV LPEAK RWALL RCPU RSRV RPEAK SAME
    rows+=("$*")
}

runPair() { # runPair BACKEND NBROWS SOURCE LINES
    local backend=$1 nbrows=$2 source=$3 lineCount=$4
    local run=$workDir/$backend-$nbrows
    rm -rf "$run"
    mkdir -p "$run"
    cp -r "$source" "$run/audit"
    local dump=$run/dump.sql replay=$run/replay.sql
    local loadCounts replayCounts lWall lCpu lPeak lServer=- rServer=- before
    say "bench: $backend -nbrows $nbrows: loading $lineCount lines"
    if [ "$backend" = SQLite ]; then
        sqlite3 "$run/load.db" <"$root/schema/sqlite.sql" >/dev/null
        sqlite3 "$run/replay.db" <"$root/schema/sqlite.sql" >/dev/null
        "$measure" "$run/load.measure" "$loader" -dbname "$run/load.db" -dbconnect 'LOCAL;SQ;' \
            -dbuser bench -dbpass unused -auditlocation "$run/audit" -df "$dump" \
            -nbrows "$nbrows" >"$run/load.log" 2>&1 || true
    else
        pgFresh afp_bench_load
        pgFresh afp_bench_replay
        before=$(serverCpu)
        "$measure" "$run/load.measure" "$loader" -dbname afp_bench_load \
            -dbconnect "LOCAL;PG;host=$PGHOST port=$PGPORT user=%s password=%s" \
            -dbuser "$PGUSER" -dbpass "$PGPASSWORD" -auditlocation "$run/audit" -df "$dump" \
            -nbrows "$nbrows" >"$run/load.log" 2>&1 || true
        lServer=$(serverCpuSince "$before")
    fi
    readMeasure "$run/load.measure"
    lWall=$m_wall lCpu=$m_cpu lPeak=$m_peak
    [ "$m_status" -eq 0 ] || die "the loader failed (status $m_status), see $run/load.log"
    if ls "$run/audit" | grep -q '\.log$'; then
        die "the loader left files unloaded in $run/audit, see $run/load.log"
    fi
    local statements transactions
    statements=$(countStatements "$dump")
    transactions=$(countTransactions "$dump")

    say "bench: $backend -nbrows $nbrows: replaying $statements statements"
    if [ "$backend" = SQLite ]; then
        convertDump "$dump" "$replay" $'PRAGMA journal_mode=WAL;\nPRAGMA synchronous=FULL;'
        "$measure" "$run/replay.measure" sqlite3 "$run/replay.db" <"$replay" \
            >/dev/null 2>"$run/replay.err" || true
        readMeasure "$run/replay.measure"
        loadCounts=$(sqliteCounts "$run/load.db")
        replayCounts=$(sqliteCounts "$run/replay.db")
    else
        convertDump "$dump" "$replay"
        before=$(serverCpu)
        "$measure" "$run/replay.measure" psql -X -q -v ON_ERROR_ROLLBACK=on -d afp_bench_replay \
            -f "$replay" >/dev/null 2>"$run/replay.err" || true
        rServer=$(serverCpuSince "$before")
        readMeasure "$run/replay.measure"
        loadCounts=$(pgCounts afp_bench_load)
        replayCounts=$(pgCounts afp_bench_replay)
        pgDrop afp_bench_load
        pgDrop afp_bench_replay
    fi
    # Refused lines and refused statements are part of an honest comparison:
    # show what either side complained about.
    if [ -s "$run/load.log" ]; then
        say "bench:   the loader said ($(wc -l <"$run/load.log") lines, first ones):"
        head -3 "$run/load.log" >&2
    fi
    if [ -s "$run/replay.err" ]; then
        say "bench:   the replay shell said ($(wc -l <"$run/replay.err") lines, first ones):"
        head -3 "$run/replay.err" >&2
    fi
    local same=yes
    if [ "$loadCounts" != "$replayCounts" ]; then
        same=NO
        failed=1
        say "bench: $backend -nbrows $nbrows: the databases differ"
        say "  loader: $loadCounts"
        say "  replay: $replayCounts"
    fi
    say "bench:   rows: $loadCounts"
    record "$backend" "$nbrows" "$lineCount" "$statements" "$transactions" \
        "$lWall" "$lCpu" "$lServer" "$lPeak" "$m_wall" "$m_cpu" "$rServer" "$m_peak" "$same"
    if [ "$keep" -eq 0 ]; then
        rm -rf "$run"
    fi
}

# --- the runs -------------------------------------------------------------------
started=$(date +%s)
if [ "$useSqlite" = yes ]; then
    say "bench: writing $lines audit lines in $files files"
    sqliteLines=$(generate "$workDir/audit-sqlite" "$lines")
    for nbrows in $rowCounts; do
        runPair SQLite "$nbrows" "$workDir/audit-sqlite" "$sqliteLines"
    done
    rm -rf "$workDir/audit-sqlite"
fi
if [ "$usePg" = yes ]; then
    say "bench: writing $pgLines audit lines in $files files"
    postgresLines=$(generate "$workDir/audit-pg" "$pgLines")
    for nbrows in $rowCounts; do
        runPair PostgreSQL "$nbrows" "$workDir/audit-pg" "$postgresLines"
    done
    rm -rf "$workDir/audit-pg"
fi

# --- the table --------------------------------------------------------------------
printf '\nqxesauditfileprocessor benchmark, %s\n' "$(date -u '+%Y-%m-%d %H:%M UTC')"
printf 'machine: %s cores, %s, %s memory; work directory on %s\n' "$(nproc)" \
    "$(lscpu 2>/dev/null | sed -n 's/^Model name: *//p' | head -1)" \
    "$(free -h 2>/dev/null | awk '/^Mem:/ { print $2 }')" \
    "$(df -T "$workDir" 2>/dev/null | awk 'NR == 2 { print $2 }')"
printf 'statements: INSERT, UPDATE and SELECT of the dump (transaction boundaries not counted)\n'
printf 'replay: sqlite3 shell (WAL, synchronous=FULL) or psql -v ON_ERROR_ROLLBACK=on, same BEGIN/COMMIT\n\n'
printf '%-10s %6s %8s %8s %7s | %7s %6s %6s %8s %8s %7s | %8s %6s %6s %8s %7s | %5s %4s\n' \
    backend nbrows lines stmts commits "load s" "cpu s" "srv s" "lines/s" "stmts/s" "peak MB" \
    "replay s" "cpu s" "srv s" "stmts/s" "peak MB" ratio same
for row in "${rows[@]}"; do
    # shellcheck disable=SC2086
    set -- $row
    awk -v b="$1" -v n="$2" -v l="$3" -v s="$4" -v t="$5" -v lw="$6" -v lc="$7" -v ls="$8" \
        -v lp="$9" -v rw="${10}" -v rc="${11}" -v rs="${12}" -v rp="${13}" -v same="${14}" 'BEGIN {
        printf "%-10s %6d %8d %8d %7d | %7.2f %6.2f %6s %8.0f %8.0f %7.1f | %8.2f %6.2f %6s %8.0f %7.1f | %5.2f %4s\n",
            b, n, l, s, t, lw, lc, ls, (lw > 0 ? l / lw : 0), (lw > 0 ? s / lw : 0), lp / 1024,
            rw, rc, rs, (rw > 0 ? s / rw : 0), rp / 1024, (rw > 0 ? lw / rw : 0), same
    }'
done
printf '\nload s, replay s: wall time; cpu s: the client process; srv s: the private server'"'"'s backend\n'
printf 'ratio = loader wall time / replay wall time; total benchmark time %ss\n' "$(($(date +%s) - started))"
exit "$failed"
