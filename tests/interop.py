#!/usr/bin/env python3
"""Lets libsndfile, FFmpeg and SoX read our files, reads theirs, and compares every sample: see docs/interop.md.

    interop.py FOLDER           fills the tables of that page with the results; FOLDER holds our programs
    interop.py --check FOLDER   fails if the page has different results; leaves out what takes minutes

Rows are written by hand, and so is the reason after a result, which is removed when the result changes.
"""
import array, concurrent.futures, difflib, os, random, re, shutil, struct, subprocess, sys, tempfile
from pathlib import Path

PAGE = Path(__file__).resolve().parent.parent / 'docs/interop.md'
PEERS = ('libsndfile', 'FFmpeg', 'SoX')
RATE, FRAMES = 48000, 3001
EXACT, TO_32_BITS, DIFFERS, REFUSED, NOT_WRITTEN = 'exact', 'exact to 32 bits', 'differs', 'refused', 'not written'
GRID, FINE, BEYOND = 'multiples of 2^-23', 'floats of many magnitudes', 'some above full scale'

# What others write: kind, extension, channels, signal, and the options of sndfile-convert, ffmpeg and sox.
THEIRS = [
    ('wave, 8 bits', 'wav', 1, GRID, '-pcmu8', '-c:a pcm_u8', '-e unsigned -b 8'),
    ('wave, 16 bits', 'wav', 2, GRID, '-pcm16', '-c:a pcm_s16le', '-b 16'),
    ('wave, 24 bits', 'wav', 2, GRID, '-pcm24', '-c:a pcm_s24le', '-b 24'),
    ('wave, 32 bits', 'wav', 2, GRID, '-pcm32', '-c:a pcm_s32le', '-b 32'),
    ('wave, 64 bits', 'wav', 2, GRID, None, '-c:a pcm_s64le', None),
    ('wave, float', 'wav', 2, FINE, '-float32', '-c:a pcm_f32le', '-e float -b 32'),
    ('wave, double', 'wav', 2, FINE, '-float64', '-c:a pcm_f64le', '-e float -b 64'),
    ('wave, mu-law', 'wav', 1, GRID, '-ulaw', '-c:a pcm_mulaw', '-e mu-law'),
    ('wave, 5.1, 16 bits', 'wav', 6, GRID, '-pcm16', '-c:a pcm_s16le', '-b 16'),
    ('wave, 7.1, 24 bits', 'wav', 8, GRID, '-pcm24', '-c:a pcm_s24le', '-b 24'),
    ('wave, with LIST', 'wav', 2, GRID,
     '-pcm16 {wave} {out} && sndfile-metadata-set --str-title Title {out}', '-metadata title=Title', None),
    ('wave, with bext', 'wav', 2, GRID,
     '-pcm24 {wave} {out} && sndfile-metadata-set --bext-description Text {out} {out}.wav && mv {out}.wav {out}',
     '-write_bext 1 -metadata description=Text', None),
    ('wave, sent to a pipe', 'wav', 2, GRID,
     None, '-c:a pcm_s16le -f wav - | cat >{out}', '-b 16 -t wav - | cat >{out}'),
    ('wave, 24 bits, cut in the middle', 'wav', 2, GRID, '-pcm24', '-c:a pcm_s24le', '-b 24'),
    ('RF64, 24 bits', 'rf64', 2, GRID, '-pcm24', '-c:a pcm_s24le -rf64 always -f wav', None),
    ('AIFF, 8 bits', 'aif', 1, GRID, '-pcms8', '-c:a pcm_s8 -f aiff', '-b 8'),
    ('AIFF, 16 bits', 'aif', 2, GRID, '-pcm16', '-f aiff', '-b 16'),
    ('AIFF, 24 bits', 'aif', 2, GRID, '-pcm24', '-c:a pcm_s24be -f aiff', '-b 24'),
    ('AIFF, 32 bits', 'aif', 2, GRID, '-pcm32', '-c:a pcm_s32be -f aiff', '-b 32'),
    ('AIFF, 24 bits, cut in the middle', 'aif', 2, GRID, '-pcm24', '-c:a pcm_s24be -f aiff', '-b 24'),
    ('AIFC, sowt, 16 bits', 'aif', 2, GRID, '-endian=little -pcm16', '-c:a pcm_s16le -f aiff', None),
    ('AIFC, little-endian, 24 bits', 'aif', 2, GRID, '-endian=little -pcm24', None, None),
    ('AIFC, in24', 'aif', 2, GRID, None, '-c:a pcm_s24be -tag:a in24 -f aiff', None),
    ('AIFC, in32', 'aif', 2, GRID, None, '-c:a pcm_s32be -tag:a in32 -f aiff', None),
    ('AIFC, fl32', 'aif', 2, FINE, '-float32', '-c:a pcm_f32be -f aiff', '-e float -b 32 -t aifc'),
    ('AIFC, fl64', 'aif', 2, FINE, '-float64', '-c:a pcm_f64be -f aiff', '-e float -b 64 -t aifc'),
]
# What we write: kind, extension, channels, signal, options of transcode.
OURS = [
    ('wave, 8 bits', 'wav', 1, GRID, '8 --riff'),
    ('wave, 16 bits', 'wav', 2, GRID, '16 --riff'),
    ('wave, 24 bits', 'wav', 2, GRID, '24 --riff'),
    ('wave, 32 bits', 'wav', 2, GRID, '32 --riff'),
    ('wave, 64 bits', 'wav', 2, GRID, '64 --riff'),
    ('wave, float', 'wav', 2, FINE, 'float --riff'),
    ('wave, double', 'wav', 2, FINE, 'double --riff'),
    ('wave, float, beyond full scale', 'wav', 2, BEYOND, 'float --riff'),
    ('wave, float on the scale of 16 bits', 'wav', 2, FINE, 'float16 --riff'),
    ('wave, float on the scale of 24 bits', 'wav', 2, FINE, 'float24 --riff'),
    ('wave, 5.1, 24 bits', 'wav', 6, GRID, '24 --riff'),
    ('wave, 7.1, 16 bits', 'wav', 8, GRID, '16 --riff'),
    ('wave, 3 channels without positions', 'wav', 3, GRID, '16 --riff'),
    ('wave, Ambisonic, 24 bits', 'wav', 4, GRID, '24 --riff'),
    ('wave, Ambisonic, float', 'wav', 4, FINE, 'float --riff'),
    ('wave that may become RF64, 24 bits', 'wav', 2, GRID, '24'),
    ('AIFF, 8 bits', 'aiff', 1, GRID, '8'),
    ('AIFF, 16 bits', 'aiff', 2, GRID, '16'),
    ('AIFF, 24 bits', 'aiff', 2, GRID, '24'),
    ('AIFF, 32 bits', 'aiff', 2, GRID, '32'),
    ('AIFF, 5.1, 24 bits', 'aiff', 6, GRID, '24'),
    ('AIFF, 16 bits, with a chunk of odd size', 'aiff', 2, GRID, '16'),
    ('AIFC, sowt, 8 bits', 'aifc', 1, GRID, '8 --little-endian'),
    ('AIFC, sowt, 16 bits', 'aifc', 2, GRID, '16 --little-endian'),
    ('AIFC, sowt, 24 bits', 'aifc', 2, GRID, '24 --little-endian'),
    ('AIFC, sowt, 32 bits', 'aifc', 2, GRID, '32 --little-endian'),
    ('AIFC, fl32', 'aifc', 2, FINE, 'float'),
]
# Sparse files with sound in the last two seconds: kind, options of record.
LARGE = [('wave past 4 GiB, RF64', ''), ('wave past 4 GiB, RIFF with several `data` chunks', '--riff')]

