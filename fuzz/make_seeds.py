#!/usr/bin/env python3
"""Makes a small corpus for each fuzz target: make_seeds.py FOLDER. The seeds go to FOLDER/<target>/."""

import itertools
import pathlib
import struct
import sys

PLAIN_GUID = bytes.fromhex("0000000010008000 00aa00389b71")
AMBISONIC_GUID = bytes.fromhex("00002107d3118644c8c1ca000000")
SAMPLES = bytes(i * 37 % 256 for i in range(240))


def chunk(name, data, size=None, pad=True):
    header = name + struct.pack("<I", len(data) if size is None else size)
    return header + data + b"\0" * (len(data) % 2 if pad else 0)


def riff(*chunks, magic=b"RIFF", form=b"WAVE"):
    body = form + b"".join(chunks)
    return magic + struct.pack("<I", len(body)) + body


def format_data(tag, channels, width, bits, tail=b""):
    rate = 48000
    return struct.pack("<HHIIHH", tag, channels, rate, 0, channels * width & 0xFFFF, bits) + tail


def extensible(channels, width, bits, mask, subformat, guid=PLAIN_GUID):
    tail = struct.pack("<HHIH", 22, bits, mask, subformat) + guid
    return format_data(0xFFFE, channels, width, bits, tail)


FORMATS = {
    "pcm8": format_data(1, 1, 1, 8),
    "pcm16": format_data(1, 2, 2, 16),
    "pcm24": format_data(1, 2, 3, 24),
    "pcm32": format_data(1, 1, 4, 32),
    "pcm64": format_data(1, 1, 8, 64),
    "float32": format_data(3, 2, 4, 32),
    "float64": format_data(3, 1, 8, 64),
    "float_16_bit_scale": format_data(1, 2, 4, 32, struct.pack("<HH", 2, 1)),
    "float_24_bit_scale": format_data(1, 2, 4, 24),
    "no_routine": format_data(1, 1, 2, 12),
    "no_channels": format_data(1, 0, 2, 16),
    "no_block_align": format_data(1, 2, 0, 16),
    "negative_channels": format_data(1, 0xFFFF, 2, 16)[:14],
    "surround": extensible(6, 2, 16, 0x3F, 1),
    "more_bits_than_channels": extensible(2, 4, 32, 0x3FFFF, 3),
    "ambisonic": extensible(4, 3, 24, 0, 1, AMBISONIC_GUID),
    "ambisonic_float": extensible(5, 4, 32, 0xF, 3, AMBISONIC_GUID),
    "unknown_subformat": extensible(2, 2, 16, 3, 0x55),
    **{f"tag_{tag}": format_data(tag, 1, 1, 8, struct.pack("<HI", 4, 7)) for tag in (2, 6, 7, 0x11, 0x31, 0x55)},
}


def wave(format_chunk=FORMATS["pcm16"], samples=SAMPLES, before=(), after=()):
    return riff(*before, chunk(b"fmt ", format_chunk), chunk(b"data", samples), *after)


def ds64(data_size, rows=(), riff_size=0):
    table = b"".join(name + struct.pack("<Q", size) for name, size in rows)
    return chunk(b"ds64", struct.pack("<QQQI", riff_size, data_size, 0, len(rows)) + table)


def wave_files():
    for name, data in FORMATS.items():
        yield name, wave(data)
    form = chunk(b"fmt ", FORMATS["pcm16"])
    list_chunk = chunk(b"LIST", b"INFOx")
    yield "metadata", wave(before=[chunk(b"bext", SAMPLES), chunk(b"JUNK", b"123")], after=[list_chunk, chunk(b"FLLR", b"1")])
    yield "two_data_chunks", riff(form, chunk(b"data", SAMPLES[:99]), list_chunk, chunk(b"data", SAMPLES), list_chunk)
    yield "unpadded", riff(form, chunk(b"LIST", b"abc", pad=False), chunk(b"data", SAMPLES))
    yield "truncated", riff(form, chunk(b"data", SAMPLES, size=0))
    yield "empty_data", riff(form, chunk(b"data", b""), list_chunk)
    yield "cut_data", riff(form, chunk(b"data", SAMPLES, size=100000))
    yield "rf64", riff(ds64(len(SAMPLES)), form, chunk(b"data", SAMPLES, size=0xFFFFFFFF), magic=b"RF64")
    rows = [(b"LIST", 5), (b"bext", 1 << 40)]
    yield "rf64_table", riff(ds64(0, rows), form, list_chunk, chunk(b"data", SAMPLES, size=0xFFFFFFFF), magic=b"BW64")
    yield "zeros_behind", wave() + bytes(100)
    silent = bytes(9000)
    yield "silent_ends", wave(FORMATS["pcm8"], silent + SAMPLES + silent)
    yield "silent", wave(FORMATS["pcm16"], bytes(400))
    yield "long", wave(FORMATS["pcm8"], SAMPLES * 72)
    yield "not_wave", riff(form, form=b"AVI ")
    yield "no_format", riff(chunk(b"data", SAMPLES))
    yield "short", b"RIFF\0\0\0\0WAVE1234"


def big_chunk(name, data):
    return name + struct.pack(">I", len(data)) + data + b"\0" * (len(data) % 2)


def comm(channels, bits, frames=40, tail=b"", exponent=0x400E, mantissa=0xBB80 << 48):
    return big_chunk(b"COMM", struct.pack(">HIHHQ", channels, frames, bits, exponent, mantissa) + tail)


