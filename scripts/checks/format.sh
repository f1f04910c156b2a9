#!/usr/bin/env bash
# Are all sources formatted as .clang-format says?
exec "$(dirname "${BASH_SOURCE[0]}")/../format.sh" --check
