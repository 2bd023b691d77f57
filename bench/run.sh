#!/usr/bin/env bash
# The loader's benchmark: loads a generated audit directory with the SQL dump on,
# replays that dump through the database's own shell with the same transaction
# boundaries, and compares the two. Not part of the test suite.
#
#   bash bench/run.sh                       # SQLite, and PostgreSQL when it can start a server
#   bash bench/run.sh --lines 200000 --no-pg
#   bash bench/run.sh --pg-host 127.0.0.1 --pg-port 5432 --pg-user audit --pg-password secret
#   bash bench/run.sh --baseline /tmp/main/bin/qxesauditfileprocessor --repeat 5 --profile
#
# For each backend and each row count (-nbrows) it prints the loader's and the
# replay's wall time, lines and statements per second, peak resident memory, and
# the ratio loader time / replay time, after checking that both databases hold
# the same number of rows in every audit table; with --baseline also the time of
# another build of the loader on the same lines. PostgreSQL is also loaded
# through a relay that delays each direction (bench/delayProxy.cpp), which
# counts the round trips. The exit status is 1 when a run fails or the two
# databases differ.
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
  --baseline LOADER  another loader binary (e.g. built from main) measured on the
                     same lines in the same run: "base s" and "speedup" columns
  --repeat N         run each loader and replay N times and take the median (default 1)
  --latency-us "A B" PostgreSQL delays each way through the relay, in us (default
                     "0 500 5000"; "": no relay); delays of 5 ms and more run only
                     the largest -nbrows
  --latency-lines N  audit lines loaded through the relay (default 20000)
  --mispredict-pct P share of the lines whose held batch another connection
                     disturbs, through the relay at 0.5 ms (default 1; 0: none;
                     needs the test program afp_faulty_loader)
  --scaling "1 2 4"  loaders run side by side on distinct directories into one
                     database through the relay at 0.5 ms (default "1 2 4"; "": none)
  --profile          profile the loader on SQLite (perf, else callgrind) and print
                     where its own time goes
  --profile-lines N  audit lines for the profile (default 200000; 20000 under callgrind)
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
baseline=
repeat=1
latencyUs="0 500 5000"
latencyLines=20000
mispredictPct=1
scaling="1 2 4"
profile=0
profileLines=

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
    --baseline) baseline=$2; shift 2 ;;
    --repeat) repeat=$2; shift 2 ;;
    --latency-us) latencyUs=$2; shift 2 ;;
    --latency-lines) latencyLines=$2; shift 2 ;;
    --mispredict-pct) mispredictPct=$2; shift 2 ;;
    --scaling) scaling=$2; shift 2 ;;
    --profile) profile=1; shift ;;
    --profile-lines) profileLines=$2; shift 2 ;;
    *) usage ;;
    esac
done

for number in "$lines" "$pgLines" "$files" "$sessions" "$seed" $rowCounts "$repeat" \
    $latencyUs "$latencyLines" "$mispredictPct" $scaling ${profileLines:+"$profileLines"}; do
    [[ "$number" =~ ^[0-9]+$ ]] || usage
done
[ "$files" -gt 0 ] && [ "$repeat" -gt 0 ] || usage
[ -z "$baseline" ] || [ -x "$baseline" ] || { echo "bench: no loader at $baseline" >&2; exit 2; }

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
faultyLoader=$buildDir/bin/afp_faulty_loader
if [ "$mispredictPct" -gt 0 ] && [ "$usePg" != no ] && [ -n "$latencyUs" ] &&
    ! cmake --build "$buildDir" -j2 --target afp_faulty_loader >/dev/null 2>&1; then
    say "bench: no afp_faulty_loader in $buildDir (tests off?): no misprediction case"
    mispredictPct=0
