"""What a patch looks like in Pd at font size 12: how large boxes are, where cords end."""
import textwrap

# Pixels: a character, a line of text, from one row to the next, from one message to that below.
COLUMN, LINE, ROW, STAIR = 7, 16, 27, 4
PIN = 7  # width of an inlet or outlet
WRAP = 60  # columns, where a box does not say

# Inlets and outlets of objects whose arguments do not matter.
PINS = {
    "*": (2, 1), "*~": (2, 1), "+": (2, 1), "+~": (2, 1), "-": (2, 1), "/": (2, 1),
    "catch~": (1, 1), "clip": (3, 1), "dac~": (2, 0), "expr": (1, 1), "f": (2, 1), "key": (0, 1),
    "keyup": (0, 1), "line~": (2, 1), "loadbang": (0, 1), "makenote": (3, 2), "metro": (2, 1),
    "mod": (2, 1), "moses": (2, 2), "mtof": (1, 1), "notein": (0, 3), "osc~": (2, 1),
    "phasor~": (2, 1), "poly": (2, 3), "r": (0, 1), "random": (2, 1), "r~": (0, 1), "s": (1, 0),
    "sig~": (1, 1), "soundfiler": (1, 2), "s~": (1, 0), "table": (0, 0), "tabread": (1, 1),
    "tabwrite": (2, 1), "throw~": (1, 0), "until": (2, 1), "vline~": (3, 1),
}


def lines(text, columns=0):
    return textwrap.wrap(text, columns or WRAP, break_long_words=False) or [""]


def height(count):
    return count * LINE + 5


def size(kind, text, columns=0):
    """Of a box with text, in pixels."""
    text = text.replace("; ", "\n;").lstrip("\n") if kind == "msg" else text
    rows = [row for part in text.split("\n") for row in lines(part, columns)]
    wide = columns or max(len(row) for row in rows)
    return max(wide, 3 if kind == "obj" else 1) * COLUMN + (8 if kind == "msg" else 4), height(
        len(rows))


def pins(kind, text):
    """How many inlets and outlets a box has."""
    if kind != "obj":
        return {"msg": (1, 1), "text": (0, 0)}[kind]
    name, *arguments = text.split()
    if name == "k.vorb~":
        return 9, int(arguments[0]) + 1
    if name in ("t", "unpack"):
        return 1, len(arguments)
    if name == "pack":
        return len(arguments), 1
    if name == "select" or name == "sel":
        return 2 if len(arguments) == 1 else 1, len(arguments) + 1
    if name not in PINS:
        raise ValueError("its inlets and outlets are not in the table: " + name)
    return PINS[name]


def pin(rect, index, count, bottom):
    """The middle of an inlet or outlet."""
    x, y, width, high = rect
    step = (width - PIN) * index / (count - 1) if count > 1 else 0
    return x + step + PIN / 2, y + (high if bottom else 0)