TAKES_MINUTES = {('wave past 4 GiB, RF64', 'SoX')}
MISREADS = {('wave, 64 bits', 'SoX')} # so it is not used as a reference
LAYOUTS = {6: 'front left, front right, front center, low frequency, back left, back right',
           8: 'front left, front right, front center, low frequency, back left, back right, side left, side right'}


class Refused(Exception):
    pass


def run(command, folder, failure=Refused):
    done = subprocess.run(command, shell=True, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors='replace')
    if done.returncode:
        raise failure(f'{command}: {done.stdout}')
    return done.stdout


def make_signal(kind, channels):
    draw = random.Random(f'{kind} {channels}')
    factors = {GRID: [2.0**-23], FINE: [0.99 * 2.0**-i for i in range(23, 43)], BEYOND: [2.0**-21, 2.0**-27]}[kind]
    numbers = (draw.randrange(-1 << 23, 1 << 23) * draw.choice(factors) for _ in range(FRAMES * channels))
    values = array.array('f', numbers)
    if kind != FINE: # both ends of the scale
        values[0], values[channels] = -1, 1 - 2.0**-23
    return values


def chunk(name, data):
    return name + struct.pack('<I', len(data)) + data + bytes(len(data) % 2)


def write_wave(path, samples, tag, channels, metadata=b''):
    """Three channels have no positions, and four are Ambisonic."""
    width = samples.itemsize
    form = struct.pack('<HHIIHH', tag if channels < 3 else 0xFFFE, channels, RATE, RATE * channels * width,
                       channels * width, 8 * width)
    if channels > 2:
        mask, family = {6: 0x3F, 8: 0x63F}.get(channels, 0), '00001000800000aa00389b71'
        form += struct.pack('<HHII', 22, 8 * width, mask, tag)
        form += bytes.fromhex(family if channels != 4 else '2107d3118644c8c1ca000000')
    body = b'WAVE' + chunk(b'fmt ', form) + metadata + chunk(b'data', samples.tobytes()) + metadata
    Path(path).write_bytes(chunk(b'RIFF', body))