fi
generator=$buildDir/bin/qxesauditgen
measure=$buildDir/bench/measure
delayProxy=$buildDir/bench/delayProxy
mkdir -p "$buildDir/bench"
if [ ! -x "$measure" ] || [ "$here/measure.cpp" -nt "$measure" ]; then
    "${CXX:-c++}" -std=c++17 -O2 -Wall -Wextra -o "$measure" "$here/measure.cpp"
fi
if [ ! -x "$delayProxy" ] || [ "$here/delayProxy.cpp" -nt "$delayProxy" ]; then
    "${CXX:-c++}" -std=c++17 -O2 -Wall -Wextra -pthread -o "$delayProxy" "$here/delayProxy.cpp"
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
proxyPid=

cleanup() {
    if [ -n "$proxyPid" ]; then
        kill "$proxyPid" 2>/dev/null || true
    fi
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
    tail -n +3 "$1" | awk 'length($0) > 0 && $0 != "BEGIN" && $0 != "COMMIT" && $0 != "ROLLBACK" && substr($0, 1, 3) != "-- "' | wc -l
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

record() { # record BACKEND NBROWS LINES STMTS COMMITS LWALL LCPU LSRV LPEAK RWALL RCPU RSRV RPEAK SAME BWALL
    rows+=("$*")
}

# Copies, of the measure files given, the one with the median wall time (and
# its server CPU, if any) to OUT.
keepMedian() { # keepMedian OUT FILE...
    local out=$1 chosen
    shift
    chosen=$(for f in "$@"; do printf '%s %s\n' "$(cut -d' ' -f1 <"$f")" "$f"; done |
        sort -n | awk -v n=$# 'NR == int((n + 1) / 2) { print $2 }')
    cp "$chosen" "$out"
    [ ! -f "$chosen.srv" ] || cp "$chosen.srv" "$out.srv"
}

# Loads the lines of SOURCE once with LOADER into a fresh database and writes
# the measure line to OUT; the server CPU of a PostgreSQL run goes to OUT.srv.
loadOnce() { # loadOnce BACKEND NBROWS SOURCE RUN LOADER OUT [PORT]
    local backend=$1 nbrows=$2 source=$3 run=$4 program=$5 out=$6 port=${7:-${PGPORT:-}}
    local before
    rm -rf "$run/audit" "$run/load.db" "$run/load.db-wal" "$run/load.db-shm" "$run/dump.sql"
    # With their times: the generator dates its files as a server that finished
    # them long ago, so that no loader, old or new, takes one for still written.
    cp -rp "$source" "$run/audit"
    if [ "$backend" = SQLite ]; then
        sqlite3 "$run/load.db" <"$root/schema/sqlite.sql" >/dev/null
        "$measure" "$out" "$program" -dbname "$run/load.db" -dbconnect 'LOCAL;SQ;' \
            -dbuser bench -dbpass unused -auditlocation "$run/audit" -df "$run/dump.sql" \
            -nbrows "$nbrows" >"$run/load.log" 2>&1 || true
    else
        pgFresh afp_bench_load
        before=$(serverCpu)
        "$measure" "$out" "$program" -dbname afp_bench_load \
            -dbconnect "LOCAL;PG;host=$PGHOST port=$port user=%s password=%s" \
            -dbuser "$PGUSER" -dbpass "$PGPASSWORD" -auditlocation "$run/audit" \
            -df "$run/dump.sql" -nbrows "$nbrows" >"$run/load.log" 2>&1 || true
        serverCpuSince "$before" >"$out.srv"
    fi
    readMeasure "$out"
    [ "$m_status" -eq 0 ] || die "$program failed (status $m_status), see $run/load.log"
    if ls "$run/audit" | grep -q '\.log$'; then
        die "$program left files unloaded in $run/audit, see $run/load.log"
    fi
}

# Runs loadOnce `repeat` times and keeps the median in OUT.
loadMedian() { # loadMedian BACKEND NBROWS SOURCE RUN LOADER OUT
    local i files=()
    for ((i = 1; i <= repeat; i++)); do
        loadOnce "$1" "$2" "$3" "$4" "$5" "$6.$i"
        files+=("$6.$i")
    done
    keepMedian "$6" "${files[@]}"
}

runPair() { # runPair BACKEND NBROWS SOURCE LINES
    local backend=$1 nbrows=$2 source=$3 lineCount=$4
    local run=$workDir/$backend-$nbrows
    rm -rf "$run"
    mkdir -p "$run"
    local dump=$run/dump.sql replay=$run/replay.sql
    local loadCounts replayCounts lWall lCpu lPeak lServer=- rServer=- before bWall=- i
    if [ -n "$baseline" ]; then
        say "bench: $backend -nbrows $nbrows: loading $lineCount lines with the baseline"
        loadMedian "$backend" "$nbrows" "$source" "$run" "$baseline" "$run/base.measure"
        readMeasure "$run/base.measure"
        bWall=$m_wall
    fi
    say "bench: $backend -nbrows $nbrows: loading $lineCount lines"
    loadMedian "$backend" "$nbrows" "$source" "$run" "$loader" "$run/load.measure"
    readMeasure "$run/load.measure"
    lWall=$m_wall lCpu=$m_cpu lPeak=$m_peak
    [ "$backend" = SQLite ] || lServer=$(cat "$run/load.measure.srv")
    local statements transactions
    statements=$(countStatements "$dump")
    transactions=$(countTransactions "$dump")

    say "bench: $backend -nbrows $nbrows: replaying $statements statements"
    local files=()
    if [ "$backend" = SQLite ]; then
        convertDump "$dump" "$replay" $'PRAGMA journal_mode=WAL;\nPRAGMA synchronous=FULL;'
        for ((i = 1; i <= repeat; i++)); do
            rm -f "$run/replay.db" "$run/replay.db-wal" "$run/replay.db-shm"
            sqlite3 "$run/replay.db" <"$root/schema/sqlite.sql" >/dev/null
            "$measure" "$run/replay.measure.$i" sqlite3 "$run/replay.db" <"$replay" \
                >/dev/null 2>"$run/replay.err" || true
            files+=("$run/replay.measure.$i")
        done
        keepMedian "$run/replay.measure" "${files[@]}"
        readMeasure "$run/replay.measure"
        loadCounts=$(sqliteCounts "$run/load.db")
        replayCounts=$(sqliteCounts "$run/replay.db")
    else
        convertDump "$dump" "$replay"
        for ((i = 1; i <= repeat; i++)); do
            pgFresh afp_bench_replay
            before=$(serverCpu)
            "$measure" "$run/replay.measure.$i" psql -X -q -v ON_ERROR_ROLLBACK=on \
                -d afp_bench_replay -f "$replay" >/dev/null 2>"$run/replay.err" || true
            serverCpuSince "$before" >"$run/replay.measure.$i.srv"
            files+=("$run/replay.measure.$i")
        done
        keepMedian "$run/replay.measure" "${files[@]}"
        readMeasure "$run/replay.measure"
        rServer=$(cat "$run/replay.measure.srv")
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
        "$lWall" "$lCpu" "$lServer" "$lPeak" "$m_wall" "$m_cpu" "$rServer" "$m_peak" "$same" "$bWall"
    if [ "$keep" -eq 0 ]; then
        rm -rf "$run"
    fi
}

latencyRows=()
scalingRows=()

# Audit-row batches committed in a dump, and how many of them were run again
# statement by statement after their held run went otherwise than predicted.
batchesOf() { # batchesOf DUMP -> "BATCHES REPLAYED"
    tail -n +3 "$1" | awk '
        $0 == "BEGIN" { rows = 0; next }
        /^-- bookkeeping: the batch below/ { replayed++; next }
        /^(INSERT INTO|UPDATE) QXES_(DISPATCHER|SESSION|REQUEST|ADMIN_SOURCE|USER_SOURCE|DIM_USAGE|MEASURE_USAGE|LEVEL_USAGE)[( ]/ { rows = 1 }
        $0 == "COMMIT" && rows { batches++ }
        END { printf "%d %d\n", batches, replayed }'
}

# Starts the relay with DELAY us each way; sets proxyPid and proxyPort.
startRelay() { # startRelay DELAY
    rm -f "$workDir/proxy.port" "$workDir/proxy.stats"
    "$delayProxy" 0 "${PGPORT:-5432}" "$1" "$workDir/proxy.stats" >"$workDir/proxy.port" &
    proxyPid=$!
    for _ in $(seq 50); do [ -s "$workDir/proxy.port" ] && break; sleep 0.1; done
    proxyPort=$(head -1 "$workDir/proxy.port")
}

stopRelay() {
    kill "$proxyPid" 2>/dev/null || true
    wait "$proxyPid" 2>/dev/null || true
    proxyPid=
}

trips() { cut -d' ' -f2 "$workDir/proxy.stats" 2>/dev/null || echo 0; }

# Loads through the running relay `repeat` times; records the run of median
# wall time with its round trips and replayed batches. FAULT, when given, is
# the fault plan of afp_faulty_loader (the LOADER then).
runLatency() { # runLatency SOURCE LINES NBROWS LABEL LOADER DELAY [FAULT]
    local source=$1 lineCount=$2 nbrows=$3 label=$4 program=$5 delay=$6 fault=${7:-}
    local run=$workDir/latency-$label before after i results=() chosen
    rm -rf "$run"
    mkdir -p "$run"
    say "bench: PostgreSQL with $delay us each way, -nbrows $nbrows: loading $lineCount lines ($label)"
    for ((i = 1; i <= repeat; i++)); do
        before=$(trips)
        if [ -n "$fault" ]; then export AFP_FAULT=$fault; fi
        loadOnce PostgreSQL "$nbrows" "$source" "$run" "$program" "$run/load.measure" "$proxyPort"
        unset AFP_FAULT
        sleep 0.2
        after=$(trips)
        readMeasure "$run/load.measure"
        results+=("$m_wall $((after - before)) $(batchesOf "$run/dump.sql")")
        grep -c '^INSERT INTO QXES_SESSION(' "$run/dump.sql" >"$workDir/sessions.count" || true
    done
    chosen=$(printf '%s\n' "${results[@]}" | sort -n | sed -n "$(((repeat + 1) / 2))p")
    latencyRows+=("$label $delay $nbrows $lineCount $(countStatements "$run/dump.sql") $chosen")
    pgDrop afp_bench_load
    [ "$keep" -eq 1 ] || rm -rf "$run"
}

# The eight audit tables of a database, one sorted line per row.
pgRows() { # pgRows DATABASE
    local table
    for table in $tables; do
        psql -X -q -At -d "$1" -c "SELECT '$table', * FROM $table"
    done | sort
}

# Loaders side by side on distinct directories (one per server) into one
# database through the relay at 0.5 ms; the tables must equal the union of
# each directory loaded alone.
runScaling() { # runScaling LINES
    local perDir=$1 most=0 k d i wall status results chosen lineTotal before after
    for k in $scaling; do [ "$k" -le "$most" ] || most=$k; done
    for ((d = 1; d <= most; d++)); do
        "$generator" --output "$workDir/scale-$d" --seed "$((seed + d))" --files "$files" \
            --lines "$(((perDir + files - 1) / files))" --sessions "$sessions" \
            --session-prefix "D${d}S" | sed -n 's/^qxesauditgen: \([0-9]*\) lines.*/\1/p' \
            >"$workDir/scale-$d.lines"
        rm -rf "$workDir/alone" && cp -rp "$workDir/scale-$d" "$workDir/alone"
        pgFresh afp_bench_alone
        "$loader" -dbname afp_bench_alone \
            -dbconnect "LOCAL;PG;host=$PGHOST port=$PGPORT user=%s password=%s" \
            -dbuser "$PGUSER" -dbpass "$PGPASSWORD" -auditlocation "$workDir/alone" \
            -nbrows 1000 >"$workDir/alone.log" 2>&1 || die "loading directory $d alone failed"
        pgRows afp_bench_alone >"$workDir/alone-$d.rows"
        pgDrop afp_bench_alone
    done
    startRelay 500
    for k in $scaling; do
        lineTotal=0
        for ((d = 1; d <= k; d++)); do lineTotal=$((lineTotal + $(cat "$workDir/scale-$d.lines"))); done
        say "bench: $k loaders side by side, 500 us each way: loading $lineTotal lines"
        results=()
        for ((i = 1; i <= repeat; i++)); do
            pgFresh afp_bench_load
            for ((d = 1; d <= k; d++)); do
                rm -rf "$workDir/side-$d" && cp -rp "$workDir/scale-$d" "$workDir/side-$d"
            done
            before=$(trips)
            wall=$(date +%s.%N)
            local pids=()
            for ((d = 1; d <= k; d++)); do
                "$loader" -dbname afp_bench_load \
                    -dbconnect "LOCAL;PG;host=$PGHOST port=$proxyPort user=%s password=%s" \
                    -dbuser "$PGUSER" -dbpass "$PGPASSWORD" -auditlocation "$workDir/side-$d" \
                    -nbrows 1000 >"$workDir/side-$d.log" 2>&1 &
                pids+=($!)
            done
            status=0
            for d in "${pids[@]}"; do wait "$d" || status=1; done
            wall=$(awk -v a="$wall" -v b="$(date +%s.%N)" 'BEGIN { printf "%.3f", b - a }')
            sleep 0.2
            after=$(trips)
            [ "$status" -eq 0 ] || die "a loader of $k side by side failed, see $workDir/side-*.log"
            local same=yes
            for ((d = 1; d <= k; d++)); do cat "$workDir/alone-$d.rows"; done | sort >"$workDir/union.rows"
            pgRows afp_bench_load | cmp -s - "$workDir/union.rows" || { same=NO; failed=1; }
            results+=("$wall $((after - before)) $same")
        done
        chosen=$(printf '%s\n' "${results[@]}" | sort -n | sed -n "$(((repeat + 1) / 2))p")
        scalingRows+=("$k $lineTotal $chosen")
        pgDrop afp_bench_load
    done
    stopRelay
    [ "$keep" -eq 1 ] || rm -rf "$workDir"/scale-* "$workDir"/side-* "$workDir/alone"
}

# Where the loader's own time goes, by function.
runProfile() { # runProfile SOURCE LINES
    local run=$workDir/profile
    mkdir -p "$run"
    cp -rp "$1" "$run/audit"
    sqlite3 "$run/load.db" <"$root/schema/sqlite.sql" >/dev/null
    local command=("$loader" -dbname "$run/load.db" -dbconnect 'LOCAL;SQ;' -dbuser bench
        -dbpass unused -auditlocation "$run/audit" -df "$run/dump.sql" -nbrows 1000)
    printf '\nprofile of the loader, SQLite, -nbrows 1000, %s lines\n' "$2"
    if command -v perf >/dev/null &&
        perf record -q -F 1999 -e cpu-clock -o "$run/perf.data" -- "${command[@]}" >/dev/null 2>"$run/perf.err"; then
        printf 'perf, share of the samples by library, then by function (self time, 1%% and more)\n'
        perf report -q -i "$run/perf.data" --no-children --sort dso --stdio 2>/dev/null |
            awk 'NF { printf "%8s  %s\n", $1, $2 }' | head -6
        perf report -q -i "$run/perf.data" --no-children --sort dso,symbol --percent-limit 1 \
            --stdio 2>/dev/null | sed -E 's/\[\.\] //; s/std::__cxx11::basic_string<[^>]*> ?>?/std::string/g' |
            awk 'NF { share = $1; dso = $2; sub(/^ *[^ ]+ +[^ ]+ +/, "");
                      printf "%8s  %-24s %s\n", share, dso, substr($0, 1, 70) }' | head -25
    else
        printf 'callgrind, instructions by function (self, first 30)\n'
        valgrind --tool=callgrind --callgrind-out-file="$run/callgrind.out" "${command[@]}" \
            >/dev/null 2>&1 || true
        callgrind_annotate "$run/callgrind.out" 2>/dev/null | sed -n '/^Ir/,$p' | head -34
    fi
    [ "$keep" -eq 1 ] || rm -rf "$run"
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
    if [ -n "$latencyUs" ] && [[ "$PGHOST" =~ ^(127\.0\.0\.1|localhost)$ ]]; then
        say "bench: writing $latencyLines audit lines for the delayed runs"
        latencyLineCount=$(generate "$workDir/audit-latency" "$latencyLines")
        largest=$(printf '%s\n' $rowCounts | sort -n | tail -1)
        for delay in $latencyUs; do
            startRelay "$delay"
            for nbrows in $rowCounts; do
                [ "$delay" -lt 5000 ] || [ "$nbrows" -eq "$largest" ] || continue
                runLatency "$workDir/audit-latency" "$latencyLineCount" "$nbrows" loader "$loader" "$delay"
                if [ -n "$baseline" ]; then
                    runLatency "$workDir/audit-latency" "$latencyLineCount" "$nbrows" baseline "$baseline" "$delay"
                fi
                if [ "$delay" -eq 500 ] && [ "$mispredictPct" -gt 0 ]; then
                    # Another connection inserts every N-th session just before
                    # the loader's held batch does: about P% of the lines then
                    # meet a session that was not there when their batch began.
                    every=$(awk -v s="$(cat "$workDir/sessions.count")" -v l="$latencyLineCount" \
                        -v p="$mispredictPct" 'BEGIN { n = int(s * 100 / (l * p)); print (n < 1 ? 1 : n) }')
                    runLatency "$workDir/audit-latency" "$latencyLineCount" "$nbrows" \
                        "intruded" "$faultyLoader" "$delay" "intrudeevery=$every"
                fi
            done
            stopRelay
        done
        rm -rf "$workDir/audit-latency"
        if [ -n "$scaling" ]; then
            runScaling "$latencyLines"
        fi
    fi
    rm -rf "$workDir/audit-pg"
fi
if [ "$profile" -eq 1 ]; then
    if command -v perf >/dev/null; then
        profileLines=${profileLines:-200000}
    else
        profileLines=${profileLines:-20000}
    fi
    profileLineCount=$(generate "$workDir/audit-profile" "$profileLines")
    profileOutput=$(runProfile "$workDir/audit-profile" "$profileLineCount")
    rm -rf "$workDir/audit-profile"
fi

# --- the table --------------------------------------------------------------------
printf '\nqxesauditfileprocessor benchmark, %s\n' "$(date -u '+%Y-%m-%d %H:%M UTC')"
printf 'machine: %s cores, %s, %s memory; work directory on %s\n' "$(nproc)" \
    "$(lscpu 2>/dev/null | sed -n 's/^Model name: *//p' | head -1)" \
    "$(free -h 2>/dev/null | awk '/^Mem:/ { print $2 }')" \
    "$(df -T "$workDir" 2>/dev/null | awk 'NR == 2 { print $2 }')"
printf 'statements: INSERT, UPDATE and SELECT of the dump (transaction boundaries not counted)\n'
printf 'replay: sqlite3 shell (WAL, synchronous=FULL) or psql -v ON_ERROR_ROLLBACK=on, same BEGIN/COMMIT\n\n'
[ "$repeat" -eq 1 ] || printf 'wall times: the median of %s runs\n' "$repeat"
printf '%-10s %6s %8s %8s %7s | %7s %6s %6s %8s %8s %7s | %8s %6s %6s %8s %7s | %5s %4s | %7s %7s\n' \
    backend nbrows lines stmts commits "load s" "cpu s" "srv s" "lines/s" "stmts/s" "peak MB" \
    "replay s" "cpu s" "srv s" "stmts/s" "peak MB" ratio same "base s" speedup
for row in "${rows[@]}"; do
    # shellcheck disable=SC2086
    set -- $row
    awk -v b="$1" -v n="$2" -v l="$3" -v s="$4" -v t="$5" -v lw="$6" -v lc="$7" -v ls="$8" \
        -v lp="$9" -v rw="${10}" -v rc="${11}" -v rs="${12}" -v rp="${13}" -v same="${14}" \
        -v bw="${15}" 'BEGIN {
        printf "%-10s %6d %8d %8d %7d | %7.2f %6.2f %6s %8.0f %8.0f %7.1f | %8.2f %6.2f %6s %8.0f %7.1f | %5.2f %4s | %7s %7s\n",
            b, n, l, s, t, lw, lc, ls, (lw > 0 ? l / lw : 0), (lw > 0 ? s / lw : 0), lp / 1024,
            rw, rc, rs, (rw > 0 ? s / rw : 0), rp / 1024, (rw > 0 ? lw / rw : 0), same,
            bw, (bw != "-" && lw > 0 ? sprintf("%.2f", bw / lw) : "-")
    }'
done
printf '\nload s, replay s: wall time; cpu s: the client process; srv s: the private server'"'"'s backend\n'
printf 'ratio = loader wall time / replay wall time; speedup = baseline wall time / loader wall time\n'
if [ "${#latencyRows[@]}" -gt 0 ]; then
    printf '\nPostgreSQL through a relay that delays each direction (loopback)\n'
    printf '%-9s %6s %6s %7s %7s | %7s %8s %8s | %8s %10s %8s | %7s %8s\n' loader delay nbrows \
        lines stmts "load s" "lines/s" "stmts/s" "trips" "trips/line" "waiting" batches replayed
    for row in "${latencyRows[@]}"; do
        # shellcheck disable=SC2086
        set -- $row
        awk -v b="$1" -v d="$2" -v n="$3" -v l="$4" -v s="$5" -v w="$6" -v t="$7" -v c="$8" \
            -v r="$9" 'BEGIN {
            printf "%-9s %6d %6d %7d %7d | %7.2f %8.0f %8.0f | %8d %10.3f %7.0f%% | %7d %7.1f%%\n",
                b, d, n, l, s, w, l / w, s / w, t, t / l, 100 * t * 2 * d / 1e6 / w,
                c, (c > 0 ? 100 * r / c : 0)
        }'
    done
    printf 'delay: us each way; trips: round trips (the client sent after the server answered);\n'
    printf 'waiting: trips x 2 x delay / wall time; batches: audit-row transactions committed;\n'
    printf 'replayed: their share run again statement by statement; intruded: another\n'
    printf 'connection inserts sessions under the loader (%s%% of the lines)\n' "$mispredictPct"
fi
if [ "${#scalingRows[@]}" -gt 0 ]; then
    printf '\nLoaders side by side on distinct directories into one PostgreSQL, 500 us each way, -nbrows 1000\n'
    printf '%7s %8s %7s %12s %12s %10s %5s\n' loaders lines "wall s" "total l/s" "per loader" \
        "trips/line" same
    for row in "${scalingRows[@]}"; do
        # shellcheck disable=SC2086
        set -- $row
        awk -v k="$1" -v l="$2" -v w="$3" -v t="$4" -v same="$5" 'BEGIN {
            printf "%7d %8d %7.2f %12.0f %12.0f %10.3f %5s\n", k, l, w, l / w, l / w / k, t / l, same
        }'
    done
    printf 'same: the tables equal the union of each directory loaded alone\n'
fi
[ -z "${profileOutput:-}" ] || printf '%s\n' "$profileOutput"
printf 'total benchmark time %ss\n' "$(($(date +%s) - started))"
exit "$failed"
