"""What ends other objects, or Pd: audio switched off and on in the middle of a fog, tables that come
late, come and go, speeds beyond all measure, other blocks. Here the next fog sounds as ever."""
import os
import signal
import subprocess
import unittest

import sound
from pd import EXTERNALS, PROGRAM, PdTestCase, needs_pd
from studio import TICK, Canvas, Studio

RATE = 44100
BOX = "k.vorb~ 1 word 20 100 1 0 1 0 2000 0 1"  # one fog after another, without an envelope


@needs_pd
class Faults(PdTestCase):
    def setUp(self):
        super().setUp()
        self.studio = Studio(self.folder, RATE)
        self.stage = Canvas(name="stage")
        tables = Canvas(name="tables")
        tables.obj(f"table word {RATE}")
        self.studio.canvas.sub(tables, "tables")

    def hear(self, box=BOX, frames=RATE // 2, end=700):
        """What one object in a window of its own gave, and the console's lines."""
        voice = self.stage.chain(self.stage.obj("receive v"), self.stage.obj(box))
        self.stage.cord(voice, self.stage.obj("outlet~"), 0)
        mix = self.studio.canvas.sub(self.stage, "stage")
        self.studio.record("v", self.studio.canvas, mix, 1, frames)
        console = self.play(self.studio.patch(end))
        heard, = sound.read_floats(self.folder / "v.wav")
        return heard, console

    def assert_level(self, heard, level, begin, end):
        first, last = (round(ms * RATE / 1000 / TICK) * TICK for ms in (begin, end))
        for i in range(first, last):
            if abs(heard[i] - level) > 1e-6:
                self.fail(f"{heard[i]}, not {level}, at frame {i}")

    def test_audio_goes_off_and_on_in_the_middle_of_a_fog(self):
        """The recording stands still with it; the fog goes on where it was."""
        at = self.studio.at
        at(0, "word const 0.5", "v bang")
        for ms in range(50, 250, 10):
            at(ms, f"pd dsp {ms // 10 % 2 ^ 1}")
        at(250, "pd dsp 1")
        heard, console = self.hear(frames=8192)
        self.assertEqual(console, [])
        self.assert_level(heard, 0.5, 10, 8000 / 44.1)

    def test_tables_change_while_audio_is_off(self):
        """Two fogs that began before play what is there now."""
        at = self.studio.at
        at(0, "word const 0.5", "v bang")
        at(50, "pd dsp 0")
        at(60, "pd-tables clear")
        at(70, "pd dsp 1", "v bang", "pd dsp 0")
        at(80, f"pd-tables obj 10 10 table word {RATE}", "word const 0.125", "v refresh")
        at(90, "pd dsp 1")
        heard, console = self.hear(frames=8192)
        self.assertEqual(console, [])
        self.assert_level(heard, 0.5, 10, 48)
        self.assert_level(heard, 2 * 0.125, 60, 180)

    def test_a_table_may_be_named_before_audio_is_on_and_come_later(self):
        at = self.studio.at
        at(0, "pd dsp 0", "v set late", "v bang", "v maxfogs 5")
        at(20, "pd dsp 1", "v bang")
        at(100, f"pd-tables obj 10 10 table late {RATE}", "late const 0.25", "v refresh")
        at(200, "v bang")
        heard, console = self.hear(BOX.replace("word", "none"))
        self.assertEqual(console, [])
        self.assert_level(heard, 0, 0, 70)
        self.assertGreater(heard[round(300 * 44.1)], 0.2)

    def test_a_table_that_comes_and_goes_all_the_time(self):
        at = self.studio.at
        at(0, "word const 0.5")
        for ms in range(3, 400, 3):
            at(ms, "v bang", *(["pd-tables clear"] if ms % 2 else
                               [f"pd-tables obj 10 10 table word {ms * 91 % 30000 + 1}"]))
        at(450, "pd-tables clear", f"pd-tables obj 10 10 table word {RATE}", "word const 0.5",
           "v reset")
        at(460, "v bang")
        heard, _ = self.hear()
        self.assert_level(heard, 0.5, 465, 495)

    def test_speeds_and_places_beyond_all_measure(self):
        at = self.studio.at
        at(0, "word const 0.5")
        numbers = "0", "-1", "1e-30", "1e+30", "-1e+30", "1e+06"
        for k, (speed, place) in enumerate((s, p) for s in numbers for p in numbers):
            at(5 * k, f"v transp {speed}", f"v offset {place}", "v bang")
        at(300, "v reset", "v transp 1", "v offset 100", "v bang")
        heard, _ = self.hear()
        self.assertTrue(all(abs(x) <= 20 for x in heard))
        self.assert_level(heard, 0.5, 305, 495)

    def test_a_window_is_switched_to_other_blocks_and_rates_while_it_plays(self):
        at = self.studio.at
        self.stage.chain(self.stage.obj("receive blocks"), self.stage.obj("block~ 64 1 1"))
        at(0, "word const 0.5", "v bang")
        blocks = "1 1 1", "64 1 2", "1024 4 1", "256 2 0.5", "64 1 16", "64 1 1"
        for k, block in enumerate(blocks):
            at(20 + 20 * k, f"blocks set {block}", "v bang")
        at(200, "v reset", "v bang")
        heard, console = self.hear()
        self.assertEqual(console, [])
        self.assert_level(heard, 0.5, 210, 495)

    def test_pd_killed_in_the_middle_leaves_nothing(self):
        voice = self.studio.canvas.chain(self.studio.canvas.obj("receive v"),
                                         self.studio.canvas.obj(BOX))
        self.studio.canvas.cord(voice, self.studio.canvas.obj("dac~"), 0)
        self.studio.at(0, "word const 0.5", "v bang")
        patch = self.folder / "test.pd"
        patch.write_text(self.studio.patch(1e9), "utf-8")
        before = sorted(self.folder.rglob("*"))
        environment = {**os.environ, "HOME": str(self.folder), "TMPDIR": str(self.folder)}
        for how in signal.SIGKILL, signal.SIGTERM:
            with subprocess.Popen(
                    [PROGRAM, "-nogui", "-batch", "-noprefs", "-noaudio", "-path", EXTERNALS,
                     "-open", patch], cwd=self.folder, env=environment, stdin=subprocess.DEVNULL,
                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as pd:
                with self.assertRaises(subprocess.TimeoutExpired):
                    pd.wait(0.5)
                pd.send_signal(how)
                self.assertEqual(pd.wait(10), -how)
            self.assertEqual(sorted(self.folder.rglob("*")), before)


if __name__ == "__main__":
    unittest.main()
