"""Turns docs/reference.md, which the tests hold against the object, into Max's reference page."""
import re
from xml.sax.saxutils import escape

DIGEST = "Real-time granular synthesis"
METHOD_DIGESTS = {
    "bang": "Start a fog",
    "float": "Start a fog after a delay, or set what an inlet sets",
    "int": "Choose a numbered sample, or set what an inlet sets",
    "signal": "Start a fog in each period",
    "list": "Set the amplitudes of the outputs",
    "set": "Choose the buffer",
    "offset": "Set where in the sample fogs begin",
    "transp": "Set how fast fogs read the sample",
    "bw": "Set how fast fogs die away",
    "amp": "Set the amplitude of all outputs",
    "tex": "Set the length of the attack",
    "debatt": "Set when the attenuation begins",
    "atten": "Set the length of the attenuation",
    "lp": "Set a lowpass that may close while a fog sounds",
    "env": "Set the whole envelope at once",
    "autoenv": "Let the envelope follow F0",
    "f0phase": "Set the phase of F0",
    "all": "Let fogs end with the sample",
    "gain": "Set the master gain",
    "pan": "Place fogs between left and right",
    "angle": "Place fogs around four loudspeakers",
    "pan8": "Place fogs on a ring of eight loudspeakers",
    "panb": "Place fogs in first-order B-format",
    "direction": "Place fogs in a cube of eight loudspeakers, by coordinates",
    "polar": "Place fogs in a cube of eight loudspeakers, by angles",
    "aux1": "Set the level of the first aux send",
    "aux2": "Set the level of the second aux send",
    "maxfogs": "Set how many fogs may sound at once",
    "reset": "End every fog",
    "limit": "Shorten fogs before the pool is full",
    "freefogs": "Ask for the number of free fogs",
    "usedfogs": "Ask for the number of used fogs",
    "silent": "Turn the warnings of a full pool off or on",
    "test": "Print debug lines for one block",
    "(mouse)": "Double-click to open the buffer",
}
UNNAMED = {"float": ["VALUE"], "int": ["N"], "list": ["AMPLITUDES"]}  # their arguments
SEE_ALSO = "buffer~", "groove~", "phasor~", "waveform~"
NOT_HERE = re.compile(r"\*(Least|Channel|Try)\*|`1e38`|]\(")  # columns, shorthand, links


def sections(text):
    """(title, blocks); a block is a table (rows by the heads of their columns), or a paragraph."""
    for section in re.split(r"^##? ", text, flags=re.M)[1:]:
        title, body = section.split("\n", 1)
        blocks = []
        for block in re.split(r"\n\n|\n(?=- )", body.strip()):
            if block.startswith("| "):
                head, _, *rows = ([cell.strip() for cell in line.strip("| ").split(" |")]
                                  for line in block.splitlines())
                blocks.append([dict(zip(head, row + [""] * len(head))) for row in rows])
            else:
                blocks.append(" ".join(block.removeprefix("- ").split()))
        yield title, blocks


def quoted(cell):
    return re.findall("`([^`]+)`", cell)


def markup(text):
    text = re.sub(r"\*(\w+)\*", r"\1", escape(text)).replace("`k.vorb~`", "<o>k.vorb~</o>")
    return re.sub("`([^`]+)`", r"<m>\1</m>", text)


def sentence(text):
    text = text[0].upper() + text[1:]
    return text if text.endswith((".", ":")) else text + "."


def prose(blocks):
    kept = (" ".join(part for part in re.split(r"(?<=\.) ", block) if not NOT_HERE.search(part))
            for block in blocks)
    return "<br/>".join(markup(text) for text in kept if text)


def span(low, high):
    high = high.replace("nyquist", "half the sample rate")
    if (low, high) == ("-1e38", "1e38"):
        return "any number"
    return f"{low} and above" if high == "1e38" else \
        f"{high} and below" if low == "-1e38" else f"{low} to {high}"


def element(tag, content, **attributes):
    given = "".join(f' {name}="{escape(value)}"' for name, value in attributes.items())
    return f"<{tag}{given}>{content}</{tag}>"


def described(tag, digest, lines, before="", **attributes):
    lines = "<br/>".join(markup(sentence(line)) for line in lines)
    return element(tag, before + element("digest", escape(digest.replace("`", "")))
                   + element("description", lines), **attributes)


