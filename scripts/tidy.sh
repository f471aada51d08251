#!/bin/sh
# Looks for mistakes in the library's sources with clang-tidy, according to the rules in .clang-tidy:
#   scripts/tidy.sh [FILE...]    by default all sources
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
setup tidy
cmake -G Ninja -S . -B build/tidy -DCMAKE_CXX_COMPILER="${CXX:-clang++}" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    -DKELAUDIOFILE_BUILD_TESTS=OFF -DKELAUDIOFILE_BUILD_EXAMPLES=OFF -DKELAUDIOFILE_BUILD_BENCHMARKS=OFF >/dev/null
# Each file once, however many targets it is compiled for.
[ $# -gt 0 ] || set -- $(sed -n 's/^ *"file": "\(.*\)".*/\1/p' build/tidy/compile_commands.json | sort -u)
[ $# -gt 0 ]
printf '%s\n' "$@" |
    xargs -P "$(nproc)" -n 1 "${CLANG_TIDY:-clang-tidy}" -p build/tidy --quiet 2>build/tidy/stderr || {
    grep -v 'warnings generated' build/tidy/stderr >&2 || :
    exit 1
}
echo "$# files without findings"
