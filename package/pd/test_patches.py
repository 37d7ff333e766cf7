"""In every window all boxes are inside, none hides another, and no cord runs over a third."""
import importlib.machinery
import importlib.util
import sys
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.dont_write_bytecode = True
import shapes  # noqa: E402

loader = importlib.machinery.SourceFileLoader("make_patches", str(HERE / "make-patches"))
make_patches = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
loader.exec_module(make_patches)


def overlap(a, b):
    return a[0] < b[0] + b[2] and b[0] < a[0] + a[2] and a[1] < b[1] + b[3] and b[1] < a[1] + a[3]


def runs_over(start, end, rect):
    """Whether a straight cord meets a box, whose edge it may touch."""
    (x0, y0), (x1, y1) = start, end
    x, y, width, height = rect
    first, last = 0.0, 1.0
    for at, way, low, high in ((x0, x1 - x0, x + 1, x + width - 1),
                               (y0, y1 - y0, y + 1, y + height - 1)):
        if way == 0:
            if not low < at < high:
                return False
            continue
        near, far = sorted(((low - at) / way, (high - at) / way))
        first, last = max(first, near), min(last, far)
    return first < last


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
            if k not in (source, target) and runs_over(start, end, rects[k]):
                yield f"a cord from {text[source]} runs over {text[k]}"


class Patches(unittest.TestCase):
    def test_layout(self):
        for source in make_patches.sources():
            _, windows = make_patches.read(source)
            for window in windows:
                with self.subTest(source.name, window=window.head):
                    found = list(faults(window))
                    self.assertFalse(found, "\n".join(["", *found]))


if __name__ == "__main__":
    unittest.main()
