"""What a patcher looks like: how wide its texts are, where cords leave, run and arrive."""

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
