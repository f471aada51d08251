#!/bin/sh
# Kills recording processes at random moments, COUNT times (500), and counts bytes lost before the last checkpoint.
set -eu
cd "$(dirname "$0")/.."
cmake --preset test >/dev/null
cmake --build --preset test --target kill_harness >/dev/null
exec build/test/tests/wav/kill_harness "${1:-500}"
