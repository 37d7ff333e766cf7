"""What a box has and looks like: inlets, outlets, the width of texts, where cords leave and run."""

# Advance widths of Arial, in thousandths of the size of the font.
_WIDTHS = {c: width for width, characters in {
    191: "'", 222: "ijl", 260: "|", 278: " !,./:;I[\\]ft", 333: "()-`r", 334: "{}", 355: '"',
    389: "*", 469: "^", 500: "Jcksvxyz", 556: "#$?L_0123456789abdeghnopqu", 584: "+<=>~",
    611: "FTZ", 667: "&ABEKPSVXY", 722: "CDHNRUw", 778: "GOQ", 833: "Mm", 889: "%", 944: "W",
    1015: "@"}.items() for c in characters}

TEXT_CLASSES = {"newobj": 10, "message": 10, "comment": 8}  # and what a text needs beside it


def text_width(text, size=12.0):
    """Of the longest line; a character that is not in the table counts as a wide one."""
    return max(sum(_WIDTHS.get(c, 1015) for c in line) for line in text.split("\n")) * size / 1000


def text_height(text, size=12.0):
    """Of all lines; a comment of one line of 12 points is 20 pixels high, one of two 33."""
    return round(6.6 + (text.count("\n") + 1) * size * 1.117)


def box_text(box):
    """The text shown in a box, or none: textbuttons hold theirs as a label."""
    return box.get("text", "") if box["maxclass"] in TEXT_CLASSES else ""


def font_size(box):
    return box.get("fontsize", 12.0)


def wanted_size(box):
    """The least width and height with which the box shows its text whole, in one piece."""
    text, size = box_text(box), font_size(box)
    bold = 1.1 if box.get("fontface") else 1
    return (text_width(text, size) * bold + TEXT_CLASSES[box["maxclass"]],
            text_height(text, size))


def pin_x(rect, index, count):
    """Inlets and outlets stand in even distances, the outer ones 9.5 pixels from the corners."""
    x, _, width, _ = rect
    if width < 19:
        return x + width / 2
    return x + 9.5 + (index * (width - 19) / (count - 1) if index else 0)


def outlet(box, index):
    rect = box["patching_rect"]
    return pin_x(rect, index, box["numoutlets"]), rect[1] + rect[3]


def inlet(box, index):
    rect = box["patching_rect"]
    return pin_x(rect, index, box["numinlets"]), rect[1]


def is_signal(source, index):
    return source["outlettype"][index] == "signal"


def cord_path(line, boxes):
    """The points of a cord: through its midpoints, or without any along a curve."""
    (source, out), (target, into) = line["source"], line["destination"]
    (x0, y0), (x3, y3) = outlet(boxes[source], out), inlet(boxes[target], into)
    middle = line.get("midpoints", [])
    if middle or abs(x0 - x3) < 1:
        return [(x0, y0), *zip(middle[::2], middle[1::2]), (x3, y3)]
    bend = max(20, abs(y3 - y0) / 2)  # a cubic curve that leaves and arrives vertically
    path = []
    for step in range(25):
        t = step / 24
        a, b, c, d = (1 - t) ** 3, 3 * t * (1 - t) ** 2, 3 * t * t * (1 - t), t ** 3
        path.append(((a + b) * x0 + (c + d) * x3, (a + b) * y0 + (c + d) * y3 + (b - c) * bend))
    return path


# Inlets, and the kinds of the outlets ("-" is anything).
OBJECTS = {
    "buffer~": (1, "float bang"), "sig~": (1, "signal"), "line~": (2, "signal bang"),
    "*~": (2, "signal"), "+~": (2, "signal"), "phasor~": (2, "signal"), "cycle~": (2, "signal"),
    "loadmess": (1, "-"), "prepend": (1, "-"), "pcontrol": (1, "-"), "mtof": (1, "-"),
    "metro": (2, "bang"), "random": (2, "int"), "*": (2, "int"), "+": (2, "int"), "!-": (2, "int"),
    "notein": (1, "int int int"), "stripnote": (2, "- -"),
    "message": (2, "-"), "comment": (1, ""), "textbutton": (1, "- - int"),
}
# User-interface objects also have a size, and keys of their own.
BUTTONS = {
    "number": (1, "- bang", 50, 22, {}), "flonum": (1, "- bang", 50, 22, {"format": 6}),
    "toggle": (1, "int", 24, 24, {}),
    "kslider": (2, "int int", 336, 53, {}), "ezdac~": (2, "", 45, 45, {"local": 1}),
    "meter~": (1, "float", 15, 45, {}),
    # Half a second, whose fogs may be a little louder than 1: samples per pixel, and the height.
    "scope~": (2, "", 150, 90, {"calccount": 150, "range": [-1.2, 1.2]}),
    "waveform~": (5, "float float float float list -", 256, 64, {}),
}


def pins(words):
    """Inlets, and the types of the outlets; for some objects they depend on the arguments."""
    name, count = words[0], len(words) - 1
    kinds = {"b": "bang", "f": "float", "i": "int", "l": "-"}
    if name == "k.vorb~":
        layout = "".join(words[1:2]) or "1"
        if layout not in ("1", "2", "4", "6", "10"):
            raise ValueError("a number of outlets that does not exist")
        inlets, types = 9, "signal " * int(layout) + "int"
    elif name == "pack":
        inlets, types = count, "-"
    elif name in ("t", "unpack"):
        inlets, types = 1, " ".join(kinds[word] for word in words[1:])
    elif name == "cycle":
        inlets, types = 1, "- " * int(words[1])
    elif name == "dac~":
        inlets, types = count, ""
    else:
        inlets, types, *_ = (OBJECTS | BUTTONS).get(name) or (None, "")
        if inlets is None:
            raise ValueError("its inlets and outlets are not in the table: " + name)
        if name == "*" and "." in words[1]:
            types = "float"
    return inlets, ["" if kind == "-" else kind for kind in types.split()]
