"""Checks of the package's patchers: what a musician who opens them would stumble over."""
import json
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import shapes  # noqa: E402

FOLDERS = ("help", "examples", "extras", "patchers")
HELP = "help/k.vorb~.maxhelp"
LOUDEST = 0.3
NUMBER = re.compile(r"[-+]?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?|\$\d")


def read_messages(page):
    """From a reference page: what each message takes at least and at most, and at which inlets."""
    table = {}
    for method in ElementTree.parse(page).getroot().iter("method"):
        arguments = method.findall("arglist/arg")
        needed = [a for a in arguments if a.get("optional") != "1"]
        endless = any(a.get("type") == "list" for a in arguments)
        inlets = re.findall(r"\d+", " ".join(re.findall(r"Inlets?:? [\d, ]+",
                                                        "".join(method.itertext()))))
        table[method.get("name")] = (len(needed), 10 if endless else len(arguments),
                                     {int(inlet) for inlet in inlets})
    return table


class Sheet:
    """One patcher or tab, and what is wrong with it."""

    def __init__(self, where, patcher):
        self.where, self.patcher, self.complaints = where, patcher, []
        self.boxes = {}
        for entry in patcher["boxes"]:
            box = entry["box"]
            if box.get("id") in self.boxes:
                self.complain(box, "its id is not the only one of this name")
            self.boxes[box.get("id")] = box
        self.lines = [entry["patchline"] for entry in patcher["lines"]]

    def complain(self, box, what):
        name = f"[{box.get('text') or box.get('maxclass')}]: " if box else ""
        self.complaints.append(f"{self.where}: {name}{what}".replace("\n", " "))

    def objects(self, name):
        """Each object of that name, with the words in its box."""
        for box in self.boxes.values():
            words = box.get("text", "").split() if box["maxclass"] == "newobj" else []
            if words[:1] == [name] or box["maxclass"] == name:
                yield box, words or [name]

    def into(self, target):
        """What is plugged into a box: source, outlet, inlet."""
        for line in self.lines:
            if line["destination"][0] == target["id"]:
                yield self.boxes[line["source"][0]], line["source"][1], line["destination"][1]


def check_structure(sheet):
    """Boxes and cords as the host expects them; the other checks rely on this one."""
    for box in sheet.boxes.values():
        rect = box.get("patching_rect", [])
        if len(rect) != 4 or not all(isinstance(number, (int, float)) for number in rect):
            sheet.complain(box, "patching_rect is not four numbers")
        if len(box.get("outlettype", [])) != box.get("numoutlets"):
            sheet.complain(box, "outlettype does not fit numoutlets")
        if "outlettype" in box and not box["outlettype"]:
            sheet.complain(box, "an empty outlettype")
        if not isinstance(box.get("numinlets"), int):
            sheet.complain(box, "numinlets is missing")
    for line in sheet.lines:
        ends = (line["source"], "numoutlets"), (line["destination"], "numinlets")
        for (end, index), pins in ends:
            if end not in sheet.boxes:
                sheet.complain(None, f"a cord leads to {end}, which is not there")
            elif not 0 <= index < sheet.boxes[end].get(pins, 0):
                sheet.complain(sheet.boxes[end], f"a cord at pin {index}, which it has not got")


def check_vorb(sheet):
    for box, words in sheet.objects("k.vorb~"):
        layout = words[1] if len(words) > 1 else "1"
        if layout not in ("1", "2", "4", "6", "10"):
            sheet.complain(box, "a number of outlets that does not exist")
        elif box["numinlets"] != 9 or box["outlettype"] != ["signal"] * int(layout) + ["int"]:
            sheet.complain(box, f"should have 9 inlets, {layout} signal outlets, an int outlet")
        if len(words) > 12:
            sheet.complain(box, "more than 11 arguments")


