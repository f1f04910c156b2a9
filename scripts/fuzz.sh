#!/usr/bin/env bash
# Runs every fuzz target for so many seconds (60), all at the same time. Inputs that reach new code
# are kept in build-fuzz/corpus; one that fails is left in build-fuzz/failures, and is told.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=${1:-60}
folder=build-fuzz
failed=0
declare -A running

mkdir -p "$folder/failures"
for program in "$folder"/bin/fuzz_*; do
    name=${program##*/fuzz_}
    mkdir -p "$folder/corpus/$name"
    "$program" "$folder/corpus/$name" "tests/fuzz/seeds/$name" \
        -dict="tests/fuzz/$name.dict" -max_total_time="$seconds" -timeout=20 -max_len=2048 \
        -artifact_prefix="$folder/failures/$name-" -print_final_stats=1 \
        >"$folder/$name.log" 2>&1 &
    running[$name]=$!
done

for name in "${!running[@]}"; do
    if wait "${running[$name]}"; then
        echo "fuzz: $name: $(sed -n 's/^stat::number_of_executed_units: *//p' "$folder/$name.log") runs"
    else
        failed=1
        echo "fuzz: $name failed:" >&2
        tail -n 60 "$folder/$name.log" >&2
    fi
done
exit "$failed"
