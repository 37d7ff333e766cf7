"""The patchers as they are made have no fault, and each check notices when its rule is broken."""
import ctypes.util
import json
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path[:0] = [str(HERE), str(HERE.parent)]
import check_patchers  # noqa: E402
import maxref  # noqa: E402
import shapes  # noqa: E402
import sheets  # noqa: E402


class Tab:
    """A tab of the help patcher whose boxes are found by their texts."""

    def __init__(self, root, name):
        self.patcher, = (entry["box"]["patcher"] for entry in root["boxes"]
                         if entry["box"]["text"] == "p " + name)

    def box(self, text):
        return next(entry["box"] for entry in self.patcher["boxes"]
                    if text in (entry["box"].get("text"), entry["box"]["maxclass"]))

    def cord(self, text):
        return next(entry["patchline"] for entry in self.patcher["lines"]
                    if entry["patchline"]["source"][0] == self.box(text)["id"])

    def drop(self, maxclass):
        self.patcher["boxes"] = [entry for entry in self.patcher["boxes"]
                                 if entry["box"]["maxclass"] != maxclass]


def unplug(source, target, inlet=None):
    """Takes out the cords between two kinds of boxes, told by their texts or classes."""
    def apply(tab):
        names = {entry["box"]["id"]: (entry["box"].get("text"), entry["box"]["maxclass"])
                 for entry in tab.patcher["boxes"]}
        tab.patcher["lines"] = [
            entry for entry in tab.patcher["lines"]
            if source not in ("*", *names[entry["patchline"]["source"][0]])
            or target not in ("*", *names[entry["patchline"]["destination"][0]])
            or inlet not in (None, entry["patchline"]["destination"][1])]
    return apply


def box(found, /, **keys):
    return lambda tab: tab.box(found).update(keys)


def place(text, index, value):
    return lambda tab: tab.box(text)["patching_rect"].__setitem__(index, value)


def cord(found, /, **keys):
    return lambda tab: tab.cord(found).update(keys)


def from_box(text, inlet):
    return lambda tab: tab.cord(text)["destination"].__setitem__(1, inlet)


WRONG = {
    "id": "obj-99", "maxclass": "newobj", "text": "p inner", "numinlets": 0, "numoutlets": 0,
    "patching_rect": [700, 480, 60, 22],
    "patcher": {"rect": [0, 0, 100, 100], "lines": [], "boxes": [{"box": {
        "id": "obj-1", "maxclass": "newobj", "text": "k.vorb~ 3", "numinlets": 9, "numoutlets": 0,
        "patching_rect": [0, 0, 70, 22]}}]}}
