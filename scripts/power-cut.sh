#!/bin/sh
# Simulates power failures of recordings at random moments and reads what may be left: see tests/frames/PowerCutTests.cpp.
#   scripts/power-cut.sh [CUTS]    100000 by default; CI makes 2,000
set -eu
cd "$(dirname "$0")/.."
cmake --preset test > /dev/null
cmake --build build/test --target frames_tests
KELAUDIOFILE_POWER_CUTS=${1:-100000} exec build/test/tests/frames/frames_tests --gtest_filter='APowerCut.*'
