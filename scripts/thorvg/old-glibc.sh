#!/usr/bin/env bash
# Makes a library that was linked with glibc 2.38 or newer loadable by glibc 2.34 to 2.37.
#
#   scripts/thorvg/old-glibc.sh FOLDER LIBRARY
#
# Compilers beside a newer glibc turn strtol into __isoc23_strtol, which knows binary numbers too.
# When that is all a library asks of version 2.38, it is enough to bring the name along: a tiny
# library beside it has it, under a version that the older glibc also has. Whether anything else is
# missing shows when it is loaded.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$1
library=$folder/$2
helper=libthorvg-strtol.so.1

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/strtol.c" <<'END'
#include <stdlib.h>

long __isoc23_strtol(const char* text, char** end, int base) {
    return strtol(text, end, base);
}
END
cat >"$work/strtol.map" <<'END'
GLIBC_2.34 {
    global: __isoc23_strtol;
    local: *;
};
END
"${CC:-cc}" -std=c99 -O2 -s -shared -fPIC -Wl,-soname,"$helper" \
    -Wl,--version-script="$work/strtol.map" "$work/strtol.c" -o "$folder/$helper"

python3 "$here/retarget-version.py" "$library" libc.so.6 GLIBC_2.38 GLIBC_2.34
# In one call the second of these two is lost.
patchelf --add-needed "$helper" "$library"
patchelf --set-rpath '$ORIGIN' "$library"
