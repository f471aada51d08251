#!/bin/sh
# Builds the reference from the public headers, as HTML in build/reference. Any warning is a failure.
set -eu
cd "$(dirname "$0")/.."
if ! command -v doxygen >/dev/null; then
    echo "Please install Doxygen: apt-get install doxygen" >&2
    exit 77 # the exit status of a test that cannot run
fi
version=$(sed -n 's/^project(kelaudiofile VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
mkdir -p build/reference
{ cat docs/Doxyfile && echo "PROJECT_NUMBER = $version"; } | doxygen -
echo "Reference: $PWD/build/reference/index.html"
