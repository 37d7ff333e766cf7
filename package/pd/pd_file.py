"""The text of a Pd patch: boxes, the cords between them, and patches within it."""
import re


def escaped(text):
    """As a file has what a person types into a box."""
    text = re.sub(r"\s*([;,])", r" \\\1", text)
    return text.replace("$", "\\$").strip()


class Canvas:
    """A window of a patch; whatever adds a box returns its number, which cords go by."""

    def __init__(self, width=600, height=400, name=None, font=12):
        self.head = f"#N canvas 100 100 {width} {height} " + (f"{name} 0" if name else str(font))
        self.boxes, self.cords = [], []

    def raw(self, record):
        self.boxes.append(record)
        return len(self.boxes) - 1

    def obj(self, text, x=10, y=10):
        return self.raw(f"#X obj {x} {y} {escaped(text)}")

    def msg(self, text, x=10, y=10):
        return self.raw(f"#X msg {x} {y} {escaped(text)}")

    def sub(self, canvas, name, x=10, y=10):
        return self.raw(";\n".join([*canvas.records(), f"#X restore {x} {y} pd {name}"]))

    def cord(self, source, target, outlet=0, inlet=0):
        self.cords.append(f"#X connect {source} {outlet} {target} {inlet}")

    def chain(self, *boxes):
        """Cords from each box to the next, first outlet to first inlet; returns the last."""
        for source, target in zip(boxes, boxes[1:]):
            self.cord(source, target)
        return boxes[-1]

    def records(self):
        return [self.head, *self.boxes, *self.cords]

    def __str__(self):
        return ";\n".join(self.records()) + ";\n"
