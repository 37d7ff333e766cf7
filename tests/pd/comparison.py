"""Plays a score in Pd and in the headless host, and compares what sounds and what is said."""
import os
import re
import subprocess

import sound
from pd import NOISE, PdTestCase
from score import Event, as_text
from score_to_pd import patch, pd_rate
from studio import TICK

# A recording array takes anything below for 0.
SMALLEST = 2.0 ** -63
RENDER = os.environ.get("KVORB_RENDER", "build/bin/render")


def by_block(console):
    """Rows of (block, text), from a console in which each block is followed by its number."""
    rows, block = [], 0
    for line in console:
        number = re.fullmatch(r"block: (\d+)", line)
        if number:
            block = int(number[1]) + 1
        else:
            rows.append((block, unnamed(line)))
    return rows


def unnamed(line):
    """Pd's console has the name of the class in every row of an object."""
    return line.replace("k.vorb~: ", "")


def recorded(channel):
    return [value if abs(value) >= SMALLEST else 0.0 for value in channel]


def restate_offsets(score):
    """An offset has the delay of the blocks that there were when it was told. Objects are told
    theirs before their patch has blocks: then those of Pd's own size and rate count."""
    for name, box in score.objects.items():
        offset = (box.split() + ["0"] * 4)[4]
        score.events.insert(0, Event(0, (name, 0), "message", ["offset", offset]))


class ScoreTestCase(PdTestCase):
    def compare(self, score, block=None):
        """Fails unless both agree bit for bit; returns what Pd played, mixed into channels."""
        if block or score.vector != TICK:
            restate_offsets(score)
        script = patch(score, self.folder, block)
        console = self.play(script, "-r", score.rate if block else pd_rate(score))
        said = [row for row in by_block(console) if row[0] < score.blocks]
        vector = min(block or score.vector, TICK)  # the longest piece of a block
        _, expected = self.rendered(score, vector)
        self.assertEqual(said, expected)
        mixed = []
        for name in score.objects:
            played = sound.read_floats(self.folder / f"{name}.wav")
            channels, _ = self.rendered(score, vector, name)
            self.assertEqual(len(played), len(channels))
            for k, (got, wanted) in enumerate(zip(played, map(recorded, channels))):
                self.assert_same(f"{name}, outlet {k + 1}", list(got), wanted)
                if k == len(mixed):
                    mixed.append([0.0] * score.frames)
                mixed[k] = [a + b for a, b in zip(mixed[k], got)]
        return mixed

    def rendered(self, score, vector, only=None):
        """Channels of single precision, and rows of (block, text)."""
        text, out = self.folder / "test.score", self.folder / "test.wav"
        text.write_text(as_text(score, vector, only), "utf-8")
        ran = subprocess.run(
            [RENDER, text, "-o", out, "--format", "float", "--rate", str(score.rate), "--vector",
             str(vector)], capture_output=True, text=True, check=False)
        self.assertEqual(ran.returncode, 0, ran.stderr)
        rows = []
        for line in ran.stderr.splitlines():
            ms, name, what = re.fullmatch(r"([\d.]+) ms ?(\w*): (.*)", line).groups()
            if not NOISE.match(what):
                what = f"{name}: {what}" if what.startswith("outlet") else unnamed(what)
                rows.append((int(float(ms) / score.block_ms() + 0.01), what))
        return sound.read_floats(out), rows

    def assert_same(self, what, got, wanted):
        self.assertEqual(len(got), len(wanted), what)
        wrong = [i for i, (a, b) in enumerate(zip(got, wanted)) if a != b]
        if wrong:
            i = wrong[0]
            self.fail(f"{what}: {len(wrong)} of {len(got)} samples differ, first frame {i}: "
                      f"{got[i]!r}, not {wanted[i]!r}")
