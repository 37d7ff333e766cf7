"""Checks of the package's patchers: what a musician who opens them would stumble over."""
import math
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent)]
import shapes  # noqa: E402
import sheets  # noqa: E402
from check_layout import check_layout, check_words  # noqa: E402

HELP = "help/k.vorb~.maxhelp"
TABS = "basic", "envelope", "triggering", "space", "buffers", "limits", "?"
WIDEST, HIGHEST = 900, 700  # pixels of a window
OUTPUTS = "ezdac~", "dac~"
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


def are_numbers(values, count):
    return len(values) == count and all(type(value) in (int, float) and math.isfinite(value)
                                        for value in values)


def check_structure(sheet):
    """Boxes and cords as the host expects them; the other checks rely on this one."""
    for box in sheet.boxes.values():
        if not are_numbers(box.get("patching_rect", []), 4):
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
            elif index not in range(sheet.boxes[end].get(pins, 0)):
                sheet.complain(sheet.boxes[end], f"a cord at pin {index}, which it has not got")


def check_pins(sheet):
    for box in sheet.boxes.values():
        words = sheets.words_of(box)
        if "patcher" in box:
            continue
        try:
            inlets, types = shapes.pins(words)
        except (ValueError, LookupError) as failure:
            sheet.complain(box, str(failure))
            continue
        if (box["numinlets"], box.get("outlettype", [])) != (inlets, types):
            sheet.complain(box, f"should have {inlets} inlets, the outlets {types}")
        for key, value in (shapes.BUTTONS.get(words[0]) or [{}])[-1].items():
            if box.get(key) != value:
                sheet.complain(box, f"{key} is not {value}")
        if words[0] == "k.vorb~" and len(words) > 12:
            sheet.complain(box, "more than 11 arguments")


def check_cords(sheet):
    for box, _ in sheet.objects("message", "toggle", "loadmess", "metro"):
        if not any(sheet.out_of(box)):
            sheet.complain(box, "leads nowhere")
    for box, _ in sheet.objects("meter~", "scope~", "k.vorb~"):
        if not any(sheet.into(box)):
            sheet.complain(box, "nothing is plugged into it")


def arrivals(sheet, vorb):
    """What reaches a k.vorb~: source, inlet, the message, its known words, how many unknown."""
    kinds = {"number": "int", "flonum": "float"}
    for source, outlet, inlet in sheet.into(vorb):
        words = sheets.words_of(source)
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
        if len(words) != 3 or not (package / "media" / words[2]).is_file():
            sheet.complain(box, f"media/{' '.join(words[2:])} is missing")
        if words[1] in owners:
            sheet.complain(box, f"{owners[words[1]]} has a buffer~ of this name, too")
        owners[words[1]] = sheet.where
    for box, _ in sheet.objects("message"):
        order, *names = box["text"].split()
        wanted = {"loadunique": "*/{}", "load": "*/{}", "help": "help/{}.maxhelp"}.get(order)
        if wanted and not any(package.glob(wanted.format(*names))):
            sheet.complain(box, "there is no such patcher in the package")


def outputs_of(sheet, box, seen=()):
    """The inlets of outputs that the signals of a box lead to."""
    for outlet, target, inlet in sheet.out_of(box):
        if shapes.is_signal(box, outlet) and target["id"] not in seen:
            if sheets.words_of(target)[0] in OUTPUTS:
                yield target["id"], inlet
            else:
                yield from outputs_of(sheet, target, (*seen, target["id"]))


def factors(sheet, box):
    """What a *~ multiplies by: what a * sends to its right inlet, or its argument."""
    sources = [source for source, _, inlet in sheet.into(box) if inlet == 1] or [box]
    for words in map(sheets.words_of, sources):
        right = len(words) == 2 and words[0] in ("*~", "*") and NUMBER.fullmatch(words[1])
        yield float(words[1]) if right else math.inf


