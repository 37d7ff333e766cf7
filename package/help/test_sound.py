"""Each k.vorb~ of the patchers is played by the renderer, with whatever reaches it there, from the
first to the last and back: its fogs sound on, and no error is reported but those that are told."""
import array
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import sheets  # noqa: E402
from check_patchers import LOUDEST  # noqa: E402
from test_patchers import Tab, box, unplug  # noqa: E402

RENDER = os.environ.get("KVORB_RENDERER", "")
MEDIA = {sheets.media_name(sound): sound for sound in (HERE.parents[1] / "media").glob("*.wav")}
ANNOUNCED = {"out of fogs": "runs out", "fogs upper limit reached": "refuses"}  # in words
LOWEST, HIGHEST = 36, 108  # of the keys that are played, not all of which a kslider shows
SETTLING, LISTENING, LONGEST = 1500, 500, 9000  # ms
AUDIBLE = 0.001


def line_signal(event):
    """What line~ or sig~ makes of messages: a place to jump to, then pairs of target and time."""
    *jumps, last = event
    return [["signal", *(jumps[-1] if jumps else ["0"] if len(last) > 1 else []), *last]]


def scaled(words, factor):
    return ["signal", *(word if place and place % 2 == 0 else str(float(word) * factor)
                        for place, word in enumerate(words[1:]))]


def sent(sheet, box, outlet):
    """All that an outlet may send: events, each a list of messages, each a list of words."""
    name, *args = sheets.words_of(box)
    into = [event for source, out, inlet in sheet.into(box) if inlet == 0 and name != "kslider"
            for event in sent(sheet, source, out)]
    alone = {  # of what comes in, these take a $1 at most
        "toggle": lambda: ["1"], "metro": lambda: ["bang"], "loadmess": lambda: [" ".join(args)],
        "kslider": lambda: [LOWEST, HIGHEST], "random": lambda: [0, int(args[0]) - 1],
        "number": lambda: [box["minimum"], box["maximum"]],
        "flonum": lambda: [box["minimum"], box["maximum"]],
        "phasor~": lambda: [f"signal 0 1 {1000 / float(args[0])}"],
        "message": lambda: [box["text"].replace("$1", message[0])
                            for message, *_ in into or [[["0"]]]],
    }
    if name in alone:
        return [[part.split() for part in str(text).split(",")] for text in alone[name]()]
    if name in ("line~", "sig~"):
        return [*([[["signal", *args]]] if args else []),
                *(line_signal(event) for event in into if event != [["stop"]])]
    change = {
        "*": lambda words: [str(float(words[0]) * float(args[0]))],
        "+": lambda words: [str(float(words[0]) + float(args[0]))],
        "*~": lambda words: scaled(words, float(args[0]) if args else 1),
        "mtof": lambda words: [str(440 * 2 ** ((float(words[0]) - 69) / 12))],
        "prepend": lambda words: [*args, *words],
        "pack": lambda words: [words[0], *args[1:]],
        "unpack": lambda words: [words[outlet]],
        "t": lambda words: ["bang"] if args[outlet] == "b" else words,
    }.get(name, lambda words: words)
    return [[change(words) for words in event] for event in into]


def is_signal(event):
    return event[0][0] == "signal"


def rest(event):
    """The value at which a signal ends."""
    return float(event[0][-2 if len(event[0]) > 2 else 1])


def score(sheet, vorb, events):
    """The lines, and for each event when it should be heard."""
    words = sheets.words_of(vorb)
    lines = [f"buffer {name} {MEDIA[file]}" for _, (_, name, file) in sheet.objects("buffer~")]
    lines.append("object v " + " ".join(words))
    rates = [rest(event) for inlet, event in events if inlet == 0 and is_signal(event)]
    places = [event[0] for inlet, event in events if inlet == 1 and is_signal(event)
              and rest(event) >= 0]
    by_hand = any(["bang"] in event for _, event in events)
    now, windows = 0, []
    for inlet, event in events:
        ramps = sum(map(float, event[0][3::2])) if is_signal(event) else 0
        start, now = now, now + int(min(max(SETTLING, ramps), LONGEST))
        # It comes while fogs are started as fast as they ever are, from where there is a sound.
        if rates:
            lines.append(f"{start} v 0 signal {max(rates)}")
        if places:
            lines.append(f"{start} v 1 {' '.join(places[0])}")
        lines += [f"{start} v {inlet} {' '.join(message)}" for message in event]
        if by_hand:
            lines += [f"{time} v 0 bang" for time in range(start + 50, now, 100)]
        if inlet and len(event[0]) == 1:  # one end of what a number may be: back to the box's own
            lines.append(f"{now} v {inlet} {words[inlet + 3]}")
        elif not is_signal(event):
            windows.append((now - LISTENING, now, event))
        elif rest(event) > 0 or len(event[0]) > 2:
            windows.append((start, now, event))
    return [*lines, f"{now} end"], windows


