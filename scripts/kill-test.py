#!/usr/bin/env python3
"""Kills COUNT (500) recordings of each kind at random moments and counts the acknowledged bytes that are lost.

Every other recording starts just below 4 GiB, where RIFF continues in another `data` chunk and RF64 begins. `cut` reads
each file back, and the samples up to the last acknowledged checkpoint are compared with those of a recording that was
not killed.
"""
import os, random, signal, subprocess, sys, tempfile, time, wave

PROGRAMS = 'build/test/examples/'
FRAME, LIMIT = 3, 1 << 32 # bytes
RATE, SECONDS = 1000, 60
RECORD = [PROGRAMS + 'record', '--rate', str(RATE), '--seconds', str(SECONDS), '--channels', '1']


def samples(path):
    with wave.open(path) as file:
        return file.readframes(file.getnframes())


def record_and_kill(path, rf64, draw):
    """Returns exit code, first frame and the frames acknowledged at each checkpoint."""
    frames = draw.choice([1, 7, 64, 333, 2001, 9001]) # to a checkpoint
    checkpoints = draw.randrange(min(400, 30000 // frames))
    start = 0 if draw.random() < 0.5 else LIMIT // FRAME - draw.randrange(2 * (checkpoints + 1) * frames)
    options = ['--checkpoint', str(frames / RATE), '--start', str(start)] + ([] if rf64 else ['--riff'])
    child = subprocess.Popen([*RECORD, path, '--verbose', *options], stdout=subprocess.PIPE, text=True)
    lines = [child.stdout.readline() for _ in range(checkpoints)]
    time.sleep(draw.random() * 0.002)
    child.kill()
    lines += child.stdout.readlines()
    return child.wait(), start, [int(line.split()[-1]) for line in lines if line.startswith('checkpoint')]


def kill(rounds, rf64, folder, whole):
    killed = large = checkpoints = safe = lost = number = 0
    while killed < rounds:
        number += 1
        path, part = f'{folder}/killed.wav', f'{folder}/part.wav'
        code, start, acknowledged = record_and_kill(path, rf64, random.Random(number))
        if code == 0: # it was finished before the kill
            continue
        if code != -signal.SIGKILL:
            sys.exit(f'round {number}: the recording failed by itself, exit code {code}')
        killed += 1
        if not acknowledged:
            continue
        bytes_safe = acknowledged[-1] * FRAME
        read = subprocess.run([PROGRAMS + 'cut', path, part, '--from', str(start)], stdout=subprocess.DEVNULL)
        kept = samples(part)[:bytes_safe] if read.returncode == 0 else b''
        if kept != whole[:bytes_safe]:
            print(f'round {number}: not all of {bytes_safe} bytes after frame {start} read back', file=sys.stderr)
            lost += bytes_safe - len(os.path.commonprefix([kept, whole[:bytes_safe]]))
        large += start * FRAME + bytes_safe > LIMIT
        checkpoints += len(acknowledged)
        safe += bytes_safe
    print(f'{"RF64" if rf64 else "RIFF"}: killed {killed} times, {large} of them past 4 GiB; '
          f'{checkpoints:,} checkpoints, {safe:,} bytes safe, {lost:,} lost')
    return lost == 0 and large > 0 and checkpoints > killed


os.chdir(os.path.dirname(os.path.abspath(__file__)) + '/..')
subprocess.run(['cmake', '--preset', 'test'], check=True, stdout=subprocess.DEVNULL)
subprocess.run(['cmake', '--build', '--preset', 'test', '--target', 'example_record', 'example_cut'], check=True,
               stdout=subprocess.DEVNULL)
with tempfile.TemporaryDirectory() as folder:
    subprocess.run([*RECORD, f'{folder}/whole.wav'], check=True, stdout=subprocess.DEVNULL)
    whole = samples(f'{folder}/whole.wav')
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 500
    sys.exit(0 if all([kill(rounds, rf64, folder, whole) for rf64 in (False, True)]) else 1)