VORB = "k.vorb~ 2 kvhelp_crowd 16 201 1 10 1.2 40 80 40 1"
# What is done to the tab "limits", and what is then said.
BREAKS = [
    (box("reset", id="obj-1"), "its id is not the only one"),
    (box("reset", patching_rect=[1, 2, 3]), "patching_rect is not four numbers"),
    (box("reset", outlettype=["", ""]), "outlettype does not fit numoutlets"),
    (box("ezdac~", outlettype=[]), "an empty outlettype"),
    (lambda tab: tab.box("reset").pop("numinlets"), "numinlets is missing"),
    (cord("reset", destination=["obj-999", 0]), "leads to obj-999"),
    (from_box("reset", 9), "a cord at pin 9"),
    (box(VORB, text=VORB.replace("2", "1", 1)), "should have 9 inlets, the outlets"),
    (box(VORB, text=VORB.replace("2", "3", 1)), "a number of outlets that does not exist"),
    (box(VORB, text=VORB + " 1"), "more than 11 arguments"),
    (box("*~ 0.3", numinlets=7), "should have 2 inlets, the outlets ['signal']"),
    (box("*~ 0.3", outlettype=["int"]), "should have 2 inlets, the outlets ['signal']"),
    (box("metro 200", text="frobnicate 2"), "are not in the table: frobnicate"),
    (box("metro 200", text="t x"), "[t x]: 'x'"),
    (box("toggle", maxclass="gizmo"), "are not in the table: gizmo"),
    (box("ezdac~", local=0), "local is not 1"),
    (place("reset", 0, float("nan")), "patching_rect is not four numbers"),
    (from_box("reset", 0.5), "a cord at pin 0.5"),
    (lambda tab: tab.box("reset").pop("maxclass"), "is no patcher: KeyError('maxclass')"),
    (unplug("reset", VORB), "[reset]: leads nowhere"),
    (unplug("*~ 0.3", "meter~"), "[meter~]: nothing is plugged into it"),
    (unplug("*", VORB), "40 1]: nothing is plugged into it"),
    (unplug(VORB, "*~ 0.3"), "no loudspeaker is behind it"),
    (unplug("*~ 0.3", "ezdac~", 1), "no k.vorb~ is heard in channel 2"),
    (box("*~ 0.3", text="*~ -5"), "without a *~ of at most 0.3"),
    (box("*~ 0.3", text="*~ 0"), "without a *~ of at most 0.3"),
    (box("*~ 0.3", text="+~ 0.3"), "without a *~ of at most 0.3"),
    (box(VORB, text=VORB.replace("crowd", "cloud")), "there is no buffer~ kvhelp_cloud beside it"),
    (box("reset", text="rest"), "does not know the message rest"),
    (box("reset", text="bang"), "the message reset is not shown"),
    (box("limit 12 13", text="limit 6"), "limit takes 2 to 2 arguments, not 1"),
    (box("limit 12 13", text="tex 1, limit 6 30 9"), "limit takes 2 to 2 arguments, not 3"),
    (box("limit 12 13", text="prepend pan", maxclass="newobj", numinlets=1),
     "pan takes 2 to 2 arguments, not 1"),
    (from_box("reset", 4), "inlet 4 does not answer reset"),
    (box("reset", text="502"), "there is no buffer~ sample502 in this patcher"),
    (box("reset", text="set kvhelp_ah"), "there is no buffer~ kvhelp_ah in this patcher"),
    (box("buffer~ kvhelp_crowd k.vorb_vowel_o.wav", text="buffer~ kvhelp_crowd k.vorb_no.wav"),
     "media/k.vorb_no.wav is missing"),
    (box("buffer~ kvhelp_crowd k.vorb_vowel_o.wav", text="buffer~ kvhelp_ah k.vorb_vowel_o.wav"),
     "tab basic has a buffer~ of this name"),
    (box("reset", text="load k.vorb_nothing.maxpat"), "there is no such patcher"),
    (box("reset", text="loadunique k.vorb_no.maxpat"), "there is no such patcher"),
    (box("reset", text="help k.vorb"), "there is no such patcher"),
    (box("*~ 0.3", text="*~ 0.9"), "without a *~ of at most 0.3"),
    (place("reset", 0, 800), "reaches beyond the window"),
    (place("reset", 2, 20), "is too small for its text"),
    (place("ends all fogs", 3, 10), "is too small for its text"),
    (place("reset", 1, 225), "overlaps"),
    (place("ends all fogs", 0, 150), "no word stands beside it"),
    (place("five times a second", 0, 700), "[toggle]: no word stands beside it"),
    (cord("5, 200 6000", midpoints=[62, 145, 62, 155, 39.5, 155]), "a cord runs through it"),
    (cord("test 1", midpoints=[309.5, 232, 39.5, 200]), "a cord runs through it"),
    (cord("metro 200", midpoints=[39.5, 200, 39.5, 290]), "its cord hides one"),
    (lambda tab: tab.drop("meter~"), "leads to obj-"),
    (box("textbutton", text="7"), "its steps are not numbered from 1"),
    (lambda tab: tab.patcher.update(showontab=0), "showontab is not 1"),
    (lambda tab: tab.patcher["rect"].__setitem__(2, 900.0), "is not of the size of the window"),
    (lambda tab: tab.patcher.pop("lines"), "is no patcher"),
    (lambda tab: tab.patcher["boxes"].append({"box": WRONG}), "tab limits, tab inner: [k.vorb~ 3]"),
]
# What is done to the patcher that holds the tabs.
ROOT_BREAKS = [
    (lambda root: root.update(openinpresentation=1), "openinpresentation is not 0"),
    (lambda root: root.pop("fileversion"), "fileversion is not 1"),
    (lambda root: root.pop("classnamespace"), "classnamespace is not box"),
    (lambda root: root["appversion"].update(major=9), "appversion is not"),
    (lambda root: root.pop("rect"), "its window is not within"),
    (lambda root: root["rect"].__setitem__(2, 3000.0), "its window is not within"),
    (lambda root: root.update(boxes=[]), "is empty"),
    (lambda root: root["boxes"].append({"box": {**WRONG, "id": "x"}}), "tab inner: [k.vorb~ 3]"),
    (lambda root: root["lines"].append({"patchline": {
        "source": ["obj-77", 0], "destination": ["obj-78", 0]}}), "a cord leads to obj-77"),
    (lambda root: root["boxes"][1]["box"].update(text="p limits"), "the tabs should be"),
]


