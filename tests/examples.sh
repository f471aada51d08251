#!/bin/sh
# Runs each example program on real files and checks its exit code and output:  tests/examples.sh FOLDER_OF_PROGRAMS
PATH=$(cd "$1" && pwd):$PATH
top=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

expect() { # EXIT_CODE TEXT COMMAND: the output must contain the text
    output=$(eval "$3" 2>&1 </dev/null)
    code=$?
    case $code:$output in $1:*"$2"*) return ;; esac
    failed=1 && printf 'FAILED: %s\nexit code %s, expected %s and "%s"\n%s\n' "$3" $code $1 "$2" "$output"
}
rows() { # the same for each line of EXIT_CODE | TEXT | COMMAND
    while IFS='|' read -r code text command; do text=${text# } && expect $code "${text% }" "$command"; done
}
words() { "$@" | tr -s ' \n' ' '; }
printable() { LC_ALL=C tr -cd '[:print:]' <"$1"; }
metadata() { describe "$1" | grep -o 'LIST .* the audio' && printable "$1" | grep -o 'INFO.*strings'; }
byte() { printf "\\$(printf %03o "$1")"; }
zeros() { head -c "$1" /dev/zero; }
aiff() { # LABEL...: one frame of 16 bits whose "CHAN" chunk has these labels
    printf 'FORM\0\0\0' && byte $((66 + 22 * $#)) && printf 'AIFFCOMM\0\0\0\22\0' && byte $#
    printf '\0\0\0\1\0\20\100\16\273\200\0\0\0\0\0\0CHAN\0\0\0' && byte $((12 + 20 * $#)) && zeros 11 && byte $#
    for label; do zeros 3 && byte "$label" && zeros 16; done
    printf 'SSND\0\0\0' && byte $((8 + 2 * $#)) && zeros $((8 + 2 * $#))
}

# Every form of samples and back again. Options, whether the 24 bits of the source are lost, file, file made from it.
expect 0 '0:00:00.400, 2 channels' 'record source.wav --seconds 0.4 --rate 44100 --checkpoint 0.05'
while IFS='|' read -r samples lost file back text; do
    expect 0 "${text# }" "transcode source.wav $file --samples $samples"
    expect $lost '' "duplicates source.wav $file"
    expect 0 '' "transcode $file $back --samples ${samples% --*} && duplicates $file $back"
    expect 0 "$(metadata source.wav)" "metadata $back"
done <<'END'
8                   | 1 | a.wav  | b.aiff | 8-bit unsigned integers
16                  | 1 | a.wav  | b.aiff | 16-bit little-endian integers
24                  | 0 | a.wav  | b.aiff | to 24-bit little-endian integers
32                  | 0 | a.wav  | b.aiff | 32-bit little-endian integers
64                  | 0 | a.wav  | b.wav  | 64-bit little-endian integers
float               | 0 | a.wav  | b.wav  | 32-bit little-endian floats
double --riff       | 0 | a.wav  | b.wav  | 64-bit little-endian floats
float16             | 0 | a.wav  | b.wav  | floats of full scale 32768
float24             | 0 | a.wav  | b.wav  | floats of full scale 8388608
8                   | 1 | a.aiff | b.wav  | 8-bit signed integers
16                  | 1 | a.aif  | b.wav  | 16-bit big-endian integers
24                  | 0 | a.aiff | b.wav  | to 24-bit big-endian integers
float               | 0 | a.aifc | b.wav  | 32-bit big-endian floats
8 --little-endian   | 1 | a.aifc | b.wav  | 8-bit signed integers
32 --little-endian  | 0 | a.aifc | b.wav  | 32-bit little-endian integers
END

# 16-bit stereo with chunks before and after the audio, one of them of odd size, and the expected copy.
format='fmt \20\0\0\0\1\0\2\0\200\273\0\0\0\356\2\0\4\0\20\0'
chunks='bext\6\0\0\0beforedata\20\0\0\0000123456789abcdefiXML\5\0\0\0after\0LIST\4\0\0\0INFOcue \4\0\0\0\0\0\0\0'
printf "RIFF\\150\0\0\0WAVE$format$chunks" >source.wav
printf "RIFF\\214\0\0\0WAVEJUNK\34\0\0\0reserved for RF64 ds64 chunk$format$chunks" >copied
printf "RIFF\\54\0\0\0WAVE${format}data\10\0\0\0\0\100\0\200\0\300\0\0" >square.wav # 0.5 and -0.5; -1 and 0
printf 'no audio, but long enough for a header' >text
rows <<END
0 | copy.wav: 0:00:00.000 | cut source.wav copy.wav && cmp copy.wav copied
0 | | cp copy.wav self.wav && cut self.wav self.wav && cmp self.wav copied
0 | from 16-bit little-endian integers to 16-bit big-endian integers | transcode source.wav copy.aiff
0 | bextbeforeiXMLafterLISTINFOcue SSND1032547698badcfe | printable copy.aiff
0 | 3 files, groups of equal audio: 1 | duplicates source.wav copy.wav copy.aiff
0 | data89abiXMLafterLISTINFOcue | cut source.wav part.wav --from 2 --to 3; printable part.wav
0 | bextbeforeiXMLafterLISTINFOcue SSNDdcfe | cut copy.aiff part.aiff --from 3; printable part.aiff
1 | groups of equal audio: 0 | duplicates part.wav source.wav
0 | copy.aiff | mkdir -p in/side && cp copy.aiff in/side && cp source.wav text in && duplicates in
0 | RIFF Format PCM, tag 0x0001 Sample rate 48000 Hz Channels 2 Samples 2 bytes, 16 bits, | words describe source.wav
0 | Layout front left, front right Frames 4 Duration 0:00:00.000 Recovered no Chunks | words describe source.wav
0 | fmt 16 bytes at 20 bext 6 bytes at 44 data 16 bytes at 58 iXML 5 bytes at 82 | words describe source.wav
0 | bext 14 bytes with header, before the audio iXML 13 bytes with header, | words describe source.wav
0 | after the audio LIST 12 bytes with header, after the audio | words describe source.wav
0 | channel  1  peak   -6.02 dBFS  RMS   -6.02 dBFS  front left | decode square.wav
0 | channel  2  peak    0.00 dBFS  RMS   -3.01 dBFS  front right | decode square.wav
0 | peak 1 | readme square.wav
0 | | sed -n '/^\`\`\`cpp$/,/^\`\`\`$/p' "$top/README.md" | grep -v '^\`\`\`' | diff - "$top/examples/readme.cpp"
END

# Layouts of an AIFF file, by their labels: what we read from it, and from the wave file made from it.
surround='front left, front right, front center, low frequency, back left, back right'
ambisonic='Ambisonic W, Ambisonic X, Ambisonic Y, Ambisonic Z'
while IFS='|' read -r labels ours waves; do
    expect 0 "$ours" "aiff $labels >a.aiff; describe a.aiff | grep -x 'Layout         $ours'"
    expect 0 "$waves" "transcode a.aiff a.wav; describe a.wav | grep -x 'Layout         $waves'"
    expect 0 '' 'transcode a.wav b.aiff'
done <<END
1 2 3 4 5 6|$surround|$surround
200 201 202 203|$ambisonic|$ambisonic
3 1 2|front center, front left, front right|not given
0|not given|front center
END

rows <<END
0 | 3 channels | record source.wav --channels 3 --rate 8000 --seconds 2
0 | checkpoint at frame 12000 | record t.wav --seconds 0.3 --checkpoint 0.05 --verbose
0 | checkpoint at frame 4800 | record t.wav --seconds 0.2 --checkpoint 0.1 --durable --verbose
0 | RIFF, several data chunks | record t.wav --start 715820000 --seconds 0.3 --riff && describe t.wav
0 | Frames 715834400 | words describe t.wav
0 | 2 channels, stopped | timeout --preserve-status -s INT 0.3 record t.wav --seconds 1e6
0 | from peaks made in stored | overview source.wav picture.svg --width 100 --peaks stored
0 | from peaks kept in stored | overview source.wav picture.svg --width 100 --peaks stored
0 | 3 | grep -c '<path' picture.svg
0 | 4848 | wc -c <stored # 3 channels of two counts, a block size and 16,000 / 80 datums
1 | No such file | describe missing.wav
1 | neither a wave nor an AIFF file | describe text
1 | neither a wave nor an AIFF file | decode text
2 | No such file | duplicates source.wav missing.wav
2 | neither a wave nor an AIFF file | duplicates source.wav text
1 | an AIFF file holds integers of 1 to 4 bytes | transcode source.wav t.aiff --samples double
1 | it cannot be created: No such file | transcode source.wav none/t.wav
1 | it cannot be created: No such file | record none/t.wav
1 | cannot be written | overview source.wav none/picture.svg --peaks stored
1 | it cannot be created: Not a directory | record /dev/full/t.wav
1 | .: it cannot be opened: Is a directory | decode .
1 | .: it cannot be created: Is a directory | cut source.wav .
1 | .: it cannot be created: Is a directory | transcode source.wav .
1 | .: it cannot be created: Is a directory | record .
1 | .: it cannot be opened: Is a directory | overview . picture.svg
END

# A full disk keeps all blocks that were accepted. 1 MiB holds three checkpoints and three more blocks of 8192 frames.
mkdir small && limit='trap "" XFSZ; ulimit -f 2048;'
mount -t tmpfs -o size=1m none small 2>/dev/null && limit= && trap 'umount "$work/small"; rm -rf "$work"' EXIT
rows <<END
1 | cannot be written: | $limit record small/t.wav
1 | small/t.wav: 0:00:03 | $limit record small/t.wav
0 | Frames         168576 | describe small/t.wav
END

# What all programs have in common, and several files described at once, some of which fail.
all='describe decode record cut transcode overview duplicates'
version=$(sed -n 's/^project.* VERSION \([0-9.]*\).*/\1/p' "$top/CMakeLists.txt")
odd=$(printf '\t"\\\377\303\251') # needs escapes in JSON; 377 is no UTF-8
transcode square.wav s.aifc --little-endian >/dev/null
mv s.aifc "$odd"
tr -d '\n' >described <<'END'
[{"file": "square.wav", "container": "RIFF", "format": "PCM", "formatTag": 1, "bytesPerSample": 2, "bits": 16,
 "validBits": 16, "samples": "integers", "sampleRate": 48000, "channels": 2, "layout": ["front left", "front right"],
 "frames": 2, "seconds": 4.1666666666666665e-05, "recovered": false, "chunks": [{"id": "fmt ", "bytes": 16,
 "offset": 20}, {"id": "data", "bytes": 8, "offset": 44}], "metadata": []},
 {"file": ".", "error": ".: it cannot be opened: Is a directory"},
 {"file": "\u0009\"\\\ufffdé", "container": "AIFC", "coding": "sowt",
 "bytesPerSample": 2, "samples": "little-endian integers", "sampleRate": 48000, "channels": 2,
 "layout": ["front left", "front right"], "frames": 2, "seconds": 4.1666666666666665e-05, "metadata": []}]
END
rows <<END
0 | 7 | for program in $all; do \$program --version; done | grep -c ' (kelaudiofile) $version\$'
0 | 7 | for program in $all; do \$program --help; done | grep -c '^Exit status: 0 '
0 | 7 | for program in $all; do \$program --nonsense; echo \$?; done 2>/dev/null | grep -cx 2
0 | 48000 | record --help
2 | files is required | describe
1 | Is a directory | describe --json square.wav . "\$odd" >json
0 | | tr -d '\n' <json | cmp - described
1 | Duration       0:00:00.000 | describe . square.wav
END
exit $failed
