#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, with the address and undefined-behaviour
# sanitizers) in build-fuzz and runs them, two at a time.
#   bash scripts/fuzz.sh smoke          # every target for a few seconds; for the test command
#   bash scripts/fuzz.sh long SECONDS   # every target for SECONDS, with a summary per target
# Each target starts from a copy of its seed corpus in fuzz/corpus/<target>, so
# the repository is never modified; a crash, leak, sanitizer report, timeout or
# memory blow-up makes the script exit non-zero and keeps the work directory,
# with the failing input, for minimising (-minimize_crash=1) and replaying. A
# long run also keeps it, for the corpora it grew (merge them with -merge=1).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-fuzz"
targets=(fuzzFileLoad fuzzUsageDecoder fuzzCharacterReferences fuzzCommandLine fuzzConfigurationFile)

usage() {
    echo "usage: $0 smoke | long SECONDS" >&2
    exit 2
}

mode="${1:-}"
case "$mode" in
    smoke) seconds=8 ;;
    long)
        seconds="${2:-}"
        [[ "$seconds" =~ ^[0-9]+$ ]] && ((seconds > 0)) || usage
        ;;
    *) usage ;;
esac

# The libraries are instrumented through the build's flags; the fuzz
# executables add the fuzzer's main (cmake/fuzz.cmake).
sanitizers="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_C_FLAGS="$sanitizers" -DCMAKE_CXX_FLAGS="$sanitizers" \
    -DAFP_FUZZ=ON -DAFP_TESTS=OFF >/dev/null
cmake --build "$build" -j2 --target afp_fuzz_targets >/dev/null

work="$(mktemp -d /tmp/afp-fuzz-XXXXXX)"
# Scratch files of the targets (audit directory, database) go to memory when it can.
scratch_root=/tmp
[[ -d /dev/shm && -w /dev/shm ]] && scratch_root=/dev/shm
scratch="$(mktemp -d "$scratch_root/afp-fuzz-scratch-XXXXXX")"
failed=0
cleanup() {
    rm -rf "$scratch"
    if ((failed != 0)); then
        echo "fuzz: the failing inputs and logs are kept in $work" >&2
    elif [[ "$mode" == long ]]; then
        echo "fuzz: logs and grown corpora are kept in $work"
    else
        rm -rf "$work"
    fi
}
trap cleanup EXIT

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:symbolize=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

# Runs one target in the background (its process id in last_pid); its log and
# artifacts stay in $work/<target>.
start_target() {
    local target="$1" dir="$work/$1"
    mkdir -p "$dir/corpus" "$dir/artifacts" "$dir/tmp"
    cp "$root/fuzz/corpus/$target/." "$dir/corpus/" -R
    local dict=()
    [[ -f "$root/fuzz/$target.dict" ]] && dict=(-dict="$root/fuzz/$target.dict")
    (
        cd "$dir"
        TMPDIR="$scratch" exec "$build/bin/$target" "${dict[@]}" \
            -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=16384 \
            -print_final_stats=1 -artifact_prefix="$dir/artifacts/" \
            "$dir/corpus" >"$dir/log" 2>&1
    ) &
    last_pid=$!
}

# One summary line: runs, coverage, corpus and result, from libFuzzer's report.
summarise() {
    local target="$1" status="$2" log="$work/$1/log"
    local runs cov ft corpus result
    runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)"
    cov="$(grep -o 'cov: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)"
    ft="$(grep -o 'ft: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)"
    corpus="$(grep -o 'corp: [0-9]*/[0-9]*[a-zA-Z]*' "$log" | tail -1 | cut -d' ' -f2)"
    if ((status == 0)); then
        result=ok
    else
        # The sanitizer's or libFuzzer's one-line summary names the kind of fault.
        result="$(grep -m1 -E '^SUMMARY: |fuzz invariant broken' "$log" | cut -c1-120)"
        result="FAILED (${result:-exit $status})"
    fi
    printf '%-24s runs %-10s cov %-6s ft %-7s corpus %-12s %s\n' \
        "$target" "${runs:-?}" "${cov:-?}" "${ft:-?}" "${corpus:-?}" "$result"
}

# Two at a time: the machine has two cores.
for ((i = 0; i < ${#targets[@]}; i += 2)); do
    batch=("${targets[@]:i:2}")
    pids=()
    for target in "${batch[@]}"; do
        start_target "$target"
        pids+=("$last_pid")
    done
    for j in "${!batch[@]}"; do
        status=0
        wait "${pids[j]}" || status=$?
        ((status == 0)) || failed=1
        summarise "${batch[j]}" "$status"
        if ((status != 0)); then
            grep -m1 -A30 -E 'ERROR:|fuzz invariant broken|runtime error' "$work/${batch[j]}/log" >&2 || true
        fi
    done
done

if ((failed != 0)); then
    exit 1
fi