def decode_ourselves(path, folder, kind='', first=0):
    """Decodes to floats of a different width than those of the file, since samples of the same kind would be copied."""
    to = 'float' if 'double' in kind else 'double'
    run(f'cut {path} part.{path} --from {first} && transcode part.{path} decoded.wav --riff --samples {to}', folder)
    data = Path(folder, 'decoded.wav').read_bytes()
    size = data.index(b'data') + 4
    return array.array('f', array.array(to[0], data[size + 4:][:struct.unpack_from('<I', data, size)[0]]))


def decode_with(peer, path, folder, floats, second=0):
    """Decodes integers to integers, since sndfile-convert scales floats that reach full scale. SoX always gives integers."""
    run({'libsndfile': f'sndfile-convert -endian=little {"-float32" if floats else "-pcm32"} {path} decoded.raw',
         'FFmpeg': f'ffmpeg -v error -y -ss {second} -i {path} -f {"f32le" if floats else "s32le"} decoded.raw',
         'SoX': f'sox -D -V1 {path} -t raw -e signed -b 32 -L decoded.raw'}[peer], folder)
    data = array.array('f' if floats and peer != 'SoX' else 'i', Path(folder, 'decoded.raw').read_bytes())
    return data if data.typecode == 'f' else array.array('f', (value * 2.0**-31 for value in data))


def compare(theirs, ours):
    if theirs.tobytes() == ours.tobytes():
        return EXACT
    close = len(theirs) == len(ours) and all(
        abs(a - max(-1.0, min(1.0, b))) <= max(2.0**-31, abs(b) * 2.0**-24) for a, b in zip(theirs, ours))
    return TO_32_BITS if close else DIFFERS


def write_theirs(path, original, floats, channels, maker, options, folder):
    samples = original if floats else array.array('i', (int(value * 2**31) for value in original))
    write_wave(f'{folder}/in.wav', samples, 3 if floats else 1, channels)
    start, end = {'libsndfile': ('sndfile-convert', '{wave} {out}'), 'SoX': ('sox -D -V1 {wave}', '{out}'),
                  'FFmpeg': ('ffmpeg -v error -y -i {wave}', '{out}')}[maker]
    command = f'{start} {options}' if '{out}' in options else f'{start} {options} {end}'
    run(command.format(wave='in.wav', out=path), folder, AssertionError)


