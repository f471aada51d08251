#!/bin/sh
# Runs the main job on FILE, a wave or AIFF file, or on a sample that the library creates: describe, decode, hash,
# draw the waveform, write as RF64-capable wave and as AIFF, read back and compare. Results go to $DEMO_OUT, or to
# build/demo. DEMO_PRESET=test uses the programs that scripts/test.sh has built.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/setup.sh"

case "${1:-}" in
-h | --help)
    echo "usage: scripts/demo.sh [FILE]"
    exit 0
    ;;
esac
if [ $# -gt 0 ] && [ ! -f "$1" ]; then
    if [ -d "$1" ]; then echo "demo: $1 is a folder" >&2; else echo "demo: there is no file $1" >&2; fi
    exit 1
fi

say() { printf '\n--- %s\n' "$*"; }

out=${DEMO_OUT:-$root/build/demo}
mkdir -p "$out"
setup build
preset=${DEMO_PRESET:-release}
say "Building the programs (a minute or two; what the compiler says goes to $out/build.log)"
(cd "$root" && cmake --preset "$preset" -DKELAUDIOFILE_BUILD_EXAMPLES=ON && cmake --build --preset "$preset") \
    >"$out/build.log" 2>&1 || {
    cat "$out/build.log" >&2
    exit 1
}
PATH="$root/build/$preset/examples:$PATH"

file=${1:-}
if [ -z "$file" ]; then
    file=$out/sample.wav
    say "A sample, recorded with checkpoints"
    record "$file"
fi
say "What the file says"
describe "$file"
say "What is in it"
decode "$file"
say "The same audio as a wave file that becomes RF64 when it passes 4 GiB, and as AIFF, with all chunks"
transcode "$file" "$out/copy.wav"
transcode "$file" "$out/copy.aiff"
say "The hashes of all three"
duplicates --all "$file" "$out/copy.wav" "$out/copy.aiff"
say "The picture"
overview "$file" "$out/waveform.svg" --peaks "$out/waveform.peaks"
command -v rsvg-convert >/dev/null && rsvg-convert "$out/waveform.svg" -o "$out/waveform.png" &&
    echo "$out/waveform.png"
echo "Open $out/waveform.svg in a browser."
