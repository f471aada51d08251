#!/bin/sh
# Installs what is missing, builds, and runs all tests. Tests against other programs are skipped where those
# programs are not installed: `sh scripts/setup.sh interop` brings them.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
setup test
cmake --workflow --preset test
