"""What a block of audio costs, in instructions: counted, not timed, so that the same program gives
the same figures on every day. Those of the host are left out, those of the C library's mathematics
are not. What a denormal number costs a processor is no instruction; on audio threads, where they
count as zeros, it is nothing."""
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

PROGRAM = os.environ.get("KVORB_COUNTED_BLOCKS", "")
VALGRIND = shutil.which("valgrind")

LAYOUTS = [(1, 1), (2, 1), (2, 2), (4, 1), (4, 2), (6, 1), (6, 4), (10, 1)]
LANES = ("baseline", "avx2")  # side by side, as every processor or some can
# Instructions a fog and sample at most, by outlets and channels of the sample: of a fog that is
# rendered by itself, and of one of many. Measured, and a quarter for other compilers.
BOUNDS = {
    "none": dict(zip(LAYOUTS, (64, 70, 128, 108, 166, 131, 274, 177))),
    "baseline": dict(zip(LAYOUTS, (44, 48, 69, 54, 76, 60, 105, 73))),
    "avx2": dict(zip(LAYOUTS, (40, 41, 53, 44, 56, 47, 67, 51))),
}


def own_instructions(file):
    """Of one dump of the profiler: the sum of what is not the host's own, nor the linker's, which
    finds the host's words for each thread."""
    total, names, foreign, inclusive = 0, {}, False, False
    for line in file.read_text().splitlines():
        if match := re.match(r"(c?)ob=\((\d+)\)(?: (.*))?", line):
            called, number, name = match.groups()
            if name:
                names[number] = name
            if not called:
                foreign = re.search(r"/(libheadless_host|ld-linux)[^/]*$", names[number])
        elif line.startswith("calls="):
            inclusive = True  # the next line has what the callee took
        elif line[:1].isdigit() or line[:1] in ("+", "-", "*"):
            if not inclusive and not foreign:
                total += int(line.split()[1])
            inclusive = False
    return total


def count():
    """By players, outlets, channels, frames, what is played and the number of fogs; also how many
    fogs sounded in the end."""
    with tempfile.TemporaryDirectory(prefix="kvorb-count-") as folder:
        ran = subprocess.run(
            [VALGRIND, "--tool=callgrind", f"--callgrind-out-file={folder}/count",
             "--collect-atstart=no", "--toggle-collect=counted", "--dump-after=counted", PROGRAM],
            env={**os.environ, "LD_BIND_NOW": "1"}, stdout=subprocess.PIPE, check=True)
        counts = {}
        for number, row in enumerate(ran.stdout.decode().splitlines(), 1):
            players, outlets, channels, frames, what, fogs, left = row.split()
            key = players, int(outlets), int(channels), int(frames), what, int(fogs)
            counts[key] = own_instructions(Path(folder, f"count.{number}")), int(left)
        return counts


@unittest.skipUnless(VALGRIND, "valgrind is not installed")
class Instructions(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.counts = count()

    def cost(self, players, layout, frames, what, fogs=100):
        return self.counts[(players, *layout, frames, what, fogs)][0]

    def played(self, players):
        """The layouts, with those of the players that this processor has."""
        return [(name, layout) for name in players for layout in LAYOUTS
                if (name, *layout, 64, "idle", 0) in self.counts]

    def test_the_rows_are_what_they_say(self):
        self.assertGreaterEqual(len(self.played(BOUNDS)), 2 * len(LAYOUTS))
        for key, (cost, left) in self.counts.items():
            with self.subTest(key=key):
                self.assertGreater(cost, 100)
                if key[4] == "no_sample":
                    self.assertEqual(left, 100 if key[1] in (1, 10) else 0)
                elif "brief" in key[4]:
                    self.assertLess(left, 20)
                elif "refusals" not in key[4]:
                    self.assertEqual(left, key[5])

    def test_when_all_fogs_begin_in_one_block_it_costs_twice_as_much_at_most(self):
        """As much as when they only hold, the cheapest they do. The phasor starts them within the
        block; those of bangs are started before: that is counted, too, and need not be within."""
        for name, layout in self.played(LANES):
            with self.subTest(players=name, layout=layout):
                for setting in ("", "_lowpass", "_all", "_autoenv"):
                    for frames, beginning, most in ((64, "bangs", 2.25), (128, "f0", 2)):
                        steady = self.cost(name, layout, frames, "holds" + setting)
                        block = self.cost(name, layout, frames, beginning + setting)
                        print(f"{name} {layout} {beginning}{setting}: {block / steady:.2f}")
                        self.assertLessEqual(block, most * steady, beginning + setting)

    def test_when_all_begin_and_end_in_one_block_it_costs_little_more(self):
        for name, layout in self.played(LANES):
            with self.subTest(players=name, layout=layout):
                for frames, beginning, most in ((64, "bangs_brief", 2.25), (128, "f0_brief", 2)):
                    steady = self.cost(name, layout, frames, "holds")
                    block = self.cost(name, layout, frames, beginning)
                    print(f"{name} {layout} {beginning}: {block / steady:.2f}")
                    self.assertLessEqual(block, most * steady, beginning)

    def test_the_cost_grows_with_the_fogs_and_no_faster(self):
        for name, layout in self.played(BOUNDS):
            with self.subTest(players=name, layout=layout):
                idle = self.cost(name, layout, 64, "idle", 0)
                for fogs in (1, 2, 3, 5, 8, 9, 17, 50, 100):
                    each = (self.cost(name, layout, 64, "crowd", fogs) - idle) / fogs / 64
                    bound = BOUNDS["none" if fogs == 1 else name][layout]
                    if fogs in (1, 100):
                        print(f"{name} {layout}, {fogs} fogs: {each:.1f} a fog and sample")
                    self.assertLessEqual(each, bound, f"{fogs} fogs")

    def test_an_idle_block_costs_next_to_nothing(self):
        for name, layout in self.played(BOUNDS):
            with self.subTest(players=name, layout=layout):
                for frames in (16, 64, 4096):
                    idle = self.cost(name, layout, frames, "idle", 0)
                    self.assertLessEqual(idle, 600 + (15 + 12 * layout[0]) * frames, f"{frames} frames")

    def test_fogs_that_are_refused_cost_little(self):
        for name, layout in self.played(LANES):
            with self.subTest(players=name, layout=layout):
                refusals = self.cost(name, layout, 4096, "refusals")
                none = self.cost(name, layout, 4096, "no_refusals")
                print(f"{name} {layout}: {(refusals - none) / 4096:.1f} a refusal")
                self.assertLessEqual(refusals - none, 110 * 4096)

    def test_silence_and_denormals_cost_no_more_than_sound(self):
        for name, layout in self.played(LANES):
            with self.subTest(players=name, layout=layout):
                sound = self.cost(name, layout, 64, "holds")
                for what in ("denormal_envelope", "silent_sample", "denormal_sample", "sample_over",
                             "no_sample"):
                    self.assertLessEqual(self.cost(name, layout, 64, what), sound, what)
                self.assertLessEqual(self.cost(name, layout, 64, "denormal_lowpass"),
                                     self.cost(name, layout, 64, "holds_lowpass"))


if __name__ == "__main__":
    unittest.main()
