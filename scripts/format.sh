#!/bin/sh
# Formats all C++ files of the tree; with --check, lists those that differ and fails. Versions of clang-format differ
# in details, so one version is used everywhere: both Debian 12 and 13 have it.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
setup format
if [ "${1:-}" = --check ]; then mode="--dry-run -Werror"; else mode=-i; fi
find . \( -name 'build*' -o -name '.?*' \) -prune -o \( -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format-19 $mode
