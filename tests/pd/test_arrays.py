"""Arrays are written, resized, renamed, deleted and made anew while fogs sound: what is there now
is heard, and nothing else."""
import unittest

import sound
from pd import PdTestCase, needs_pd
from studio import TICK, Canvas, Studio

RATE = 44100
END = 980  # ms; a little later the fog comes to the end of an array of one second


@needs_pd
class Arrays(PdTestCase):
    def hear(self, events, frames=RATE, outlets=1, arrays=("word",), box="k.vorb~ {} word"):
        """One second, by outlet, of a fog that lasts for it without an envelope, in arrays of these
        frames that hold 1/2. Events are times and messages, their receivers first."""
        studio = Studio(self.folder, RATE)
        tables = Canvas(name="tables")
        for array in arrays:
            tables.obj(f"table {array} {frames}")
        studio.canvas.sub(tables, "tables")
        voice = studio.canvas.obj(box.format(outlets) + " 5 0 1 0 1 0 2000 0 1")
        studio.canvas.chain(studio.canvas.obj("receive v"), voice)
        recorder = studio.canvas.obj("tabwrite~ word")
        studio.canvas.chain(studio.canvas.obj("sig~ 0.25"), recorder)
        studio.canvas.chain(studio.canvas.obj("receive record"), recorder)
        studio.record("v", studio.canvas, voice, outlets, RATE)
        studio.at(0, *(f"{array} const 0.5" for array in arrays), "v refresh", "v bang")
        for ms, *messages in events:
            studio.at(ms, *messages)
        console = self.play(studio.patch(END + 100))
        self.assertEqual([line for line in console if "k.vorb~:" in line], [])
        return sound.read_floats(self.folder / "v.wav")

    def assert_level(self, channel, level, begin, end=END, but=0):
        """From `begin` ms, or at most `but` ms later, to `end` ms it holds its level."""
        first, last = (round(ms * RATE / 1000 / TICK) * TICK for ms in (begin + but, end))
        for i in range(first + TICK, last - TICK):
            if abs(channel[i] - level) > 1e-6:
                self.fail(f"{channel[i]}, not {level}, at frame {i}")

    def test_a_written_array_is_heard_at_once(self):
        out, = self.hear([(300, "word const 0.25"), (600, "word const -0.5")])
        self.assert_level(out, 0.5, 10, 300)
        self.assert_level(out, 0.25, 300, 600, but=3)
        self.assert_level(out, -0.5, 600, but=3)

    def test_in_a_long_array_too(self):
        out, = self.hear([(300, "word const 0.25")], frames=300 * RATE)
        self.assert_level(out, 0.5, 10, 300)
        self.assert_level(out, 0.25, 300, but=3)

    def test_what_is_recorded_while_it_plays_is_heard(self):
        """A tenth of a second ahead of the fog."""
        out, = self.hear([(300, f"record start {RATE * 4 // 10}")])
        self.assert_level(out, 0.5, 10, 395)
        self.assert_level(out, 0.25, 405)

    def test_a_shorter_array_ends_sooner(self):
        out, = self.hear([(300, f"word resize {RATE // 2}")])
        self.assert_level(out, 0.5, 10, 300)
        self.assert_level(out, 0.5, 300, 495, but=3)
        self.assert_level(out, 0, 505)

    def test_a_longer_array_goes_on(self):
        out, = self.hear([(100, f"word resize {RATE * 2}", "word const 0.5")], frames=RATE // 2)
        self.assert_level(out, 0.5, 10)

    def test_a_longer_array_is_silent_where_nothing_is_written(self):
        out, = self.hear([(100, f"word resize {RATE * 2}")], frames=RATE // 2)
        self.assert_level(out, 0.5, 10, 495)
        self.assert_level(out, 0, 505)

    def test_a_renamed_array_is_gone_and_comes_back(self):
        out, = self.hear([(300, "word rename other"), (600, "other rename word")])
        self.assert_level(out, 0.5, 10, 300)
        self.assert_level(out, 0, 300, 600, but=3)
        self.assert_level(out, 0.5, 600, but=3)

    def test_two_arrays_change_places(self):
        out, = self.hear([(0, "other const 0.125"),
                          (300, "word rename third", "other rename word")],
                         arrays=("word", "other"))
        self.assert_level(out, 0.5, 10, 300)
        self.assert_level(out, 0.125, 300, but=3)

    def test_a_deleted_array_is_silent_and_a_new_one_sounds(self):
        out, = self.hear([(300, "pd-tables clear"),
                          (600, f"pd-tables obj 10 10 table word {RATE}", "word const 0.25")])
        self.assert_level(out, 0.5, 10, 300)
        self.assert_level(out, 0, 300, 600, but=3)
        self.assert_level(out, 0.25, 600, but=100)

    def test_two_arrays_are_a_stereo_sample(self):
        left, right = self.hear([(300, "1-word const 0.25")], outlets=2,
                                arrays=("0-word", "1-word"))
        self.assert_level(left, 0.5, 10)
        self.assert_level(right, 0.5, 10, 300)
        self.assert_level(right, 0.25, 300, but=3)

    def test_the_shorter_of_two_arrays_counts(self):
        left, right = self.hear([(300, f"1-word resize {RATE // 2}")], outlets=2,
                                arrays=("0-word", "1-word"))
        for side in left, right:
            self.assert_level(side, 0.5, 10, 495)
            self.assert_level(side, 0, 505)

    def test_an_array_of_the_very_name_comes_first(self):
        left, right = self.hear([(0, "0-word const 0.25", "1-word const 0.25")], outlets=2,
                                arrays=("word", "0-word", "1-word"))
        for side in left, right:
            self.assert_level(side, 0.5, 10)

    def test_short_arrays_are_silent(self):
        out, = self.hear([(100, "word resize 7"), (200, "word resize 1"), (300, "word resize 0"),
                          (400, f"word resize {RATE}", "word const 0.5")])
        self.assert_level(out, 0.5, 10, 100)
        self.assert_level(out, 0, 100, 400, but=3)
        self.assert_level(out, 0.5, 400, but=3)

    def test_of_two_arrays_of_a_name_the_older_is_played_and_one_line_says_so(self):
        studio = Studio(self.folder, RATE)
        tables = Canvas(name="tables")
        tables.obj(f"table word {RATE}")
        studio.canvas.sub(tables, "tables")
        studio.canvas.obj("receive word")  # which bears the name, too
        voice = studio.canvas.obj("k.vorb~ 1 word 5 0 1 0 1 0 2000 0 1")
        studio.canvas.chain(studio.canvas.obj("receive v"), voice)
        studio.record("v", studio.canvas, voice, 1, RATE)
        studio.at(0, "word const 0.5", "v bang")
        studio.at(300, f"pd-tables obj 10 10 table word {RATE}")
        for ms in 500, 600, 700:
            studio.at(ms, "v refresh")
        self.assertEqual(self.play(studio.patch(END + 100)),
                         ["error: k.vorb~: word is there twice: the older array is played"])
        out, = sound.read_floats(self.folder / "v.wav")
        self.assert_level(out, 0.5, 10)

    def test_names_of_one_patch_alone(self):
        studio = Studio(self.folder, RATE)
        add = studio.canvas.obj
        add(f"table $0-word {RATE // 2}")
        recorder = add("tabwrite~ $0-word")
        studio.canvas.chain(add("receive start"), recorder)
        studio.canvas.chain(add("sig~ 0.5"), recorder)
        voice = studio.canvas.chain(add("receive v"), add("k.vorb~ 1 $0-word 5 0 1 0 1 0 2000 0 1"))
        studio.record("v", studio.canvas, voice, 1, RATE)
        studio.at(550, "v bang")
        self.assertEqual(self.play(studio.patch(END + 100)), [])
        out, = sound.read_floats(self.folder / "v.wav")
        self.assert_level(out, 0.5, 560)

    def test_the_object_goes_while_it_plays(self):
        studio = Studio(self.folder, RATE)
        stage = Canvas(name="stage")
        studio.canvas.obj(f"table word {RATE}")
        for _ in range(3):
            stage.chain(stage.obj("receive v"), stage.obj("k.vorb~ 2 word 5 0 1 0 1 0 2000 0 1"))
        studio.canvas.sub(stage, "stage")
        studio.at(0, "v bang")
        studio.at(100, "pd-stage clear")
        studio.at(200, "pd-stage obj 10 10 k.vorb~ 4 word", "word resize 10")
        self.assertEqual(self.play(studio.patch(300)), [])


if __name__ == "__main__":
    unittest.main()