class Reference:
    def __init__(self, text):
        self.sections = list(sections(text))
        self.taken = []

    def table(self, column):
        """The table with a column of that name; what is left over goes to the discussion."""
        rows, = (block for _, blocks in self.sections for block in blocks
                 if isinstance(block, list) and column in block[0])
        self.taken.append(rows)
        return rows

    def ranges(self, message, names):
        """One line for each number that the message, or `inlet N`, takes."""
        for row in self.table("Label"):
            if row["Message"] == message:
                unit, _, remark = row["Unit"].partition(", ")
                yield (f"Range of {names[int(row['Number']) - 1]}: {span(row['Low'], row['High'])}"
                       + (unit and f" ({unit})") + f"; fallback: {row['Fallback']}"
                       + (remark and f"; {remark}"))
        for row in self.table("Whole number"):
            if row["Message"] == message:
                yield (f"Range of {names[int(row['Whole number']) - 1]}: {row['From, to']}; "
                       f"fallback: {row['Fallback']}")

    def inlets(self):
        for row in self.table("Assist text"):
            kinds, digest = re.match(r"\((.*?)\) (.*)", quoted(row["Assist text"])[0]).groups()
            signal = row["A signal there"]
            lines = [f"A float: {row['A float there']}",
                     *self.ranges(f"inlet {row['Inlet']}", ["the float"])]
            if signal:
                lines.append(f"A signal: {signal}")
            yield described("inlet", digest, lines,
                            id=row["Inlet"], type="signal/float" if "signal" in kinds else "float")

    def outlets(self):
        column = "Assist texts, from left to right"
        texts = {row["OUTLETS"]: quoted(row[column]) for row in self.table(column)}
        widest = max(texts.values(), key=len)
        for index, text in enumerate(widest):
            here = {}
            for layout, row in texts.items():
                if index < len(row):
                    here.setdefault(row[index], []).append(layout)
            kinds = sorted({re.match(r"\((\w+)", name)[1] for name in here}, reverse=True)
            yield described("outlet", re.sub(r"\(.*?\) ", "", text),
                            [f"With OUTLETS = {', '.join(layouts)}: {name}"
                             for name, layouts in here.items()],
                            id=str(index), type="/".join(kinds).replace("integer", "int"))

    def arguments(self, usage):
        for name, row in zip(usage.split()[1:], self.table("Goes to")):
            target = row["Goes to"]
            lines = [f"Default: {row['Default']}", *self.ranges(target, ["the number"]),
                     *self.ranges(f"argument {row['Argument']}", ["the number"]),
                     f"The same as the message {target}" if quoted(target) else f"Goes to {target}"]
            kind = {"1": "int", "2": "symbol", "3": "int"}.get(row["Argument"], "number")
            yield described("objarg", sentence(row["Name"])[:-1], lines,
                            name=name.lower(), optional="1", type=kind)

    def methods(self):
        rest = dict(METHOD_DIGESTS)
        for row in self.table("Least"):
            message, *names = quoted(row["Message"])[0].split()
            names = names or UNNAMED.get(message, [])
            arguments = "".join(
                element("arg", "", name=name.strip("[]").lower(), optional=str(int("[" in name)),
                        type={"list": "list", "set": "symbol", "float": "float"}.get(message)
                        or ("int" if name in ("N", "LOW", "HIGH") else "number")) for name in names)
            lines = [row["What it does"], f"Inlets: {', '.join(row['Inlets'].split())}",
                     *self.ranges(f"`{message}`", [name.strip("[]") for name in names])]
            if message not in rest:
                raise ValueError(f"no digest for the message: {message}")
            yield described("method", rest.pop(message), lines, element("arglist", arguments),
                            name=message)
        signals = [f"Inlet {row['Inlet']}: {row['A signal there']}"
                   for row in self.table("Assist text") if row["A signal there"]]
        yield described("method", rest.pop("signal"), signals, "<arglist/>", name="signal")
        yield described("method", rest.pop("(mouse)"), ["Opens the window of the buffer"],
                        "<arglist/>", name="(mouse)")
        if rest:
            raise ValueError(f"no such message: {', '.join(rest)}")

    def entries(self):
        """What the tables above left over, section by section."""
        for title, blocks in self.sections[1:]:
            if title == "In Pd":
                continue
            lines = []
            for block in blocks:
                if isinstance(block, str):
                    lines.append(block)
                elif block not in self.taken:
                    lines += [": ".join(f"{head} {cell}" if cell.isdigit() else cell
                                        for head, cell in row.items() if cell and head != "Try")
                              for row in block]
            yield element("entry", element("description", prose(lines)), name=title)

    def page(self):
        usage, = (block for _, blocks in self.sections for block in blocks
                  if isinstance(block, str) and block.startswith("k.vorb~ OUTLETS"))
        lists = [("inletlist", self.inlets()), ("outletlist", self.outlets()),
                 ("objarglist", self.arguments(usage)), ("methodlist", self.methods())]
        parts = [
            element("digest", DIGEST),
            element("description", "Each grain, called a fog, plays a stretch of a sampled sound "
                    "under an envelope. Fogs start once per period of a signal, or one by one; "
                    "each has its own place in space. They make voices, textures and clouds."),
            element("discussion", prose(self.sections[0][1])),
            element("metadatalist", element("metadata", "The k.vorb~ developers", name="author")
                    + "".join(element("metadata", tag, name="tag")
                              for tag in ("MSP", "MSP Synthesis", "Granular"))),
            *(element(name, "\n" + "\n".join(items) + "\n") for name, items in lists),
            "<attributelist/>",
            element("seealsolist", "".join(element("seealso", "", name=name) for name in SEE_ALSO)),
            element("misc", "\n" + "\n".join(self.entries()) + "\n", name="Discussion"),
        ]
        root = element("c74object", "\n" + "\n".join(parts) + "\n",
                       name="k.vorb~", module="msp", category="MSP Synthesis")
        return ('<?xml version="1.0" encoding="utf-8" standalone="yes"?>\n'
                '<?xml-stylesheet href="./_c74_ref.xsl" type="text/xsl"?>\n' + root + "\n")
