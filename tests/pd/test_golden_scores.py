"""Every golden score sounds in Pd, bit for bit, as in the headless host with the same inputs in
single precision, the console says the same in the same block, and none strays from the golden
sound by more than the rounding of its inputs can explain."""
import unittest
from pathlib import Path

import sound
from comparison import ScoreTestCase
from pd import needs_pd
from score import read_score

SCORES = sorted(Path(__file__).parents[1].glob("golden/scores/*.score"))
# Half a float's last place at the peaks, and what rounded signals do to the phase and the offset.
STRAYING = 2e-6
# What cannot be said in Pd, and why: such a score is compared with the host alone.
UNSAID = {"vector_too_large": "blocks of more than 64 frames never reach the object"}


@needs_pd
class GoldenScores(ScoreTestCase):
    def compare_golden(self, path):
        mixed = self.compare(read_score(path))
        golden = sound.read_floats(path.with_suffix(".wav"))
        strays = max(abs(a - b) for got, wanted in zip(mixed, golden) for a, b in zip(got, wanted))
        print(f"{path.stem}: strays {strays:.2g} from the golden sound")
        self.assertEqual(strays > STRAYING, path.stem in UNSAID)


def add(path):
    setattr(GoldenScores, f"test_{path.stem}", lambda self: self.compare_golden(path))


for score_file in SCORES:
    add(score_file)

if __name__ == "__main__":
    unittest.main()