def check_level(sheet):
    heard = set()
    for vorb, _ in sheet.objects("k.vorb~"):
        found = set(outputs_of(sheet, vorb))
        if not found:
            sheet.complain(vorb, "no loudspeaker is behind it")
        heard |= found
    for box, _ in sheet.objects(*OUTPUTS):
        for inlet in range(box["numinlets"]):
            if (box["id"], inlet) not in heard:
                sheet.complain(box, f"no k.vorb~ is heard in channel {inlet + 1}")
        for source, _, _ in sheet.into(box):
            if sheets.words_of(source)[0] != "*~" or not all(
                    0 < abs(factor) <= LOUDEST for factor in factors(sheet, source)):
                sheet.complain(source, f"sounds without a *~ of at most {LOUDEST} behind it")


def check_root(root, lowest):
    """Of the patcher that a file holds: its window, and for which hosts it is."""
    expected = {"fileversion": 1, "classnamespace": "box", "openinpresentation": 0}
    for key, value in expected.items():
        if root.patcher.get(key) != value:
            root.complain(None, f"{key} is not {value}")
    made_for = root.patcher.get("appversion", {})
    if ".".join(str(made_for.get(key)) for key in ("major", "minor", "revision")) != lowest:
        root.complain(None, f"appversion is not the package's max_version_min, {lowest}")
    rect = root.patcher.get("rect", [])
    if not are_numbers(rect, 4) or not (0 < rect[2] <= WIDEST and 0 < rect[3] <= HIGHEST):
        root.complain(None, f"its window is not within {WIDEST} x {HIGHEST}")
    if not root.boxes:
        root.complain(None, "is empty")


def check_help(root, tabs):
    """Of a help patcher: its tabs, in their order."""
    names = tuple(tab.where.rsplit("tab ", 1)[-1] for tab in tabs)
    if names != TABS:
        root.complain(None, f"the tabs should be {TABS}, not {names}")
    x, y, width, height = root.patcher["rect"]
    for tab in tabs:
        if tab.patcher["rect"] != [0.0, 26.0, width, height - 26]:
            tab.complain(None, "is not of the size of the window")
        if tab.patcher.get("showontab") != 1:
            tab.complain(None, "showontab is not 1")
        check_words(tab)
    for tab in tabs[:-1]:
        for name in "k.vorb~", "ezdac~", "meter~":
            if not tab.objects(name):
                tab.complain(None, f"has no {name}")
        steps = sorted(box["text"] for box, _ in tab.objects("textbutton"))
        if len(steps) < 2 or steps != [str(number + 1) for number in range(len(steps))]:
            tab.complain(None, f"its steps are not numbered from 1: {steps}")


def check_file(found, name, package, lowest, messages, owners, used):
    root, tabs = found[0], [sheet for sheet in found if sheet.depth == 1]
    for sheet in found:
        check_structure(sheet)
    if any(sheet.complaints for sheet in found):
        return
    check_root(root, lowest)
    for sheet in found:
        check_pins(sheet)
        check_cords(sheet)
        check_messages(sheet, messages, used if name == HELP else set())
        check_files(sheet, package, owners)
        check_level(sheet)
        check_layout(sheet)
    if name == HELP:
        check_help(root, tabs)
        if any("double-click" in box.get("text", "") for tab in tabs for box in tab.boxes.values()):
            used.add("(mouse)")


def check(package):
    """All complaints about the patchers of a package folder, a line for each."""
    package = pathlib.Path(package)
    complaints, owners, used = [], {}, set()
    messages = read_messages(package / "docs" / "k.vorb~.maxref.xml")
    lowest = sheets.read_json(package / "package-info.json")["max_version_min"]
    for file in sheets.files(package):
        name = file.relative_to(package).as_posix()
        found = []
        try:
            found = sheets.read(file, name)
            check_file(found, name, package, lowest, messages, owners, used)
        except Exception as failure:  # whatever is missing in it; the other files are looked at
            complaints.append(f"{name}: is no patcher: {failure!r}")
        complaints += [line for sheet in found for line in sheet.complaints]
    if not (package / HELP).is_file():
        complaints.append(f"{HELP}: is missing")
    complaints += [f"{HELP}: the message {name} is not shown"
                   for name in sorted(messages.keys() - used)]
    return complaints
