"""What golden scores do not send to the inlets, and hundreds of objects in one patch."""
import time
import unittest

import sound
from pd import PdTestCase, needs_pd
from studio import TICK, Studio

RATE = 44100


@needs_pd
class Messages(PdTestCase):
    def setUp(self):
        super().setUp()
        self.studio = Studio(self.folder, RATE)
        self.canvas = self.studio.canvas

    def add(self, box="k.vorb~ 1 word 5 0 1 0 1 0 2000 0 1", outlets=1):
        """An object with inlets in0 to in8, and its last outlet on the console."""
        voice = self.canvas.obj(box)
        for inlet in range(9):
            self.canvas.cord(self.canvas.obj(f"receive in{inlet}"), voice, 0, inlet)
        self.canvas.cord(voice, self.canvas.obj("print number"), outlets)
        return voice

    def told(self, *messages):
        """What the console says to each of these messages."""
        self.add()
        for k, message in enumerate(messages):
            self.studio.at(10 * k + 10, "told bang", message)
        self.studio.at(10 * len(messages) + 10, "told bang")
        self.canvas.chain(self.canvas.obj("receive told"), self.canvas.obj("print told"))
        rows = "\n".join(self.play(self.studio.patch(10 * len(messages) + 50)))
        return [row.strip() for row in rows.split("told: bang")][1:-1]

    def test_what_is_not_understood_is_told(self):
        rows = self.told("in0 wobble", "in0 wobble 1 two", "in3 wobble", "in1 wobble",
                         "in0 symbol word")
        for row, word in zip(rows, ["wobble"] * 4 + ["symbol"]):
            self.assertRegex(row, rf"^error: k\.vorb~: doesn't understand \"{word}\"$")

    def test_wrong_arguments_are_told(self):
        rows = self.told("in0 rate", "in0 rate word", "in0 rate 44100 word", "in0 rate word fast",
                         "in0 maxfogs many", "in0 int many", "in0 set 7", "in0 limit 1 2 3")
        for row, word in zip(rows, ["rate"] * 4 + ["maxfogs", "int", "set"]):
            self.assertEqual(row, f'error: k.vorb~: bad arguments for message "{word}"')
        self.assertIn('extra arguments for message "limit"', rows[7])

    def test_numbers_leave_the_last_outlet(self):
        rows = self.told("in0 freefogs", "in0 maxfogs 7.9", "in0 freefogs", "in0 bang",
                         "in0 usedfogs", "in1 usedfogs")
        self.assertEqual(rows, ["number: 5", "", "number: 7", "", "number: 1", ""])

    def test_refresh_and_rate_are_for_the_left_inlet(self):
        rows = self.told("in0 refresh", "in0 rate word 22050", "in4 refresh", "in1 rate word 22050")
        self.assertEqual(rows[:2], ["", ""])
        self.assertRegex(rows[2], "doesn't understand")
        self.assertRegex(rows[3], "doesn't understand")

    def play_ramp(self, *events):
        """What a fog a tenth of a second into the patch plays of an array that tells its frames."""
        self.canvas.obj(f"table word {RATE}")
        voice = self.add("k.vorb~ 1 word 5 0 1 0 1 0 50 0 1")
        sound.write_floats(self.folder / "ramp.wav", RATE, [i / 65536 for i in range(RATE)])
        self.studio.load(self.folder / "ramp.wav", "word")
        self.studio.record("v", self.canvas, voice, 1, RATE // 2)
        for ms, *messages in events:
            self.studio.at(ms, *messages)
        self.play(self.studio.patch(600))
        channel, = sound.read_floats(self.folder / "v.wav")
        return [value * 65536 for value in channel]

    def frame_at(self, ms, channel):
        return channel[round(ms * RATE / 1000)]

    def test_a_number_at_the_second_inlet_is_the_offset(self):
        out = self.play_ramp((100, "in1 200", "in0 bang"), (200, "in1 200", "in0 bang"),
                             (300, "in1 400", "in0 bang"), (400, "in0 bang"))
        first = self.frame_at(120, out)
        self.assertAlmostEqual(first, 0.22 * RATE, delta=300)
        self.assertAlmostEqual(self.frame_at(220, out), first, delta=70)
        self.assertAlmostEqual(self.frame_at(320, out) - first, 0.2 * RATE, delta=70)
        self.assertAlmostEqual(self.frame_at(420, out) - first, 0.2 * RATE, delta=70)

    def test_a_list_at_the_second_inlet_is_not_an_offset(self):
        out = self.play_ramp((100, "in1 200 300", "in0 bang"))
        self.assertAlmostEqual(self.frame_at(120, out), 0.02 * RATE, delta=300)

    def check_sender(self, sender, word=""):
        """An object sends numbers on as lists of one, to every inlet that tells them apart."""
        self.canvas.obj(f"table word {RATE}")
        voice = self.add("k.vorb~ 2 word 5 0 1 0 1 0 2000 0 1", 2)
        for inlet in 0, 1, 2, 4:
            self.canvas.cord(self.canvas.chain(self.canvas.obj(f"receive send{inlet}"),
                                               self.canvas.obj(sender)), voice, 0, inlet)
        sound.write_floats(self.folder / "ramp.wav", RATE, [i / 65536 for i in range(RATE)])
        self.studio.load(self.folder / "ramp.wav", "word")
        self.studio.record("v", self.canvas, voice, 2, RATE // 2)
        sent = [f"send{inlet} {word} {value}" for inlet, value in ((1, 200), (2, 2), (4, 0.25))]
        self.studio.at(100, *sent, f"send0 {word} 50")
        self.studio.at(300, "in4 list 0.5 0", "in0 bang")
        self.studio.at(400, "in0 usedfogs")
        self.assertEqual(self.play(self.studio.patch(600)), ["number: 2"])
        sides = sound.read_floats(self.folder / "v.wav")
        for side, later in zip(sides, (0.5, 0)):
            self.assertEqual(side[round(0.15 * RATE) - TICK], 0)
            value, further = (side[round(s * RATE)] * 65536 for s in (0.16, 0.2))
            self.assertAlmostEqual(value, 0.22 * RATE * 0.25, delta=100)
            self.assertAlmostEqual(further - value, 0.04 * RATE * 2 * 0.25, delta=1)
            value, further = (side[round(s * RATE)] * 65536 for s in (0.33, 0.37))
            self.assertAlmostEqual(further - value, 0.04 * RATE * 2 * (0.25 + later), delta=1)

    def test_a_number_from_route(self):
        self.check_sender("route go", "go")

    def test_a_number_from_list(self):
        self.check_sender("list")

    def test_a_number_from_pack(self):
        self.check_sender("pack f")

    def test_a_bang_from_route_or_list_is_a_bang(self):
        self.canvas.obj(f"table word {RATE}")
        voice = self.add()
        for name, sender in ("go", "route go"), ("list", "list"):
            self.canvas.chain(self.canvas.obj(f"receive {name}"), self.canvas.obj(sender), voice)
        self.studio.at(100, "go go", "list bang", "in0 usedfogs")
        self.assertEqual(self.play(self.studio.patch(200)), ["number: 2"])

    def test_numbers_and_signals_that_are_none_do_no_lasting_harm(self):
        self.canvas.obj(f"table word {RATE}")
        voice = self.add()
        square = self.canvas.obj("expr $f1 * $f1")  # infinite, or times 0 no number
        self.canvas.chain(self.canvas.obj("receive make"), square)
        nothing = self.canvas.chain(square, self.canvas.obj("* 0"))
        for bad in square, nothing:
            message = self.canvas.msg("bw $1, lp $1, gain $1, limit $1 $1, list $1 $1, maxfogs $1")
            self.canvas.chain(bad, message, voice)
            for inlet in reversed(range(9)):
                self.canvas.cord(bad, voice, 0, inlet)
            for inlet in 0, 1:
                self.canvas.cord(self.canvas.chain(bad, self.canvas.obj("sig~")), voice, 0, inlet)
        self.studio.record("v", self.canvas, voice, 1, RATE // 2)
        self.studio.at(0, "word const 0.5")
        self.studio.at(50, "make 1e30")
        self.studio.at(100, "make -1e30", "in0 bang")
        sane = [f"in{k} {value}" for k, value in enumerate([100, 1, 0, 1, 0, 2000, 0, 1], 1)]
        self.studio.at(200, "make 0", *sane, "in0 gain 1", "in0 limit 0 0", "in0 lp 0",
                       "in0 maxfogs 5", *sane, "in0 bang")
        self.play(self.studio.patch(600))
        channel, = sound.read_floats(self.folder / "v.wav")
        for value in channel[round(0.25 * RATE):]:
            self.assertAlmostEqual(value, 0.5, delta=1e-6)

    def test_an_array_of_another_rate_is_read_at_its_rate(self):
        out = self.play_ramp((0, f"in0 rate word {RATE // 2}"), (100, "in0 bang"),
                             (200, "in0 rate word 0"), (300, "in0 bang"))
        for ms, speed in (100, 0.5), (300, 1):
            run = self.frame_at(ms + 40, out) - self.frame_at(ms + 20, out)
            self.assertAlmostEqual(run, 0.02 * RATE * speed, delta=1)

    def test_five_hundred_objects_play(self):
        count = 500
        self.canvas.obj(f"table word {RATE}")
        mix = self.canvas.obj("*~ 1")
        for _ in range(count):
            voice = self.canvas.obj("k.vorb~ 1 word 2 0 1 0 0.125 0 2000 0 1")
            self.canvas.chain(self.canvas.obj("receive v"), voice, mix)
        self.studio.record("mix", self.canvas, mix, 1, RATE // 10)
        self.studio.at(0, "word const 0.5", "v bang")
        started = time.monotonic()
        self.assertEqual(self.play(self.studio.patch(110)), [])
        print(f"{count} objects: loaded, played for 0.1 s and freed in "
              f"{time.monotonic() - started:.2f} s")
        channel, = sound.read_floats(self.folder / "mix.wav")
        for value in channel[1000:]:
            self.assertAlmostEqual(value, count * 0.125 * 0.5, delta=1e-4)

    def test_loading_takes_no_time(self):
        started = time.monotonic()
        self.play(Studio(self.folder).patch(0))
        empty = time.monotonic()
        self.add()
        self.play(self.studio.patch(0))
        spent = time.monotonic() - empty - (empty - started)
        print(f"the object adds {1000 * spent:.0f} ms to Pd's start")
        self.assertLess(spent, 0.5)


if __name__ == "__main__":
    unittest.main()
