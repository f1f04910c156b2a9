#!/usr/bin/env bash
# Does every public header compile alone, without warnings and without any other include path than
# the folder that a host gets?
# usage: public-headers.sh [INCLUDE_DIR]    (the build's include folder, default build/include)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
include=${1:-$root/build/include}

shopt -s nullglob
headers=("$include"/quolsdk/*.h)
if ((${#headers[@]} == 0)); then
    echo "public-headers: no headers in $include/quolsdk (build first: make build)" >&2
    exit 1
fi

failed=0
for header in "${headers[@]}"; do
    name=${header##*/}
    # Included twice: a header without a guard fails here too.
    if ! printf '#include "quolsdk/%s"\n#include "quolsdk/%s"\n' "$name" "$name" |
        "${CXX:-g++}" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -pedantic \
            -I "$include" -x c++ -; then
        echo "public-headers: $name does not compile alone" >&2
        failed=1
    fi
done
((failed)) || echo "public-headers: ${#headers[@]} headers compile alone"
exit "$failed"
