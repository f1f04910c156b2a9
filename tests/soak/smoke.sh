#!/usr/bin/env bash
# A short run of the soak program, twice with the same seed: smoke.sh PROGRAM FOLDER [once]
set -euo pipefail

program=$1
folder=$2
runs=(one two)
[ "${3-}" != once ] || runs=(one)
for run in "${runs[@]}"; do
    mkdir -p "$folder/$run"
    [ "$run" = one ] || cp -rn "$folder/one/media" "$folder/$run/"
    "$program" --operations=60 --seed=7 --folder="$folder/$run"
done
if ((${#runs[@]} > 1)) && ! cmp "$folder/one/script.csv" "$folder/two/script.csv"; then
    echo "the same seed gave two scripts"
    exit 1
fi
