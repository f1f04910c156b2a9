#!/usr/bin/env bash
# Formats every C and C++ source in place, or with --check only tells which ones would change.
# Versions of clang-format differ in details; 14 (Debian 12) decides, another one is used only
# where 14 is not to be had.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

formatter=$(command -v clang-format-14 || command -v clang-format) || {
    echo "format: no clang-format (scripts/install-deps.sh installs it)" >&2
    exit 1
}

# Tracked files and new ones alike, without what git ignores or what is deleted but not committed.
mapfile -t files < <(
    git ls-files --cached --others --exclude-standard -- '*.h' '*.c' '*.cpp' '*.hpp' |
        sort -u | while read -r file; do if [[ -f $file ]]; then echo "$file"; fi; done)
if ((${#files[@]} == 0)); then
    echo "format: no sources"
    exit 0
fi

case "${1:-}" in
--check)
    if ! "$formatter" --style=file --dry-run -Werror -ferror-limit=3 "${files[@]}"; then
        echo "format: the sources above are not formatted; 'make format' does it" >&2
        exit 1
    fi
    echo "format: ${#files[@]} files are in style"
    ;;
"") "$formatter" --style=file -i "${files[@]}" ;;
*)
    echo "usage: format.sh [--check]" >&2
    exit 2
    ;;
esac
