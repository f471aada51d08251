#!/bin/sh
# Builds and runs all tests; see --help.
set -eu
cd "$(dirname "$0")/.."
if [ $# -gt 0 ]; then
    cat <<'END'
usage: scripts/test.sh
Installs what is missing (on Debian, as root), builds in build/test, and runs all tests. Tests that need a program that
is not installed are skipped; the last line says how many, and which command installs what they need.
Exit status: 0 if all tests that ran passed.
END
    case "$1" in -h | --help) exit 0 ;; *) exit 2 ;; esac
fi
. scripts/setup.sh
setup test
cmake --preset test
cmake --build --preset test
outcome=0
ctest --preset test --output-junit junit.xml || outcome=$?
count() { sed -n "s/^[[:space:]]*$1=\"\([0-9]*\)\"\$/\1/p" build/test/junit.xml | head -n 1; }
echo "$(($(count tests) - $(count skipped))) tests ran, $(count failures) failed, $(count skipped) were skipped" \
    "(what those need: sh scripts/setup.sh interop docs)"
exit $outcome