class Patchers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.package = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.package)
        subprocess.run([sys.executable, HERE / "make-patchers", cls.package], check=True)
        reference = maxref.Reference((ROOT / "docs/reference.md").read_text("utf-8"))
        for folder in "docs", "media":
            (cls.package / folder).mkdir()
        (cls.package / "docs/k.vorb~.maxref.xml").write_text(reference.page(), "utf-8")
        for sound in (ROOT / "media").glob("*.wav"):
            (cls.package / "media" / sheets.media_name(sound)).touch()
        shutil.copy(HERE.parent / "package-info.json", cls.package)
        cls.help = cls.package / check_patchers.HELP
        cls.intact = cls.help.read_text("utf-8")

    def tearDown(self):
        self.help.write_text(self.intact, "utf-8")

    def complaints(self, change):
        content = json.loads(self.intact)
        change(content["patcher"])
        self.help.write_text(json.dumps(content), "utf-8")
        return check_patchers.check(self.package)

    def assertSaid(self, said, expected):
        self.assertTrue(any(expected in line for line in said), f"{expected} is not in {said}")

    def test_nothing_is_wrong_with_what_is_made(self):
        self.assertEqual(check_patchers.check(self.package), [])

    def test_each_broken_rule_is_reported_with_its_tab(self):
        for change, expected in BREAKS:
            with self.subTest(expected):
                said = self.complaints(lambda root: change(Tab(root, "limits")))
                self.assertSaid(said, expected)
                self.assertTrue(all(line.startswith(check_patchers.HELP) for line in said), said)

    def test_each_broken_rule_of_the_window_is_reported(self):
        for change, expected in ROOT_BREAKS:
            with self.subTest(expected):
                self.assertSaid(self.complaints(change), expected)

    def test_every_folder_is_looked_into_and_no_fault_hides_another(self):
        for name in "docs/k.vorb_x.maxpat", "examples/sub/k.vorb_y.maxpat":
            file = self.package / name
            file.parent.mkdir(exist_ok=True)
            file.write_text('{"patcher": {}, "patcher": {}}', "utf-8")
            self.addCleanup(file.unlink)
        said = self.complaints(lambda root: box("reset", text="rest")(Tab(root, "limits")))
        for expected in "k.vorb_x.maxpat: is no", "k.vorb_y.maxpat: is no", "the message rest":
            self.assertSaid(said, expected)

    def test_a_level_that_a_cord_sets_is_looked_at(self):
        file = self.package / "examples/k.vorb_cloud.maxpat"
        intact = file.read_text("utf-8")
        self.addCleanup(file.write_text, intact, "utf-8")
        file.write_text(intact.replace('"* 0.3"', '"* 9."'), "utf-8")
        self.assertSaid(check_patchers.check(self.package), "without a *~ of at most 0.3")

    def test_tabs_have_their_order(self):
        def swap(root):
            first, *_, last = (entry["box"]["patching_rect"] for entry in root["boxes"])
            first[0], last[0] = last[0], first[0]
        self.assertSaid(self.complaints(swap), "the tabs should be")

    def test_a_tab_without_meter_is_reported(self):
        def take_out(root):
            tab = Tab(root, "basic")
            meters = {entry["box"]["id"] for entry in tab.patcher["boxes"]
                      if entry["box"]["maxclass"] == "meter~"}
            tab.drop("meter~")
            tab.patcher["lines"] = [entry for entry in tab.patcher["lines"]
                                    if entry["patchline"]["destination"][0] not in meters]
        self.assertSaid(self.complaints(take_out), "has no meter~")

    def test_a_waveform_without_buffer_is_reported(self):
        self.assertSaid(self.complaints(lambda root: Tab(root, "buffers").box("waveform~").update(
            buffername="kvhelp_ah")), "shows no buffer~ of this patcher: kvhelp_ah")

    def test_a_missing_help_patcher_is_reported(self):
        self.help.unlink()
        self.assertSaid(check_patchers.check(self.package), "is missing")

    @unittest.skipUnless(ctypes.util.find_library("cairo"), "cairo draws the pictures")
    def test_every_tab_and_patcher_is_drawn_as_it_is(self):
        out = self.package / "pictures"

        def drawn():
            subprocess.run([sys.executable, HERE / "draw-patchers", self.package, out], check=True)
            return {path.stem: path.read_bytes() for path in out.iterdir()}
        before = drawn()
        self.assertEqual(len(before), len(json.loads(self.intact)["patcher"]["boxes"]) +
                         len(list(self.package.rglob("*.maxpat"))))
        self.assertEqual(struct.unpack(">II", before["k.vorb~-1-basic"][16:24]), (1660, 1008))
        for change in box("reset", text="bang"), cord("reset", midpoints=[1, 1]):
            self.complaints(lambda root: change(Tab(root, "limits")))
            after = drawn()
            self.assertEqual([name for name in before if before[name] != after[name]],
                             ["k.vorb~-6-limits"])


class Shapes(unittest.TestCase):
    def test_widths_are_those_of_the_font(self):
        self.assertAlmostEqual(shapes.text_width("Wail~", 1000), 944 + 556 + 222 + 222 + 584)
        self.assertEqual(shapes.text_width("i\nmm"), shapes.text_width("mm"))

    def test_pins_spread_over_the_width(self):
        self.assertEqual([shapes.pin_x([100, 0, 119, 22], pin, 3) for pin in range(3)],
                         [109.5, 159.5, 209.5])

    def test_a_free_cord_bends_between_its_ends(self):
        boxes = {"a": {"patching_rect": [0, 0, 40, 22], "numoutlets": 1},
                 "b": {"patching_rect": [100, 100, 40, 22], "numinlets": 1}}
        path = shapes.cord_path({"source": ["a", 0], "destination": ["b", 0]}, boxes)
        self.assertEqual((path[0], path[-1]), ((9.5, 22), (109.5, 100)))
        self.assertEqual(path[12], (59.5, 61))


if __name__ == "__main__":
    unittest.main()
