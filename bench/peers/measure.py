"""Measures what one sounding grain costs in every engine, beside k.vorb~, and prints a table.

Each engine plays about a hundred overlapping grains, and none, again and again, in turn with the
others and on one core. The smallest processor time without grains, taken from the smallest with
them, is what the grains cost; start, reading and writing of files fall out of the difference.

How many grains sound is not taken on trust. An engine first plays grains so far apart that they do
not overlap, which gives the length and the area of one; the mean of the dense sound, in both
channels of every measured file, then tells how many there are. A figure is refused when they are
too few or too many, when a grain has not the length that was asked for, or when anything sounds
without them."""

import argparse
import array
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile

from engines import ENGINES
from setting import (BLOCK, DENSE, DURATION, GRAINS, RATE, TRANSPOSITION, attack_sustain_release,
                     noise_on_a_constant, write_wave)

SPARSE = 2  # grains a second: well apart
WINDOW = (1, 3)  # seconds that are looked at: a whole number of periods, in steady state
TOLERANCE = 0.01
BUILT = pathlib.Path(__file__).resolve().parents[2] / "build/bin/render"


class Refused(Exception):
    """An engine that did not do what its figure would claim."""


def channels(path):
    """Both channels of a file of 32-bit floats, within the window."""
    data = path.read_bytes()
    at = 12
    while data[at:at + 4] != b"data":
        if at >= len(data):
            raise Refused("its file holds no sound")
        size = int.from_bytes(data[at + 4:at + 8], "little")
        at += 8 + size + size % 2
    start, end = (at + 8 + second * RATE * 8 for second in WINDOW)
    samples = array.array("f", data[start:end])
    if sys.byteorder == "big":
        samples.byteswap()
    if len(samples) != 2 * RATE * (WINDOW[1] - WINDOW[0]):
        raise Refused("its file is too short")
    return samples[::2], samples[1::2]


class Engine:
    def __init__(self, name, program, command, folder):
        self.name, self.program, self.command, self.folder = name, program, command, folder
        self.failure = None
        self.empty, self.dense, self.grains = [], [], []

    def play(self, rate, seconds):
        """Processor time in seconds, and both channels."""
        out = self.folder / "out.wav"
        out.unlink(missing_ok=True)
        command = self.command(self.folder, self.program, rate, seconds)
        with open(self.folder / "log", "w+", encoding="utf-8", errors="replace") as log:
            process = subprocess.Popen([str(c) for c in command], cwd=self.folder, stdout=log,
                                       stderr=log)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            if process.returncode != 0 or not out.exists():
                log.seek(0)
                raise Refused(f"status {process.returncode}: {log.read().strip()}")
        return usage.ru_utime + usage.ru_stime, channels(out)

    def learn_one_grain(self):
        _, (left, _) = self.play(SPARSE, WINDOW[1] + 1)
        grains = SPARSE * (WINDOW[1] - WINDOW[0])
        self.length = sum(1 for s in left if s != 0) / grains
        self.area = sum(left) / grains
        if not abs(self.length / (DURATION * RATE) - 1) < TOLERANCE:
            raise Refused(f"a grain lasts {self.length:.0f} samples, not {DURATION * RATE:.0f}")

    def measure(self, seconds):
        time, sound = self.play(0, seconds)
        if any(map(any, sound)):
            raise Refused("it sounds without grains")
        self.empty.append(time)
        time, sound = self.play(DENSE, seconds)
        for channel in sound:  # of equal level, since the grains are in the centre
            grains = sum(channel) / len(channel) * self.length / self.area
            if not abs(grains / (DENSE * DURATION) - 1) < TOLERANCE:
                raise Refused(f"{grains:.1f} grains sound, not {DENSE * DURATION:.1f}")
        self.dense.append(time)
        self.grains.append(grains)

    def attempt(self, step, *arguments):
        if self.failure is None:
            try:
                step(*arguments)
            except (Refused, OSError) as e:
                self.failure = str(e)

    def cost(self, seconds, of=min):
        """ns per grain and sample."""
        time = of(self.dense) - of(self.empty)
        return time * 1e9 / (statistics.mean(self.grains) * seconds * RATE)


def options():
    parser = argparse.ArgumentParser(prog="compare", description=__doc__, allow_abbrev=False,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    add, cores = parser.add_argument, sorted(os.sched_getaffinity(0))
    add("--render", default=BUILT, help="another renderer to measure than the one of this tree")
    add("--seconds", type=int, default=30, help="of sound in each run (%(default)s)")
    add("--repeat", type=int, default=7, help="runs of each kind (%(default)s)")
    add("--core", type=int, default=cores[-1], choices=cores, help="to run on (%(default)s)")
    chosen = parser.parse_args()
    if chosen.seconds < WINDOW[1] or chosen.repeat < 1:
        parser.error(f"at least {WINDOW[1]} seconds and one run")
    return chosen


def print_table(engines, seconds, repeat):
    print(f"{RATE} Hz, blocks of {BLOCK}, 2 outputs, transposition {TRANSPOSITION}, grains of "
          f"{DURATION * 1000:.1f} ms; processor time on one core, {repeat} runs of {seconds} s\n")
    print(f"{'engine':<21}{'grains':>7}{'ns per grain and sample':>25}{'(median)':>10}{'ratio':>7}")
    ours = engines[0]
    for e in engines:
        if e.failure is not None:
            continue
        cost = e.cost(seconds)
        ratio = "-" if ours.failure else f"{cost / ours.cost(seconds):.2f}"
        print(f"{e.name:<21}{statistics.mean(e.grains):7.1f}{cost:25.2f}"
              f"{f'({e.cost(seconds, statistics.median):.2f})':>10}{ratio:>7}")


def main():
    chosen = options()
    os.sched_setaffinity(0, {chosen.core})
    programs = {"render": os.path.abspath(chosen.render)}
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        write_wave(folder / "sample.wav", noise_on_a_constant())
        write_wave(folder / "envelope.wav", attack_sustain_release())
        engines = []
        for label, program, command in ENGINES:
            path = programs.get(program) or shutil.which(program)
            if path:
                engines.append(Engine(label, path, command, folder))
            else:
                print(f"compare: without {label}: no {program} here", file=sys.stderr)
        for e in engines:
            e.attempt(e.learn_one_grain)
        for _ in range(chosen.repeat):
            for e in engines:
                e.attempt(e.measure, chosen.seconds)
    print_table(engines, chosen.seconds, chosen.repeat)
    for e in engines:
        if e.failure is not None:
            print(f"compare: no figure for {e.name}: {e.failure}", file=sys.stderr)
    return any(e.failure is not None for e in engines) or len(engines) == 1


if __name__ == "__main__":
    sys.exit(main())
