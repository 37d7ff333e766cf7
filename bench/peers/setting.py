"""What every engine is asked to play, and the sounds that it is given for it."""

import array
import math
import random
import sys
import wave

RATE = 48000
BLOCK = 64
TRANSPOSITION = 1.37
START = 0.01  # where in the sample grains begin, in seconds: no reader touches its edge
GRAINS = 100
DENSE = 500  # grains a second: a period is a whole number of samples
# A pool keeps a grain to the end of its last block. One block less than a hundred periods, and a
# pool of a hundred never has to refuse one.
DURATION = GRAINS / DENSE - BLOCK / RATE

SAMPLE_FRAMES = 65536
ENVELOPE_FRAMES = 4096


def attack_sustain_release():
    """Half cosines over the first and the last quarter: the shape that `env 1 2 1` has, too."""
    quarter = ENVELOPE_FRAMES // 4
    rise = [(1 - math.cos(math.pi * i / quarter)) / 2 for i in range(quarter)]
    return rise + [1.0] * (2 * quarter) + rise[::-1]


def noise_on_a_constant():
    """Positive throughout, so that grains neither cancel nor pause, and a sum tells how many."""
    source = random.Random(1)
    return [0.5 + 0.25 * source.uniform(-1, 1) for _ in range(SAMPLE_FRAMES)]


def write_wave(path, samples):
    """One channel of 16-bit integers."""
    frames = array.array("h", (round(32767 * s) for s in samples))
    if sys.byteorder == "big":
        frames.byteswap()
    with wave.open(str(path), "wb") as file:
        file.setparams((1, 2, RATE, 0, "NONE", ""))
        file.writeframes(frames.tobytes())
