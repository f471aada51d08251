#!/bin/sh
# Fuzzes each target for a while: scripts/fuzz.sh SECONDS [TARGET...]. By default all targets are run, as many at a time
# as there are processors. Fails and prints the input in hex if one finds something. The corpora stay in
# build/fuzz/corpus and grow from run to run.
#   scripts/fuzz.sh --coverage SECONDS [TARGET...]
# does the same and then reports which lines of the library the corpora of all targets reach; the lines themselves are
# listed in build/fuzz-coverage/lines.txt.
set -eu
cd "$(dirname "$0")/.."

# Runs one target on the files that the main run has built.
if [ "${1:-}" = --one ]; then
    seconds=$2 target=$3 log=$TMPDIR/$3.log
    mkdir -p "build/fuzz/corpus/$target" build/fuzz/finds
    if build/fuzz/fuzz/"fuzz_$target" -max_total_time="$seconds" -max_len=40000 -timeout=60 -rss_limit_mb=1024 \
        -print_final_stats=1 -artifact_prefix="build/fuzz/finds/$target-" \
        "build/fuzz/corpus/$target" "build/fuzz/seeds/$target" >"$log" 2>&1; then
        runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
        echo "$target: $runs inputs in $seconds seconds, nothing found"
        exit 0
    fi
    echo "$target: found something"
    tail -n 60 "$log"
    artifact=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
    [ -z "$artifact" ] || od -An -v -tx1 "$artifact"
    exit 1
fi

coverage=
[ "${1:-}" != --coverage ] || { coverage=yes; shift; }
seconds=${1:?usage: scripts/fuzz.sh [--coverage] SECONDS [TARGET...]}
shift
. scripts/setup.sh
setup fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
rm -rf build/fuzz/seeds
python3 fuzz/make_seeds.py build/fuzz/seeds
[ $# -gt 0 ] || set -- $(ls build/fuzz/seeds)

# Files of the targets are kept in memory if the system has such a folder.
TMPDIR=$(mktemp -d "$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)/kelaudiofile-fuzz-XXXXXX")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
trap 'exit 1' INT TERM
printf '%s\n' "$@" | xargs -n 1 -P "$(nproc)" scripts/fuzz.sh --one "$seconds"
[ -n "$coverage" ] || exit 0

# Runs each target's corpus once more without the sanitizers, to measure coverage. (llvm-cov warns of inline functions
# that some of the targets leave out.)
build=build/fuzz-coverage
cmake --preset fuzz -B $build -DKELAUDIOFILE_SANITIZE=fuzzer-no-link \
    -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping" >/dev/null
cmake --build $build
objects=
for target in $(ls build/fuzz/seeds); do
    mkdir -p "build/fuzz/corpus/$target"
    LLVM_PROFILE_FILE=$TMPDIR/$target.profraw $build/fuzz/"fuzz_$target" -runs=0 \
        "build/fuzz/corpus/$target" "build/fuzz/seeds/$target" 2>"$TMPDIR/$target.log" ||
        { tail -n 60 "$TMPDIR/$target.log"; exit 1; }
    objects="$objects ${objects:+-object }$build/fuzz/fuzz_$target"
done
llvm-profdata merge -sparse "$TMPDIR"/*.profraw -o $build/profile
library="aiff bytes convert id3 peak support wav"
llvm-cov show $objects -instr-profile $build/profile $library >$build/lines.txt
for folder in $library "$library"; do
    llvm-cov report $objects -instr-profile $build/profile $folder 2>&1 |
        awk -v name="$folder" '/^error/ { print }
            /^TOTAL/ { seen = 1; print $8 - $9 " of " $8 " lines (" $10 "): " name }
            END { exit !seen }'
done
