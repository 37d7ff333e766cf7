"""A patch may have blocks of any size, and messages take effect at the first that follows."""
import unittest
from pathlib import Path

from comparison import ScoreTestCase
from pd import needs_pd
from score import read_score
from studio import TICK

SCORES = Path(__file__).parents[1] / "golden/scores"



@needs_pd
class Blocks(ScoreTestCase):
    def check(self, block):
        for name in "f0_signal", "layout_10", "tables":
            with self.subTest(name):
                score = read_score(SCORES / f"{name}.score", rate=44100, vector=max(block, TICK))
                self.compare(score, block)


for size in 16, 32, 64, 128, 256, 512, 1024, 2048:
    setattr(Blocks, f"test_{size}", lambda self, block=size: self.check(block))

if __name__ == "__main__":
    unittest.main()