def arrivals(sheet, vorb):
    """What reaches a k.vorb~: source, inlet, the message, its known words, how many unknown."""
    kinds = {"number": "int", "flonum": "float"}
    for source, outlet, inlet in sheet.into(vorb):
        words = source.get("text", "").split()
        if source["maxclass"] == "message" or words[:1] == ["loadmess"]:
            text = source["text"] if source["maxclass"] == "message" else " ".join(words[1:])
            for message in text.split(","):
                atoms = message.split() or [""]
                if len(atoms) > 1 and NUMBER.fullmatch(atoms[0]):
                    yield source, inlet, "list", atoms, 0
                elif NUMBER.fullmatch(atoms[0]):
                    yield source, inlet, "float" if "." in atoms[0] else "int", atoms, 0
                else:
                    yield source, inlet, atoms[0], atoms[1:], 0
        elif words[:1] == ["prepend"]:
            yield source, inlet, words[1], words[2:], 1
        else:
            kind = source["outlettype"][outlet]
            yield source, inlet, kinds.get(source["maxclass"], kind), [], int(kind != "bang")


def check_messages(sheet, messages, used):
    buffers = {words[1] for _, words in sheet.objects("buffer~")}
    for vorb, words in sheet.objects("k.vorb~"):
        if len(words) > 2 and words[2] not in buffers:
            sheet.complain(vorb, f"there is no buffer~ {words[2]} beside it")
        for source, inlet, name, atoms, unknown in arrivals(sheet, vorb):
            used.add(name)
            count = len(atoms) + unknown
            if name not in messages:
                sheet.complain(source, f"k.vorb~ does not know the message {name}")
                continue
            least, most, inlets = messages[name]
            if name != "signal" and not least <= count <= most:
                sheet.complain(source, f"{name} takes {least} to {most} arguments, not {count}")
            if inlet not in inlets:
                sheet.complain(source, f"inlet {inlet} does not answer {name}")
            table = {"set": "".join(atoms), "int": f"sample{''.join(atoms)}"}.get(name)
            if table and atoms and inlet == 0 and table not in buffers:
                sheet.complain(source, f"there is no buffer~ {table} in this patcher")
    for wave, _ in sheet.objects("waveform~"):
        if wave.get("buffername") not in buffers:
            sheet.complain(wave, f"shows no buffer~ of this patcher: {wave.get('buffername')}")


def check_files(sheet, package, owners):
    for box, words in sheet.objects("buffer~"):
        if len(words) > 2 and not (package / "media" / words[2]).is_file():
            sheet.complain(box, f"media/{words[2]} is missing")
        if words[1] in owners:
            sheet.complain(box, f"{owners[words[1]]} has a buffer~ of this name, too")
        owners[words[1]] = sheet.where
    for box in sheet.boxes.values():
        if box["maxclass"] == "message" and box["text"].startswith("load "):
            if not any((package / folder / box["text"][5:]).is_file() for folder in FOLDERS):
                sheet.complain(box, "there is no such patcher in the package")


def check_level(sheet):
    for name in "ezdac~", "dac~":
        for box, _ in sheet.objects(name):
            for source, _, _ in sheet.into(box):
                words = source.get("text", "").split()
                level = words[1] if len(words) == 2 and words[0] == "*~" else ""
                if not NUMBER.fullmatch(level) or float(level) > LOUDEST:
                    sheet.complain(source, f"sounds without a *~ of at most {LOUDEST} behind it")


def overlap(one, other):
    (x, y, w, h), (u, v, s, t) = one, other
    return x < u + s and u < x + w and y < v + t and v < y + h


def crosses(a, b, rect):
    """Whether the segment from a to b has a point within the rectangle (clipped at its sides)."""
    low, high = 0.0, 1.0
    for axis in 0, 1:
        start, along = a[axis], b[axis] - a[axis]
        near, far = rect[axis], rect[axis] + rect[axis + 2]
        if not along:
            if not near < start < far:
                return False
            continue
        first, last = sorted(((near - start) / along, (far - start) / along))
        low, high = max(low, first), min(high, last)
    return low < high


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
            x, y, w, h = box["patching_rect"]
            if any(crosses(a, b, (x + 1, y + 1, w - 2, h - 2)) for a, b in stretches):
                sheet.complain(box, "a cord runs through it")
        for other, elsewhere in paths[number + 1:]:
            if line["source"] != other["source"] and line["destination"] != other["destination"]:
                if any(shared(a, b, c, d) > 2
                       for a, b in stretches for c, d in zip(elsewhere, elsewhere[1:])):
                    sheet.complain(sheet.boxes[line["source"][0]],
                                   "its cord hides one that leads elsewhere")