def play(lines):
    """The samples of all channels, how many of them a millisecond has, and the errors."""
    with tempfile.TemporaryDirectory() as folder:
        file, sound = Path(folder, "x.score"), Path(folder, "x.wav")
        file.write_text("\n".join(lines) + "\n", "utf-8")
        done = subprocess.run([RENDER, file, "-o", sound, "--format", "float"],
                              capture_output=True, text=True)
        if done.returncode:
            raise AssertionError(done.stderr)
        data = sound.read_bytes()
    channels, rate = struct.unpack_from("<HI", data, data.find(b"fmt ") + 10)
    begin = data.find(b"data") + 8
    samples = array.array("f", data[begin:begin + struct.unpack_from("<I", data, begin - 4)[0]])
    return samples, rate * channels / 1000, re.findall(r"error: (.*)", done.stderr)


def faults(sheet):
    """What is not heard, and what is reported, or announced, without the other."""
    said = " ".join(box["text"] for box, _ in sheet.objects("comment"))
    told = {error for error, words in ANNOUNCED.items() if words in said}
    for vorb, _ in sheet.objects("k.vorb~"):
        events = [(inlet, event) for box in sheet.boxes.values()
                  for outlet, target, inlet in sheet.out_of(box) if target is vorb
                  for event in sent(sheet, box, outlet)]
        reported = set()
        for order in events, events[::-1]:
            lines, windows = score(sheet, vorb, order)
            samples, rate, errors = play(lines)
            loudest = max(map(abs, samples))
            if loudest < AUDIBLE:
                yield f"{sheet.where}: [{vorb['text']}] never sounds"
            if loudest * LOUDEST > 1:  # behind the *~ that each of them has
                yield f"{sheet.where}: [{vorb['text']}] is too loud: {loudest * LOUDEST:.1f}"
            for start, end, event in windows:
                if max(map(abs, samples[int(start * rate):int(end * rate)])) < AUDIBLE:
                    yield f"{sheet.where}: [{vorb['text']}] is silent after {event}"
            reported |= {next((error for error in ANNOUNCED if error in line), line)
                         for line in errors}
        yield from (f"{sheet.where}: reported or announced alone: {error}"
                    for error in reported ^ told)


BASIC = "k.vorb~ 2 kvhelp_ah 80 201 1 30 2 4 7 7 1"
BREAKS = [
    ("basic", unplug("line~", BASIC), "never sounds"),
    ("basic", box(BASIC, text=BASIC.replace("80", "5")), "alone: out of fogs"),
    ("basic", box(BASIC, text=BASIC.replace("2 4 7 7", "200 4 7 7")), "is too loud"),
    ("envelope", box("tex 150", text="tex long"), "expected number argument"),
    ("space", box("pan 1.5 -1", text="pan 1.5 7"), "parameter 'pan (message pan)'"),
    ("space", box("buffer~ kvhelp_drop k.vorb_word.wav", text="buffer~ kvhelp_drop k.vorb_two.wav"),
     "is silent after [['bang']]"),
    ("limits", box("limit 12 13", text="limit 30 6"), "limits out of range"),
    ("limits", box("limit 12 13", text="reset, limit -8 9"), "is silent after"),
    ("limits", box("limit 12 13", text="limit 0 0"), "alone: fogs upper limit reached"),
]


@unittest.skipUnless(os.path.exists(RENDER), "KVORB_RENDERER names no renderer to play with")
class Sound(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        subprocess.run([sys.executable, HERE / "make-patchers", folder.name], check=True)
        self.files = sheets.files(Path(folder.name))

    def test_every_object_is_heard_whatever_is_clicked(self):
        self.assertEqual([], [line for file in self.files
                              for sheet in sheets.read(file, file.stem) for line in faults(sheet)])

    def test_what_is_silent_or_reported_is_noticed(self):
        help_file, = (file for file in self.files if file.suffix == ".maxhelp")
        for name, apply, expected in BREAKS:
            with self.subTest(expected):
                tab = Tab(sheets.read_json(help_file)["patcher"], name)
                apply(tab)
                said = faults(sheets.Sheet(name, tab.patcher, 1))
                self.assertIn(expected, "\n".join(said))


if __name__ == "__main__":
    unittest.main()
