"""The patchers of a folder as sheets: each patcher, tab and sub-patcher, with boxes and cords."""
import json


def media_name(sound):
    """Of a sound in a package; those of all packages meet in one search path."""
    return "k.vorb_" + sound.name.replace("-", "_")


def files(folder):
    return sorted(path for path in folder.rglob("*") if path.suffix in (".maxpat", ".maxhelp"))


def once(pairs):
    """An object in JSON whose keys differ: of two alike, a reader would pass over the first."""
    found = dict(pairs)
    if len(found) < len(pairs):
        raise ValueError(f"a key stands there twice: {[key for key, _ in pairs]}")
    return found


def read_json(file):
    return json.loads(file.read_text("utf-8"), object_pairs_hook=once)


def words_of(box):
    """The words in an object's box; what has a look of its own has just its name."""
    return box["text"].split() if box["maxclass"] == "newobj" else [box["maxclass"]]


class Sheet:
    """One patcher or tab, and what is wrong with it."""

    def __init__(self, where, patcher, depth):
        self.where, self.patcher, self.depth, self.complaints = where, patcher, depth, []
        self.boxes = {}
        for entry in patcher["boxes"]:
            box = entry["box"]
            if box["id"] in self.boxes:
                self.complain(box, "its id is not the only one of this name")
            self.boxes[box["id"]] = box
        self.lines = [entry["patchline"] for entry in patcher["lines"]]

    def complain(self, box, what):
        name = f"[{box.get('text') or box.get('maxclass')}]: " if box else ""
        self.complaints.append(f"{self.where}: {name}{what}".replace("\n", " "))

    def objects(self, *names):
        """Each object of these names, with the words in its box."""
        return [(box, words_of(box)) for box in self.boxes.values() if words_of(box)[0] in names]

    def into(self, target):
        """What is plugged into a box: source, outlet, inlet."""
        for line in self.lines:
            if line["destination"][0] == target["id"]:
                yield self.boxes[line["source"][0]], line["source"][1], line["destination"][1]

    def out_of(self, source):
        """What a box is plugged into: outlet, target, inlet."""
        for line in self.lines:
            if line["source"][0] == source["id"]:
                yield line["source"][1], self.boxes[line["destination"][0]], line["destination"][1]


def walk(patcher, where, depth=0):
    """The patcher and all within it; tabs stand in the order of their boxes."""
    yield (sheet := Sheet(where, patcher, depth))
    inner = [box for box in sheet.boxes.values() if "patcher" in box]
    for box in sorted(inner, key=lambda box: box["patching_rect"][0]):
        yield from walk(box["patcher"], f"{where}, tab {box['text'].removeprefix('p ')}", depth + 1)


def read(file, name):
    content = read_json(file)
    if list(content) != ["patcher"]:
        raise ValueError("not one patcher")
    return list(walk(content["patcher"], name))
