"""Golden scores as Pd will have them: which blocks their events fall into, and all numbers and
signals rounded to single precision, which is all that Pd has."""
import math
import re
import struct
from dataclasses import dataclass, field
from pathlib import Path

NUMBER = re.compile(r"[-+]?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?")
INT = re.compile(r"[-+]?\d+")


def single(value):
    """The float that is nearest; beyond all floats, what was given."""
    try:
        return struct.unpack("<f", struct.pack("<f", value))[0]
    except OverflowError:
        return value


def single_word(word):
    """A word with its number rounded, written so that reading it gives that very number."""
    if not NUMBER.fullmatch(word) or INT.fullmatch(word):
        return word
    return repr(single(float(word)))


@dataclass
class Event:
    block: int
    where: object  # (object's name, inlet), or the name of a buffer
    kind: str  # "message", "signal", "buffer"
    words: list  # of a message; of a signal, its line; of a buffer, its file; [] ends these two


@dataclass
class Score:
    path: Path
    rate: int = 44100
    vector: int = 64
    objects: dict = field(default_factory=dict)
    events: list = field(default_factory=list)
    blocks: int = 0

    @property
    def frames(self):
        return self.blocks * self.vector

    def block_ms(self):
        return self.vector * 1000 / self.rate

    def block_at(self, ms):
        """The first block that starts at `ms` or later."""
        return math.ceil(round(ms * self.rate / 1000 / self.vector, 9))


def line_at(words, ms):
    """The value of a typed signal, computed as the renderer does."""
    value, start = float(words[0]), 0.0
    for target, length in zip(words[1::2], words[2::2]):
        target, end = float(target), start + float(length)
        if ms < end:
            return value + (target - value) * (ms - start) / (end - start)
        value, start = target, end
    return value


def samples(score, words, start):
    """The signal that starts with block `start`, until the end of the score."""
    first = start * score.vector
    begin = first * 1000 / score.rate
    for frame in range(first, score.frames):
        block, i = divmod(frame, score.vector)
        now = block * score.vector * 1000 / score.rate
        yield single(line_at(words, now - begin + i * 1000.0 / score.rate))


def staircase(values, rate):
    """A typed signal that has exactly these values: each from half a sample before to half a
    sample after its time."""
    runs = []
    for value in values:
        if runs and runs[-1][0] == value:
            runs[-1][1] += 1
        else:
            runs.append([value, 1])
    words = [repr(runs[0][0])]
    for k, (value, count) in enumerate(runs):
        length = (count if k else count - 0.5) * 1000 / rate
        words += [*([repr(value), "0"] if k else []), repr(value), repr(length)]
    return words


def read_score(path, **settings):
    """The score with the rate and vector size that it asks for, or with others."""
    score = Score(Path(path), **settings)
    end = None
    for text in score.path.read_text("utf-8").splitlines():
        setting = re.fullmatch(r"# (rate|vector) (\d+)", text)
        if setting and setting[1] not in settings:
            setattr(score, setting[1], int(setting[2]))
        words = re.split(r"(?<!\S)#", text)[0].split()
        if not words:
            continue
        if words[0] == "object":
            score.objects[words[1]] = " ".join(map(single_word, words[2:]))
            continue
        ms = 0.0 if words[0] == "buffer" else float(words.pop(0))
        block = score.block_at(ms)
        if words[0] == "end":
            end = block
        elif words[0] == "buffer":
            files = [str((score.path.parent / name).resolve()) for name in words[2:]]
            score.events.append(Event(block, words[1], "buffer", files))
        elif words[2] == "signal":
            where = words[0], int(words[1])
            line = [] if words[3] == "off" else words[3:]
            score.events.append(Event(block, where, "signal", line))
        else:
            where = words[0], int(words[1])
            for part in " ".join(words[2:]).split(","):
                part = [single_word(word) for word in part.split()]
                if part == ["list"]:
                    continue  # a bang there
                if part[0] == "bang":
                    part = part[:1]  # all that Pd passes on
                score.events.append(Event(block, where, "message", part))
    if end is None:
        raise ValueError(f"{path}: a score without an end")
    score.blocks = end
    return score


def as_text(score, vector, only=None):
    """The score for the renderer with a vector size, of all objects or of one alone."""
    early = 0.25 * vector * 1000 / score.rate  # for a block a little early is in time, not late
    played = [only] if only else list(score.objects)
    lines = [f"object {name} {score.objects[name]}" for name in played]
    for event in score.events:
        ms = repr(max(0.0, event.block * score.block_ms() - early))
        if event.kind == "buffer":
            lines.append(" ".join([ms, "buffer", event.where, *event.words]))
        elif event.where[0] in played:
            words = event.words
            if event.kind == "signal":
                values = list(samples(score, words, event.block)) if words else []
                words = ["signal", *(staircase(values, score.rate) if values else ["off"])]
            lines.append(" ".join([ms, event.where[0], str(event.where[1]), *words]))
    lines.append(f"{score.blocks * score.block_ms() - early!r} end")
    return "\n".join(lines) + "\n"
