#!/bin/sh
# Lets libsndfile, FFmpeg and SoX read every kind of file that we write, reads what they write, and writes the result
# to docs/interop.md. With --check it compares with that page instead, leaving out what takes minutes.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
setup test interop
cmake --preset test >/dev/null
cmake --build --preset test --target example_transcode example_cut example_describe example_record
exec python3 tests/interop.py "$@" build/test/examples
