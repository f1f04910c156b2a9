#!/usr/bin/env bash
# Makes the reference manual of the public headers; any warning, such as an undocumented public
# member, is an error.
# usage: docs.sh [OUTPUT_DIR]    (default build/docs)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
output=${1:-build/docs}

if ! command -v doxygen >/dev/null; then
    echo "docs: doxygen is not installed, nothing checked" >&2
    exit 0
fi

# The version and the list of public headers are the build's own.
version=$(sed -n 's/^ *VERSION \([0-9.]*\)$/\1/p' CMakeLists.txt)
headers=$(sed -n '/^set(QUOLSDK_PUBLIC_HEADERS$/,/^)/s/^ \+\([a-z]\+\/.*\.h\)$/\1/p' \
    cmake/PublicHeaders.cmake)

mkdir -p "$output"
{
    cat docs/Doxyfile
    echo "PROJECT_NUMBER = $version"
    echo "OUTPUT_DIRECTORY = $output"
    for header in $headers; do
        if [[ -f $header ]]; then echo "INPUT += $header"; fi
    done
} | doxygen - >"$output/doxygen.log"
echo "docs: no warnings"
