"""Checks of how a patcher looks: nothing covered, cut off or out of the window."""
import shapes
from geometry import crosses, overlap


def shared(a, b, c, d):
    """How far two segments, both upright or both level, run on top of each other."""
    for along, across in (0, 1), (1, 0):
        if abs(a[across] - b[across]) < 1 and max(abs(p[across] - a[across]) for p in (c, d)) < 2:
            return (min(max(a[along], b[along]), max(c[along], d[along])) -
                    max(min(a[along], b[along]), min(c[along], d[along])))
    return 0


def check_layout(sheet):
    _, _, width, height = sheet.patcher["rect"]
    boxes = list(sheet.boxes.values())
    for number, box in enumerate(boxes):
        x, y, w, h = box["patching_rect"]
        if x < 0 or y < 0 or x + w > width or y + h > height:
            sheet.complain(box, "reaches beyond the window")
        if shapes.box_text(box):
            wanted_width, wanted_height = shapes.wanted_size(box)
            if w < wanted_width or h < wanted_height - 1:
                sheet.complain(box, "is too small for its text")
        for other in boxes[number + 1:]:
            if overlap(box["patching_rect"], other["patching_rect"]):
                sheet.complain(box, f"overlaps [{other.get('text') or other['maxclass']}]")
    paths = [(line, shapes.cord_path(line, sheet.boxes)) for line in sheet.lines]
    for number, (line, path) in enumerate(paths):
        stretches = list(zip(path, path[1:]))
        for box in boxes:
            if any(crosses(a, b, box["patching_rect"]) for a, b in stretches):
                sheet.complain(box, "a cord runs through it")
        for other, elsewhere in paths[number + 1:]:
            if line["source"] != other["source"] and line["destination"] != other["destination"]:
                if any(shared(a, b, c, d) > 2
                       for a, b in stretches for c, d in zip(elsewhere, elsewhere[1:])):
                    sheet.complain(sheet.boxes[line["source"][0]],
                                   "its cord hides one that leads elsewhere")


def check_words(sheet):
    for box, _ in sheet.objects("message", "toggle"):
        x, y, w, h = box["patching_rect"]
        if not any(overlap((x + w, y, 10, h), comment["patching_rect"])
                   for comment, _ in sheet.objects("comment")):
            sheet.complain(box, "no word stands beside it")
