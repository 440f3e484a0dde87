#!/usr/bin/env bash
# Builds the fuzzers, runs each over its corpus and beyond for so many seconds, and prints a table.
#   scripts/fuzz.sh [SECONDS [TARGET...]]
# It is 60 seconds and every target unless told otherwise. What a run finds stays under
# build/fuzz/runs/<target>: the grown corpus, which the next run starts from, the log and the inputs
# that were findings. The exit status is 1 if there is any.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

seconds=${1:-60}
shift $(($# > 0 ? 1 : 0))

ensure_packages "${build_packages[@]}" clang libclang-rt-14-dev
build fuzz fuzzers

folder=$project_root/build/fuzz
runs=$folder/runs

# run_target NAME MAX_LENGTH: the exit status of the fuzzer goes to the file status.
run_target() {
    local name=$1 max_length=$2 status=0 dictionary=()
    if [ -e "$project_root/fuzz/dictionaries/$name.dict" ]; then
        dictionary=(-dict="$project_root/fuzz/dictionaries/$name.dict")
    fi
    mkdir -p "$runs/$name/corpus" "$runs/$name/findings"
    # AddressSanitizer notes a stack at each allocation. Qt has no frame pointers, so that these stacks
    # are noise beyond the first frames, and each new noise costs time and memory for good. Freed memory
    # is kept from use, by default far more than an input frees, and touching ever new memory is slow.
    ASAN_OPTIONS=malloc_context_size=2:quarantine_size_mb=16 nice "$folder/fuzz/${name}_fuzzer" \
        -max_total_time="$seconds" -max_len="$max_length" -timeout=10 -rss_limit_mb=1024 \
        -entropic_scale_per_exec_time=1 -print_final_stats=1 \
        ${dictionary[@]+"${dictionary[@]}"} \
        -artifact_prefix="$runs/$name/findings/" \
        "$runs/$name/corpus" "$project_root/fuzz/corpus/$name" >"$runs/$name/log" 2>&1 || status=$?
    echo "$status" >"$runs/$name/status"
}

# number_of NAME: that figure of the final statistics in the log on standard input.
number_of() { sed -n "s/^stat::$1: *//p" | tail -n 1; }

# print_row NAME: fails if the run of the target has a finding.
print_row() {
    local log=$runs/$1/log finding=none status
    status=$(<"$runs/$1/status")
    if [ "$status" != 0 ]; then
        finding=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
        finding=${finding:-"exit status $status, see $log"}
    fi
    echo "| $1 | $(number_of number_of_executed_units <"$log") | $(number_of average_exec_per_sec <"$log") |" \
        "$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1) | $finding |"
    [ "$status" = 0 ]
}

targets=()
while read -r name max_length; do
    [ $# -eq 0 ] || [[ " $* " == *" $name "* ]] || continue
    targets+=("$name")
    while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do
        wait -n
    done
    say "Fuzzing $name for $seconds seconds"
    run_target "$name" "$max_length" &
done <"$folder/fuzz/targets.txt"
wait
[ ${#targets[@]} -gt 0 ] || fail "There is no such target."

failed=0
echo "| Target | Executions | Executions/s | Edges | Finding |"
echo "|---|---|---|---|---|"
for name in "${targets[@]}"; do
    print_row "$name" || failed=1
done
exit "$failed"
