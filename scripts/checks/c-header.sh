#!/usr/bin/env bash
# Does the C header compile as strict C99 and as C++, without warnings?
# usage: c-header.sh [INCLUDE_DIR]    (the build's include folder, default build/include)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
include=${1:-$root/build/include}

failed=0
compile() {
    local language=$1
    shift
    if ! printf '#include "quolsdk/quolsdk_c_api.h"\nint main(void) { return 0; }\n' |
        "$@" -fsyntax-only -Wall -Wextra -Werror -pedantic -I "$include" -; then
        echo "c-header: quolsdk_c_api.h does not compile as $language" >&2
        failed=1
    fi
}

compile C99 "${CC:-gcc}" -std=c99 -Wstrict-prototypes -x c
compile C11 "${CC:-gcc}" -std=c11 -Wstrict-prototypes -x c
compile C++11 "${CXX:-g++}" -std=c++11 -x c++
compile C++20 "${CXX:-g++}" -std=c++20 -x c++
((failed)) || echo "c-header: compiles as C99, C11, C++11 and C++20"
exit "$failed"
