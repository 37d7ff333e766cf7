"""A score as a patch for Pd, which plays it, records every outlet of every object, and quits."""
from pathlib import Path

from score import INT, NUMBER, samples
from sound import channels_and_rate, write_floats
from studio import TICK, Canvas, Studio


def pd_rate(score):
    """The rate at which Pd must run so that each of its ticks is a block of the score, which a
    subpatch computes with the score's vector size and rate."""
    return score.rate * TICK // score.vector


def outlets(box):
    """How many signal outlets the object that is typed so will have."""
    words = box.split()[1:]
    count = int(float(words[0])) if words and NUMBER.fullmatch(words[0]) else 1
    return count if count in (1, 2, 4, 6, 10) else 1


def pd_message(inlet, words):
    """What a message box sends to have the same effect."""
    if len(words) == 1 and NUMBER.fullmatch(words[0]):
        return ("int " if inlet == 0 and INT.fullmatch(words[0]) else "") + words[0]
    return " ".join(words)


class Arrays:
    """The score's sounds in arrays that wait under other names, and are renamed to come and go."""

    def __init__(self, score, studio):
        self.studio, self.objects = studio, score.objects
        self.waiting, self.bears = {}, {}
        for event in score.events:
            if event.kind == "buffer" and event.words:
                self.prepare(event.where, event.words[0])

    def prepare(self, name, file):
        if (name, file) in self.waiting:
            return
        count, _ = channels_and_rate(file)
        arrays = [f"waits-{name}-{Path(file).stem}-{k}" for k in range(count)]
        self.studio.load(file, *arrays)
        if count == 3:  # the first two would be stereo; four are no sample for most boxes, either
            arrays.append(arrays[0] + "-again")
            self.studio.load(file, arrays[-1])
        for array in arrays:
            self.studio.canvas.obj(f"table {array} 64")
        self.waiting[name, file] = arrays

    def change(self, name, words):
        """Messages with which a buffer comes, changes or goes."""
        sent = [f"{now} rename {waiting}" for waiting, now in self.bears.pop(name, [])]
        if words:
            waiting = self.waiting[name, words[0]]
            mono = len(waiting) == 1
            now = [name if mono else f"{k}-{name}" for k in range(len(waiting))]
            self.bears[name] = list(zip(waiting, now))
            _, rate = channels_and_rate(words[0])
            sent += [f"{x}.0 rate {name} {rate}" for x in self.objects]
            sent += [f"{old} rename {new}" for old, new in self.bears[name]]
        return sent + [f"{x}.0 refresh" for x in self.objects]


class Stage:
    """The subpatch with the objects, and what leads to them and from them."""

    def __init__(self, score, block, studio):
        self.canvas = Canvas(name="stage")
        self.canvas.obj(f"block~ {block or f'{score.vector} 1 {score.vector / TICK}'}")
        self.boxes = {name: self.canvas.obj(box) for name, box in score.objects.items()}
        self.players = {}
        for event in score.events:
            if event.kind == "signal" and event.where not in self.players:
                name, inlet = event.where
                self.players[event.where] = self.canvas.chain(
                    self.canvas.obj("receive start"),
                    self.canvas.obj(f"tabplay~ line-{name}-{inlet}"))
        inlets = {event.where for event in score.events if event.kind == "message"}
        for name, inlet in sorted(inlets | {(name, 0) for name in score.objects}):
            receiver = self.canvas.obj(f"receive {name}.{inlet}")
            self.canvas.cord(receiver, self.boxes[name], 0, inlet)
        for name, box in score.objects.items():
            count = outlets(box)
            studio.record(name, self.canvas, self.boxes[name], count, score.frames)
            printer = self.canvas.obj(f"print {name}: outlet {count + 1}")
            self.canvas.cord(self.boxes[name], printer, count)
        self.count_blocks()

    def count_blocks(self):
        """After each block its number appears on the console: what stands above it came in it."""
        add = self.canvas.obj
        block, number, more = add("bang~"), add("f"), add("+ 1")
        self.canvas.chain(block, number, more)
        self.canvas.cord(more, number, 0, 1)
        self.canvas.cord(number, add("print block"))

    def plug(self, where, on):
        """The message that makes or takes away the cord to an inlet."""
        name, inlet = where
        verb = "connect" if on else "disconnect"
        return f"pd-stage {verb} {self.players[where]} 0 {self.boxes[name]} {inlet}"


def lines(score, stage, studio):
    """Writes what each player plays from the start to the end of the score."""
    played = {where: [0.0] * score.frames for where in stage.players}
    for event in score.events:
        if event.kind == "signal" and event.words:
            first = event.block * score.vector
            played[event.where][first:] = samples(score, event.words, event.block)
    for (name, inlet), values in played.items():
        table = f"line-{name}-{inlet}"
        file = studio.folder / f"{table}.wav"
        write_floats(file, score.rate, values)
        studio.canvas.obj(f"table {table} {score.frames}")
        studio.load(file, table)


def patch(score, folder, block=None):
    """The text of the patch. It loads from and records into `folder`, one file per object. With a
    block size of its own, Pd runs at the score's rate, in whose blocks must be whole ticks."""
    studio = Studio(folder, score.rate if block else pd_rate(score))
    stage, arrays = Stage(score, block, studio), Arrays(score, studio)
    lines(score, stage, studio)
    plugged = set()
    for event in score.events:
        ms = event.block * score.block_ms()
        if event.kind == "buffer":
            studio.at(ms, *arrays.change(event.where, event.words))
        elif event.kind == "message":
            name, inlet = event.where
            studio.at(ms, f"{name}.{inlet} {pd_message(inlet, event.words)}")
        elif bool(event.words) != (event.where in plugged):
            studio.at(ms, stage.plug(event.where, event.words))
            plugged ^= {event.where}
    studio.canvas.sub(stage.canvas, "stage")
    return studio.patch((score.blocks + 1) * score.block_ms())
