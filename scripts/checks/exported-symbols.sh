#!/usr/bin/env bash
# Does the library export what tests/checks/exported_symbols.txt lists, no more and no less?
#
# usage: exported-symbols.sh [LIBRARY]             compare (default build/lib/libquolsdk.so)
#        exported-symbols.sh --update [LIBRARY]    write the list anew
#
# Compared are the demangled names of everything the library defines, except instantiations of the
# standard library's templates: which of those a compiler leaves as weak symbols is its own affair
# and differs between versions and optimisation levels.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
list=$root/tests/checks/exported_symbols.txt

update=0
if [[ ${1:-} == --update ]]; then
    update=1
    shift
fi
library=${1:-$root/build/lib/libquolsdk.so}
if [[ ! -f $library ]]; then
    echo "exported-symbols: no $library (build first: make build)" >&2
    exit 1
fi

# The linker's own names, exported where a library that is linked exports them too. Then prefixes of
# mangled names: vtable, typeinfo and its name, guard or local of a function, then
# names that begin in std or __gnu_cxx.
toolchain='^(__bss_start|_edata|_end)$|^_Z(T[VIST]|GV|GR|Z)*(N[VK]*)?(St|S[absiod]|9__gnu_cxx)'

actual=$(nm -D --defined-only --format=posix "$library" |
    cut -d ' ' -f 1 |
    sed 's/@.*//' |
    { grep -vE "$toolchain" || true; } |
    c++filt |
    sed -E 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> ?>/std::string/g' |
    LC_ALL=C sort -u)

if ((update)); then
    printf '%s\n' "$actual" >"$list"
    echo "exported-symbols: wrote $(wc -l <"$list") symbols to ${list#"$root"/}"
    exit 0
fi

if [[ ! -f $list ]]; then
    echo "exported-symbols: no ${list#"$root"/} (write it: scripts/checks/exported-symbols.sh --update)" >&2
    exit 1
fi
if ! difference=$(diff <(LC_ALL=C sort -u "$list") <(printf '%s\n' "$actual")); then
    sed -n -e 's/^>/exported but not listed:/p' -e 's/^</listed but not exported:/p' \
        <<<"$difference" >&2
    echo "exported-symbols: if that is meant, run scripts/checks/exported-symbols.sh --update" >&2
    exit 1
fi
echo "exported-symbols: $(wc -l <<<"$actual") symbols, as listed"
