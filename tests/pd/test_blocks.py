"""A patch may have blocks of any size, and messages take effect at the first that follows."""
import unittest
from pathlib import Path

import sound
from comparison import ScoreTestCase
from pd import needs_pd
from score import read_score
from studio import TICK, Canvas, Studio

SCORES = Path(__file__).parents[1] / "golden/scores"


@needs_pd
class Blocks(ScoreTestCase):
    def check(self, block):
        for name in "f0_signal", "layout_10", "tables":
            with self.subTest(name):
                score = read_score(SCORES / f"{name}.score", rate=44100, vector=max(block, TICK))
                self.compare(score, block)

    def test_overlapping_blocks(self):
        """Each is a block of its own, mixed with those beside it: a held sample is louder."""
        for block in "64 4", "256 4":
            with self.subTest(block):
                studio, stage = Studio(self.folder), Canvas(name="stage")
                studio.canvas.obj("table word 44100")
                stage.obj(f"block~ {block}")
                stage.chain(stage.obj("receive v"),
                            stage.obj("k.vorb~ 1 word 5 100 1 0 1 0 2000 0 1"),
                            stage.obj("outlet~"))
                mix = studio.canvas.sub(stage, "stage")
                studio.record("mix", studio.canvas, mix, 1, 22050)
                studio.at(0, "word const 0.125", "v bang")
                self.assertEqual(self.play(studio.patch(600)), [])
                heard, = sound.read_floats(self.folder / "mix.wav")
                for value in heard[4410:8820]:
                    self.assertAlmostEqual(value, 4 * 0.125, delta=1e-6)


for size in 1, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096:
    setattr(Blocks, f"test_{size}", lambda self, block=size: self.check(block))

if __name__ == "__main__":
    unittest.main()