def aiff(*chunks, form=b"AIFF", size=None):
    body = form + b"".join(chunks)
    return b"FORM" + struct.pack(">I", len(body) if size is None else size) + body


def aiff_files():
    ssnd = big_chunk(b"SSND", bytes(8) + SAMPLES)
    for bits in (0, 7, 8, 12, 16, 24, 32):
        yield f"bits_{bits}", aiff(comm(2, bits), ssnd)
    for code in (b"NONE", b"sowt", b"in24", b"IN24", b"in32", b"IN32", b"fl32", b"FL32", b"twos", bytes(4)):
        text = b"\x05hello" if code != b"sowt" else b"\xffcut"
        version = big_chunk(b"FVER", bytes.fromhex("a2805140"))
        yield f"code_{code.hex()}", aiff(version, comm(1, 16, tail=code + text), ssnd, form=b"AIFC")
    for channels in (0, 1, 3, 4, 6, 0xFFFF):
        yield f"channels_{channels}", aiff(comm(channels, 16), big_chunk(b"ANNO", b"abc"), ssnd)
    labels = b"".join(struct.pack(">I16x", label) for label in (1, 9, 14, 16, 35, 200, 301, 302, 42))
    for tag, bitmap in ((0, 0), (0x10000, 0x3F), (0x650002, 0)):
        chan = big_chunk(b"CHAN", struct.pack(">III", tag, bitmap, 9) + labels)
        yield f"layout_{tag:x}", aiff(comm(9, 8), chan, ssnd, big_chunk(b"NAME", SAMPLES))
    yield "skip", aiff(comm(1, 8), big_chunk(b"SSND", struct.pack(">II", 10, 0) + SAMPLES))
    yield "skip_all", aiff(comm(1, 8), big_chunk(b"SSND", struct.pack(">II", 10000, 0) + SAMPLES))
    yield "short_ssnd", aiff(comm(1, 8), big_chunk(b"SSND", bytes(7)))
    yield "unfinished", aiff(comm(1, 16, frames=0), ssnd, size=0)
    yield "wrapping_size", aiff(comm(1, 16), ssnd, size=0xFFFFFFF8)
    yield "small_size", aiff(comm(1, 16), ssnd, big_chunk(b"NAME", b"x"), size=60)
    yield "odd_rates", aiff(comm(1, 16, exponent=0xFFFF, mantissa=(1 << 64) - 1), ssnd)
    yield "no_comm", aiff(ssnd)
    yield "other_form", aiff(comm(1, 16), form=b"8SVX")


def id3_streams():
    yield "v1", bytes(100) + b"TAG" + bytes(125)
    for name, header in {"v2": "0400000000000201", "v2_empty": "0300000000000000", "v2_unknown": "05ff00ffffffff",
                         "v2_negative": "80800001020304"}.items():
        yield name, b"ID3" + bytes.fromhex(header) + bytes(20)


def peak_streams():
    def segment(block_size, *datums):
        return struct.pack("=Iq", len(datums), block_size) + b"".join(struct.pack("=ff", -x, x) for x in datums)

    segments = [segment(256, 0.5, 0.25, 1.0), segment(44, 0.75), segment(212, 0.0, 2.0)]
    yield "none", bytes(4)
    yield "three", struct.pack("=I", 3) + b"".join(segments) + SAMPLES
    yield "cut", struct.pack("=I", 3) + b"".join(segments)[:-5]
    yield "empty_segment", struct.pack("=I", 3) + segments[0] + segment(7) + segments[2] + SAMPLES
    yield "no_sizes", struct.pack("=I", 2) + segment(0, 1.0, 2.0) + segment(-300, 1.0) + SAMPLES
    yield "huge_sizes", struct.pack("=I", 2) + segment((1 << 63) - 1, 1.0, 2.0) + segment(-(1 << 63), 3.0) + SAMPLES
    yield "huge_counts", struct.pack("=III", 0xFFFFFFFF, 0xFFFFFFFF, 0)


def scripts():
    """Rows of choices: the play itself is up to the fuzzer."""
    for seed in range(24):
        state, row = seed + 1, bytearray()
        for _ in range(40 + 20 * seed):
            state = state * 6364136223846793005 + 1442695040888963407 & (1 << 64) - 1
            row.append(state >> 56)
        yield f"script_{seed}", bytes(row)


def frame_blocks():
    """Each coding in both byte orders, by the size of the input with wide vectors or without."""
    for coding, channels, special, more in itertools.product(range(9), (1, 2, 3, 5, 8, 11), (0, 1), (0, 1)):
        left_out = 2 if channels == 3 else 0
        yield (f"coding_{coding}_{channels}_{special}_{more}",
               bytes([coding, 0, left_out, channels - 1, special]) + SAMPLES * 8 + bytes(more))


def routine_calls():
    for routine, channels, more in itertools.product(range(22), (1, 2, 5), (0, 1)):
        yield f"routine_{routine}_{channels}_{more}", bytes([routine, channels - 1]) + SAMPLES * 4 + bytes(more)


SEEDS = {
    "riff_scan": wave_files,
    "wave_open": wave_files,
    "wave_write": scripts,
    "aiff_open": aiff_files,
    "id3": id3_streams,
    "peak_edit": scripts,
    "peak_load": peak_streams,
    "frames": frame_blocks,
    "convert": routine_calls,
}


def main():
    for target, seeds in SEEDS.items():
        folder = pathlib.Path(sys.argv[1]) / target
        folder.mkdir(parents=True, exist_ok=True)
        for name, data in seeds():
            (folder / name).write_bytes(data)


if __name__ == "__main__":
    main()
