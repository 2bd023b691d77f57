#!/usr/bin/env bash
# Installs whatever the build, the tests and the main job need and the machine
# lacks. Quiet and quick when everything is already there.
set -euo pipefail

packages=(
    cmake g++ make pkg-config
    libgtest-dev
    libsqlite3-dev sqlite3
    libpq-dev postgresql
    clang libclang-rt-14-dev clang-format clang-tidy
    nlohmann-json3-dev
    chromium
    dpkg-dev debhelper lintian file man-db systemd
    # promtool, to check the metrics text as Prometheus reads it
    prometheus
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
if ! command -v gencat >/dev/null 2>&1; then
    missing+=(libc-bin)
fi

if [ "${#missing[@]}" -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    sudo_prefix=""
    if [ "$(id -u)" -ne 0 ]; then
        sudo_prefix="sudo"
    fi
    log="$(mktemp /tmp/afp-setup-XXXXXX.log)"
    if ! { $sudo_prefix apt-get update -qq && \
           $sudo_prefix apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
        cat "$log" >&2
        echo "setup: installing packages failed" >&2
        exit 1
    fi
    rm -f "$log"
fi