def read_theirs(row, maker, folder):
    """Compares with what others decode, and with the original only if nobody else reads the file."""
    kind, extension, channels, signal, *options = row
    path, original, floats = f'theirs.{extension}', make_signal(signal, channels), signal != GRID
    options = options[PEERS.index(maker)]
    if not options:
        return NOT_WRITTEN
    write_theirs(path, original, floats, channels, maker, options, folder)
    if 'cut' in kind:
        os.truncate(f'{folder}/{path}', os.path.getsize(f'{folder}/{path}') // 2)
    ours = decode_ourselves(path, folder, kind)
    described = run(f'describe {path}', folder)
    positions = LAYOUTS.get(channels, '') if maker != 'libsndfile' else '' # sndfile-convert drops them
    if f' {RATE} Hz\n' not in described or positions not in described or len(ours) < len(original) // 3:
        return DIFFERS
    references = {}
    for peer in PEERS:
        try:
            if (kind, peer) not in MISREADS:
                references[peer] = decode_with(peer, path, folder, floats)
        except Refused:
            pass
    if not references.keys() - {maker}:
        references['original'] = original
    good = all(compare(theirs, ours) in ((EXACT, TO_32_BITS) if peer == 'SoX' else (EXACT,))
               for peer, theirs in references.items())
    return EXACT if good else DIFFERS


def read_ours(row, peer, folder):
    kind, extension, channels, signal, options = row
    path, original = f'ours.{extension}', array.array('f' if 'double' in kind else 'd', make_signal(signal, channels))
    odd = chunk(b'LIST', b'INFOINAM\5\0\0\0Title') if extension == 'wav' or 'odd' in kind else b''
    write_wave(f'{folder}/in.wav', original, 3, channels, odd)
    run(f'transcode in.wav {path} --samples {options}', folder, AssertionError)
    ours = decode_ourselves(path, folder, kind)
    theirs = decode_with(peer, path, folder, signal != GRID)
    return compare(theirs, ours) if len(ours) == len(original) else DIFFERS


def read_large(row, peer, folder):
    """libsndfile and SoX only count the frames, as they would read 4 GiB to reach the end."""
    seconds, path = 14913, 'large.wav' # of silence, 23 KiB less than 4 GiB
    run(f'record {path} --rate {RATE} --start {seconds * RATE} --seconds 2 {row[1]}', folder, AssertionError)
    ours = decode_ourselves(path, folder, first=(seconds + 1) * RATE)
    if peer == 'FFmpeg':
        return compare(decode_with(peer, path, folder, False, seconds + 1), ours)
    text = run(f'sndfile-info {path}' if peer == 'libsndfile' else f'sox --i -s {path}', folder)
    frames = re.search(r'^(?:Frames +: )?(\d+)$', text, re.M)
    if not frames:
        raise Refused(text)
    return EXACT if int(frames[1]) == (seconds + 2) * RATE else DIFFERS


def fill(read, row, cells, check):
    """Returns a row of a table for the page."""
    cells = list(cells)
    for column, peer in enumerate(PEERS):
        if check and (row[0], peer) in TAKES_MINUTES:
            continue
        with tempfile.TemporaryDirectory() as folder:
            try:
                result, why = read(row, peer, folder), ''
            except Refused as refusal:
                result, why = REFUSED, refusal
        if cells[column].split(':')[0] != result:
            print(f'{row[0]}, {peer}: {result} {why}', file=sys.stderr)
            cells[column] = result
    return f'| {row[0]} | {" | ".join(cells)} |\n'


def main(check, programs):
    os.environ['PATH'] = os.path.abspath(programs) + ':' + os.environ['PATH']
    missing = [name for name in ('sndfile-convert', 'sndfile-metadata-set', 'ffmpeg', 'sox') if not shutil.which(name)]
    if missing:
        print(f'not installed: {", ".join(missing)}', file=sys.stderr)
        return 77 # the exit status of a test that cannot run
    page = PAGE.read_text()
    lines = page.splitlines(True)
    places = [place for place, line in enumerate(lines) if re.match(r'\| \w', line)]
    names, *cells = zip(*(lines[place][2:-3].split(' | ') for place in places))
    rows = THEIRS + OURS + LARGE
    assert list(names) == [row[0] for row in rows], 'the rows of the page differ from those above'
    readers = [read_theirs] * len(THEIRS) + [read_ours] * len(OURS) + [read_large] * len(LARGE)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for place, text in zip(places, pool.map(fill, readers, rows, zip(*cells), [check] * len(rows))):
            lines[place] = text
    if check:
        sys.stdout.writelines(difflib.unified_diff(page.splitlines(True), lines, 'the page', 'the results', n=0))
        return page != ''.join(lines)
    PAGE.write_text(''.join(lines))
    return 0


sys.exit(main(sys.argv[1] == '--check', sys.argv[-1]))
