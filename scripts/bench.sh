#!/usr/bin/env bash
# Builds the benchmarks and runs them. docs/performance.md gets the rows that most hosts care about, at most 60; all rows
# are in build/bench/*.md.
#   scripts/bench.sh                          peers: libsndfile and FFmpeg's libraries, if their headers are found
#   DR_WAV_FOLDER=/path scripts/bench.sh      also dr_wav, whose header is in that folder
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
sh scripts/setup.sh bench
cmake --preset bench -DDR_WAV_FOLDER="${DR_WAV_FOLDER:-}" > /dev/null
cmake --build --preset bench
programs=build/bench/benchmarks

# few <name> <pattern>: keeps a whole table in build/bench/<name>.md, and passes on its head and the rows that match.
few() {
    tee "build/bench/$1.md" | awk -v wanted="$2" 'NR <= 2 || $0 ~ wanted'
}

processor=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo 2> /dev/null | head -n 1) || true
{
    cat <<TEXT
# Performance

Ratios, not times: each row runs two ways of doing the same work in alternation and gives the median of how many times
as fast ours is, measured in processor time of the thread. 1.00 is equally fast; against a plain copy or bare system
calls, 1.00 is the limit of the machine. Each benchmark first checks that both sides give the same samples.

- machine: $(nproc) cores of ${processor:-$(uname -m)}, $(uname -s) $(uname -r)
- compiler: $(c++ --version | head -n 1), Release
- date: $(date +%F)
- to reproduce: \`scripts/bench.sh\`

## Whole jobs

Files of 4 MiB in memory-backed storage, decoded and encoded in blocks of 16 KiB. Checkpoints are written to the disk of
the current folder and timed by wall clock.

TEXT
    $programs/whole_job_benchmarks | few whole-jobs ', 2 channels |^\\| (write|hash|open|checkpoint)'
    printf '\n## Blocks of frames: compared with a call per channel\n\n'
    $programs/frame_benchmarks | few frames '^\\| [0-9a-z]+( bit)?, (1|2|6) channels? |big-endian, 2 '
    printf '\n## Readers of frames: compared with the same work by hand, on files of 4 MiB\n\n'
    $programs/reader_benchmarks
    printf '\n## Sample routines, in cache\n\n'
    $programs/kernel_benchmarks --benchmark_format=csv 2> /dev/null | python3 benchmarks/table.py kernels |
        few kernels 'nterleave([0-9]+Bits?|32Bit(Float_1|Integer))/channels:2/frames:16384 '
    printf '\n## Peaks: ten million blocks, by the length of a point\n\n'
    $programs/resample_benchmarks --benchmark_format=csv 2> /dev/null | python3 benchmarks/table.py peaks |
        few peaks 'blocks_per_segment:10000000'
} | tee docs/performance.md
