#!/bin/sh
# Installs what is missing for the given jobs, on Debian and its derivatives; elsewhere says what is needed.
# To use from a shell script:   . "$(dirname "$0")/setup.sh"; setup build test
# To run by itself:             sh scripts/setup.sh build test
# Jobs: build  test  sanitize  fuzz  bench  portability  interop  docs  format  tidy  package  picture  clean-room

packages_of() {
    case "$1" in
    build) echo g++ cmake make libcli11-dev ;;
    test) echo g++ cmake ninja-build libcli11-dev libgtest-dev ;;
    sanitize) echo clang libclang-rt-dev llvm cmake ninja-build libgtest-dev ;;
    fuzz) echo clang libclang-rt-dev llvm cmake ninja-build python3 ;;
    bench)
        echo g++ cmake ninja-build pkg-config libbenchmark-dev libsndfile1-dev libavformat-dev libavcodec-dev libavutil-dev
        ;;
    docs) echo doxygen ;;
    format) echo clang-format-19 ;;
    tidy) echo clang clang-tidy cmake ninja-build ;;
    portability) echo googletest g++-i686-linux-gnu g++-s390x-linux-gnu g++-aarch64-linux-gnu qemu-user ;;
    interop) echo python3 sox ffmpeg sndfile-programs ;;
    package) echo g++ clang libc++-dev libc++abi-dev cmake ninja-build pkg-config binutils libcli11-dev dpkg-dev file help2man lintian ;;
    picture) echo librsvg2-bin ;;
    clean-room) echo debootstrap git ;;
    *)
        echo "setup: no such job: $1" >&2
        return 1
        ;;
    esac
}

say_what_is_needed() {
    echo "This system has no apt-get. Please install, if missing:" >&2
    echo "  to build:      a C++20 compiler (g++ 12 or clang 14, or later), CMake 3.25; CLI11 for the examples" >&2
    echo "  for the tests: Ninja, CLI11, GoogleTest; clang with its sanitizer library for the sanitized ones" >&2
    echo "  for interop:   SoX, FFmpeg, the programs of libsndfile (tests are skipped where one is missing)" >&2
}

setup() {
    setup_wanted=
    for setup_job in "$@"; do
        setup_wanted="$setup_wanted $(packages_of "$setup_job")" || return 1
    done

    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        if command -v cmake >/dev/null && command -v c++ >/dev/null; then
            return 0 # CMake reports whatever else is missing
        fi
        say_what_is_needed
        return 1
    fi

    setup_missing=
    for setup_package in $setup_wanted; do
        case "$(dpkg-query -W -f '${db:Status-Status}' "$setup_package" 2>/dev/null)" in
        installed) ;;
        *) case "$setup_missing " in
            *" $setup_package "*) ;;
            *) setup_missing="$setup_missing $setup_package" ;;
            esac ;;
        esac
    done
    [ -z "$setup_missing" ] && return 0

    if [ "$(id -u)" != 0 ]; then
        echo "Please run as root: apt-get install --no-install-recommends$setup_missing" >&2
        return 1
    fi
    echo "Installing:$setup_missing"
    apt-get -qq update </dev/null &&
        DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends $setup_missing \
            </dev/null >/dev/null
}

case "${0##*/}" in
setup.sh)
    set -e
    setup "$@"
    ;;
esac
