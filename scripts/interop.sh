#!/bin/sh
# Lets libsndfile, FFmpeg and SoX read every kind of file that we write, and reads what they write; writes the result
# to docs/interop.md. With --check it compares with that document instead, without the slowest test.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
setup test interop
cmake --preset test >/dev/null
cmake --build --preset test --target interop_tests

made=build/test/interop.md
{
    cat <<'END'
# Interop with other programs

Each cell is one file of a kind, written by one side and read by the other, with every sample compared. libsndfile,
FFmpeg and SoX are those of Debian 12. Made by `scripts/interop.sh`; CI compares it with what it sees.

- **exact**: all samples are equal, bit by bit. Files that others wrote are compared with the decodes of the other
  programs, not with that of their maker alone; all of those agree.
- **exact to 32 bits**: as equal as 32-bit integers can be. SoX works with such integers throughout, so it rounds
  finer floats and clips louder ones.
- **differs**, **refused**: with the reason. **not written**: the program does not write this kind.
END
} >$made
[ "${1:-}" = --check ] || export KELAUDIOFILE_INTEROP_SLOW=1
KELAUDIOFILE_INTEROP_TABLE=build/test/interop.cells build/test/tests/interop/interop_tests --gtest_brief=1
cat build/test/interop.cells >>$made

if [ "${1:-}" = --check ]; then
    diff -u docs/interop.md $made || {
        echo "docs/interop.md is not what these programs do: look, then run scripts/interop.sh" >&2
        exit 1
    }
else
    cp $made docs/interop.md
fi
