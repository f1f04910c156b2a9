#!/usr/bin/env bash
# Are the C symbols that the library exports the functions of the C header, no more and no less?
# usage: c-symbols.sh [LIBRARY]    (default build/lib/libquolsdk.so)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
library=${1:-$root/build/lib/libquolsdk.so}
if [[ ! -f $library ]]; then
    echo "c-symbols: no $library (build first: make build)" >&2
    exit 1
fi

# All that is not a C++ name, but for the linker's own.
exported=$(nm -D --defined-only --format=posix "$library" |
    cut -d ' ' -f 1 |
    sed 's/@.*//' |
    { grep -vE '^_Z|^(__bss_start|_edata|_end)$' || true; } |
    LC_ALL=C sort -u)
declared=$("$root/scripts/c-functions.py" --names | LC_ALL=C sort -u)

if ! difference=$(diff <(printf '%s\n' "$declared") <(printf '%s\n' "$exported")); then
    sed -n -e 's/^>/exported but not in the header:/p' -e 's/^</in the header but not exported:/p' \
        <<<"$difference" >&2
    exit 1
fi
echo "c-symbols: $(wc -l <<<"$exported") functions, as the header declares"
