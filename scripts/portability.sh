#!/bin/sh
# Builds the library and all tests for other kinds of processors and runs them, emulated if necessary:
#   scripts/portability.sh [MACHINE...]     i686 (32-bit), s390x (big-endian), aarch64 (64-bit Arm); by default all
# The tests compare written files byte for byte with fixed images, so files are the same everywhere. Needs Debian or a
# derivative; the compilers are installed automatically.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
setup test portability
[ $# -gt 0 ] || set -- i686 s390x aarch64

failed=
for machine; do
    emulator=qemu-$machine
    [ "$machine" != i686 ] || emulator= # runs natively
    build=build/portability-$machine
    echo "=== $machine"

    # Linked statically, so that no system library of that machine is needed. Warnings are left to the native builds:
    # some of these compilers report uninitialized vectors in tables where there are none.
    cross="-G Ninja -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=$machine -DCMAKE_CXX_COMPILER=$machine-linux-gnu-g++
        -DCMAKE_EXE_LINKER_FLAGS=-static -DBUILD_SHARED_LIBS=OFF"
    if [ ! -d "$build/gtest" ]; then
        cmake -S /usr/src/googletest -B "$build/gtest-build" $cross -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF \
            -DCMAKE_INSTALL_PREFIX="$PWD/$build/gtest" >/dev/null
        cmake --build "$build/gtest-build" --target install >/dev/null
    fi
    cmake -S . -B "$build" $cross -DCMAKE_BUILD_TYPE=Release -DCMAKE_CROSSCOMPILING_EMULATOR="$emulator" \
        -DGTest_DIR="$PWD/$build/gtest/lib/cmake/GTest" -DKELAUDIOFILE_BUILD_TESTS=ON \
        -DKELAUDIOFILE_BUILD_EXAMPLES=OFF -DKELAUDIOFILE_BUILD_BENCHMARKS=OFF >/dev/null
    cmake --build "$build"
    ctest --test-dir "$build" --output-on-failure --timeout 1200 -j "$(nproc)" || failed="$failed $machine"
done
[ -z "$failed" ] || { echo "Failed on:$failed" >&2; exit 1; }
