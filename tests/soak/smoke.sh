#!/usr/bin/env bash
# A short run of the soak program, twice with the same seed: smoke.sh PROGRAM FOLDER
set -euo pipefail

program=$1
folder=$2
for run in one two; do
    mkdir -p "$folder/$run"
    [ "$run" = one ] || cp -rn "$folder/one/media" "$folder/$run/"
    "$program" --operations=60 --seed=7 --folder="$folder/$run"
done
if ! cmp "$folder/one/script.csv" "$folder/two/script.csv"; then
    echo "the same seed gave two scripts"
    exit 1
fi