def check_words(sheet):
    for box, _ in sheet.objects("message"):
        x, y, w, h = box["patching_rect"]
        if not any(overlap((x + w, y, 10, h), comment["patching_rect"])
                   for comment, _ in sheet.objects("comment")):
            sheet.complain(box, "no word stands beside it")


def check_help(sheets, complaints):
    """Of a help patcher: its tabs, in their order."""
    names = [sheet.where.rsplit("tab ", 1)[-1] for sheet in sheets]
    if names[:1] != ["basic"] or names[-1:] != ["?"]:
        complaints.append(f"{HELP}: the tabs should begin with basic and end with ?, not {names}")
    if len({tuple(sheet.patcher["rect"]) for sheet in sheets}) > 1:
        complaints.append(f"{HELP}: not all tabs are of one size")
    for sheet in sheets:
        if sheet.patcher.get("showontab") != 1:
            sheet.complain(None, "showontab is not 1")
    for sheet in sheets[:-1]:
        for name in "k.vorb~", "ezdac~", "meter~":
            if not any(sheet.objects(name)):
                sheet.complain(None, f"has no {name}")
        steps = sorted(box["text"] for box, _ in sheet.objects("textbutton"))
        if len(steps) < 2 or steps != [str(number + 1) for number in range(len(steps))]:
            sheet.complain(None, f"its steps are not numbered from 1: {steps}")


def strings(value):
    if isinstance(value, str):
        yield value
    elif isinstance(value, (dict, list)):
        for part in value.values() if isinstance(value, dict) else value:
            yield from strings(part)


def read_sheets(file, name):
    """The sheets of a file: its tabs, or the patcher itself."""
    content = json.loads(file.read_text(encoding="utf-8"))
    if list(content) != ["patcher"]:
        raise ValueError("not one patcher")
    root = Sheet(name, content["patcher"])
    tabs = sorted((box for box in root.boxes.values() if "patcher" in box),
                  key=lambda box: box["patching_rect"][0])
    return content, [root] if not tabs else [
        Sheet(f"{name}, tab {box['text'].removeprefix('p ')}", box["patcher"]) for box in tabs]


def check(package):
    """All complaints about the patchers of a package folder, a line for each."""
    package = pathlib.Path(package)
    complaints, owners, used = [], {}, set()
    messages = read_messages(package / "docs" / "k.vorb~.maxref.xml")
    for folder in FOLDERS:
        for file in sorted(package.glob(f"{folder}/*.max[hp]*")):
            name = file.relative_to(package).as_posix()
            try:
                content, sheets = read_sheets(file, name)
            except (ValueError, KeyError) as failure:
                complaints.append(f"{name}: is no patcher: {failure}")
                continue
            for sheet in sheets:
                check_structure(sheet)
                if not sheet.complaints:
                    check_vorb(sheet)
                    check_messages(sheet, messages, used if name == HELP else set())
                    check_files(sheet, package, owners)
                    check_level(sheet)
                    check_layout(sheet)
                    if name == HELP:
                        check_words(sheet)
            if name == HELP:
                check_help(sheets, complaints)
                if any("double-click" in text for text in strings(content)):
                    used.add("(mouse)")
            complaints += [line for sheet in sheets for line in sheet.complaints]
    if not (package / HELP).is_file():
        complaints.append(f"{HELP}: is missing")
    complaints += [f"{HELP}: the message {name} is not shown"
                   for name in sorted(messages.keys() - used)]
    return complaints
