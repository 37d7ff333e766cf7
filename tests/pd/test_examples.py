"""The patches that come with the object are silent until they are clicked, and then they sound."""
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

import sound
from pd import EXTERNALS, PdTestCase, needs_pd
from studio import Canvas, Studio

PATCHES = Path(__file__).resolve().parents[2] / "package/pd"
SECOND = 44100
# By patch: what is clicked, one thing after the other; the last click is the one to be heard.
CLICKS = {
    "k.vorb~-help": ["bng 21"],
    "k.vorb_keyboard": ["tgl 21", "hradio 21 0 0 25"],
    "k.vorb_cloud": ["tgl 21"],
    "k.vorb_stretch": ["tgl 21", "0 \\, 1046 8368"],
}


def ear():
    """Stands for [dac~], and can be recorded."""
    canvas = Canvas()
    for side in "left", "right":
        canvas.chain(canvas.obj("inlet~"), canvas.obj(f"throw~ ear-{side}"))
    return str(canvas)


def place(text, box):
    """Where to click on the first box of the outer window that begins so."""
    x, y = re.search(rf"^#X \w+ (\d+) (\d+) {re.escape(box)}", text, re.M).groups()
    return f"{int(x) + 5} {int(y) + 10}"


def messages(text, window):
    """Where the message boxes of every window are that need no argument, as (window, place)."""
    windows = []
    for record in text.split(";\n"):
        words = record.split()
        if record.startswith("#N canvas"):
            windows.append(f"pd-{words[6]}" if windows else window)
        elif record.startswith("#X restore"):
            windows.pop()
        elif record.startswith("#X msg") and "$1" not in record:
            yield windows[-1], f"{int(words[2]) + 5} {int(words[3]) + 10}"


@needs_pd
class Examples(PdTestCase):
    def prepare(self, name):
        """Makes the patches, one of them to be heard; returns its file and text."""
        subprocess.run([sys.executable, PATCHES / "make-patches", self.folder], check=True)
        shutil.copy(next(EXTERNALS.glob("k.vorb~.*")), self.folder)
        (self.folder / "ear.pd").write_text(ear(), "utf-8")
        file = self.folder / f"{name}.pd"
        text = file.read_text("utf-8").replace(" dac~;", " ear;")
        file.write_text(text, "utf-8")
        return file, text

    def test_every_message_of_the_help_patch_is_understood(self):
        file, text = self.prepare("k.vorb~-help")
        studio = Studio(self.folder)
        clicked = list(messages(text, f"pd-{file.name}"))
        self.assertGreater(len(clicked), 60)
        for k, (window, at) in enumerate(clicked):
            studio.at(50 * (k + 1), f"{window} vis 1", f"{window} mouse {at} 0 0",
                      f"{window} mouseup {at} 0")
        console = self.play(studio.patch(50 * len(clicked) + 100), "-open", file)
        self.assertIn("k.vorb~: ctl->inputs.sig_f0=1", console)  # the clicks arrive
        told = re.compile(r"k\.vorb~: (ctl|enter)|.*fogs \(\d+\)|.*upper limit")
        self.assertEqual([line for line in console if not told.match(line)], [])

    def check(self, name):
        file, text = self.prepare(name)
        studio = Studio(self.folder)
        for side in "left", "right":
            source = studio.canvas.obj(f"catch~ ear-{side}")
            studio.record(side, studio.canvas, source, 1, 3 * SECOND)
        for k, box in enumerate(CLICKS[name]):
            at = place(text, box)
            ms = 1000 - 100 * (len(CLICKS[name]) - 1 - k)
            studio.at(ms, f"pd-{file.name} mouse {at} 0 0", f"pd-{file.name} mouseup {at} 0")
        console = self.play(studio.patch(3100), "-open", file)
        self.assertEqual(console, [])
        for side in "left", "right":
            heard, = sound.read_floats(self.folder / f"{side}.wav")
            self.assertEqual(max(map(abs, heard[:SECOND])), 0, side)
            loudest = max(map(abs, heard[SECOND:]))
            self.assertGreater(loudest, 0.1, side)
            self.assertLess(loudest, 1, side)


    def test_the_switch_of_the_help_patch_follows_its_button(self):
        file, text = self.prepare("k.vorb~-help")
        studio = Studio(self.folder)
        studio.record("left", studio.canvas, studio.canvas.obj("catch~ ear-left"), 1, 3 * SECOND)
        for ms, box in (500, "bng 21"), (1500, "tgl 21"):
            at = place(text, box)
            studio.at(ms, f"pd-{file.name} mouse {at} 0 0", f"pd-{file.name} mouseup {at} 0")
        self.assertEqual(self.play(studio.patch(3100), "-open", file), [])
        heard, = sound.read_floats(self.folder / "left.wav")
        self.assertGreater(max(map(abs, heard[SECOND:SECOND * 3 // 2])), 0.1)
        self.assertEqual(max(map(abs, heard[SECOND * 8 // 5:])), 0)

    def test_the_keys_of_the_keyboard(self):
        """A and K are an octave apart, each from when it is pressed to when it is let go."""
        file, text = self.prepare("k.vorb_keyboard")
        studio = Studio(self.folder)
        source = studio.canvas.obj("catch~ ear-left")
        studio.record("left", studio.canvas, source, 1, 3 * SECOND)
        at = place(text, "tgl 21")
        studio.at(100, f"pd-{file.name} mouse {at} 0 0", f"pd-{file.name} mouseup {at} 0")
        for ms, key in (500, "a"), (1500, "k"):
            studio.at(ms, f"#key {ord(key)}")
            studio.at(ms + 600, f"#keyup {ord(key)}")
        self.assertEqual(self.play(studio.patch(3100), "-open", file), [])
        heard, = sound.read_floats(self.folder / "left.wav")
        periods = []
        for start in 500, 1500:
            quiet, loud = (heard[round(s * SECOND / 1000):round((s + 300) * SECOND / 1000)]
                           for s in (start - 100, start + 250))
            self.assertEqual(max(map(abs, quiet[:SECOND // 20])), 0, start)
            self.assertGreater(max(map(abs, loud)), 0.1, start)
            likeness = [sum(loud[i] * loud[i + lag] for i in range(4000))
                        for lag in range(100, 500)]
            periods.append(100 + likeness.index(max(likeness)))
        self.assertAlmostEqual(periods[0] / periods[1], 2, delta=0.1)


for patch in CLICKS:
    setattr(Examples, "test_" + re.sub(r"\W", "_", patch), lambda self, of=patch: self.check(of))

if __name__ == "__main__":
    unittest.main()
