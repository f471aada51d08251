#!/bin/sh
# Formats all C++ files of the tree; with --check, names those that differ and fails.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
setup format
if [ "${1:-}" = --check ]; then mode="--dry-run -Werror"; else mode=-i; fi
files=$(git ls-files '*.cpp' '*.h')
[ -n "$files" ]
clang-format $mode $files
