#!/usr/bin/env bash
# Starts or stops a private PostgreSQL server for the database tests.
#   pgserver.sh start DIR   # initdb in DIR/data, start on 127.0.0.1, write DIR/env
#   . DIR/env               # exports AFP_TEST_PG_HOST, _PORT, _USER, _PASSWORD
#   pgserver.sh stop DIR    # safe to call twice
# The server trusts nothing: the test role logs in with a password, as the
# loader does in production. Durability is switched off for speed.
set -euo pipefail

usage() { echo "usage: $0 start|stop DIR" >&2 && exit 2; }
[ $# -eq 2 ] || usage
action=$1
dir=$2
pgUser=afptest
pgPassword=afptest-secret
say() { echo "pgserver.sh: $*" >&2; }

findBinDir() {
    local candidate
    for candidate in $(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V -r); do
        [ -x "$candidate/initdb" ] && [ -x "$candidate/pg_ctl" ] && echo "$candidate" && return 0
    done
    return 1
}

# initdb and the server refuse to run as root, so they run as an ordinary user.
osUser() {
    if [ "$(id -u)" -ne 0 ]; then
        id -un
    elif id postgres >/dev/null 2>&1; then
        echo postgres
    else
        id afptest >/dev/null 2>&1 || useradd --system --no-create-home --shell /bin/false afptest
        echo afptest
    fi
}

asUser() {
    local user=$1
    shift
    if [ "$(id -un)" = "$user" ]; then
        "$@"
    elif command -v runuser >/dev/null 2>&1; then
        runuser -u "$user" -- "$@"
    else
        su -s /bin/sh "$user" -c "$(printf '%q ' "$@")"
    fi
}

start() {
    local binDir user port
    binDir=$(findBinDir) || { say "PostgreSQL is not installed (no initdb under /usr/lib/postgresql/*/bin)" && exit 1; }
    user=$(osUser)
    mkdir -p "$dir"
    dir=$(cd "$dir" && pwd)
    if [ -f "$dir/env" ] && [ -f "$dir/data/postmaster.pid" ] &&
        asUser "$user" "$binDir/pg_ctl" -D "$dir/data" status >/dev/null 2>&1; then
        echo "pgserver.sh: already running, see $dir/env"
        return 0
    fi
    chown "$user" "$dir"
    if [ ! -f "$dir/data/PG_VERSION" ]; then
        rm -rf "$dir/data"
        (umask 077 && printf '%s\n' "$pgPassword" >"$dir/pwfile")
        chown "$user" "$dir/pwfile"
        asUser "$user" "$binDir/initdb" -D "$dir/data" -U "$pgUser" --pwfile="$dir/pwfile" \
            --auth=scram-sha-256 --encoding=UTF8 --locale=C >"$dir/initdb.log" 2>&1 ||
            { say "initdb failed, see $dir/initdb.log" && exit 1; }
        rm -f "$dir/pwfile"
    fi
    for _ in $(seq 1 40); do
        port=$((20000 + (RANDOM % 20000)))
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && continue # in use
        if asUser "$user" "$binDir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
            -o "-p $port -c listen_addresses=127.0.0.1 -k $dir -c fsync=off -c synchronous_commit=off -c full_page_writes=off" \
            start >/dev/null 2>&1; then
            printf 'export AFP_TEST_PG_HOST=127.0.0.1 AFP_TEST_PG_PORT=%s AFP_TEST_PG_USER=%s AFP_TEST_PG_PASSWORD=%s\n' \
                "$port" "$pgUser" "$pgPassword" >"$dir/env"
            echo "pgserver.sh: PostgreSQL listening on 127.0.0.1:$port, see $dir/env"
            return 0
        fi
    done
    say "could not start PostgreSQL, see $dir/server.log" && exit 1
}

stop() {
    local binDir
    if [ -f "$dir/data/postmaster.pid" ] && binDir=$(findBinDir); then
        asUser "$(osUser)" "$binDir/pg_ctl" -D "$dir/data" -m fast -w stop >/dev/null 2>&1 || true
    fi
    rm -f "$dir/env"
}

case "$action" in
start) start ;;
stop) stop ;;
*) usage ;;
esac
