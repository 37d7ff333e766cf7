"""In every window all boxes are inside, none hides another, and no cord runs over a third."""
import importlib.machinery
import importlib.util
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent)]
sys.dont_write_bytecode = True
import shapes  # noqa: E402
from geometry import crosses, overlap  # noqa: E402

loader = importlib.machinery.SourceFileLoader("make_patches", str(HERE / "make-patches"))
make_patches = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
loader.exec_module(make_patches)


def faults(window):
    rects, pins = window.rects, window.pins
    text = [box.split("\n")[-1] for box in window.boxes]
    titles = [k for k, box in enumerate(text) if " cnv " in box]
    free = [k for k in range(len(rects)) if k not in titles]
    for k in free:
        x, y, width, height = rects[k]
        if x < 0 or y < 0 or x + width > window.size[0] or y + height > window.size[1]:
            yield f"outside: {text[k]}"
        for other in free[:free.index(k)]:
            if overlap(rects[k], rects[other]):
                yield f"overlap: {text[other]} | {text[k]}"
    for source, outlet, name, inlet in window.wanted:
        target = window.named[name]
        if outlet >= pins[source][1] or inlet >= pins[target][0]:
            yield f"no such outlet or inlet: {text[source]} {outlet} > {text[target]} {inlet}"
            continue
        start = shapes.pin(rects[source], outlet, pins[source][1], True)
        end = shapes.pin(rects[target], inlet, pins[target][0], False)
        for k in free:
            if k not in (source, target) and crosses(start, end, rects[k]):
                yield f"a cord from {text[source]} runs over {text[k]}"


class Patches(unittest.TestCase):
    def test_layout(self):
        for source in make_patches.sources():
            _, windows = make_patches.read(source)
            for window in windows:
                with self.subTest(source.name, window=window.head):
                    found = list(faults(window))
                    self.assertFalse(found, "\n".join(["", *found]))


class Folder(unittest.TestCase):
    def test_what_was_made_before_goes_and_all_else_stays(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            others = {"k.vorb~.pd_linux", "mine.pd", "mine.wav"}
            for file in others | {"k.vorb_former.pd", "k.vorb_former.wav"}:
                (folder / file).touch()
            made = []
            for _ in range(2):
                subprocess.run([sys.executable, HERE / "make-patches", folder], check=True)
                made.append({file.name for file in folder.iterdir()} - others)
            self.assertEqual(made[0], made[1])
            self.assertFalse([file for file in made[0] if "former" in file])
            self.assertTrue(others <= {file.name for file in folder.iterdir()})


if __name__ == "__main__":
    unittest.main()
