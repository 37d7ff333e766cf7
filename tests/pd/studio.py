"""A patch in which messages are sent at their times, what sounds is recorded, and Pd quits."""
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "package/pd"))
from pd_file import Canvas  # noqa: E402

TICK = 64  # frames that Pd computes between two looks at its clocks


class Studio:
    def __init__(self, folder, rate=44100):
        """Pd runs at `rate`, and records into `folder`."""
        self.folder, self.rate, self.canvas = folder, rate, Canvas()
        self.loads, self.saves, self.bursts = [], [], {}
        self.canvas.chain(self.canvas.obj("receive reader"), self.canvas.obj("soundfiler"))
        self.canvas.obj("receive start")

    def load(self, file, *tables):
        """Reads a sound into arrays before anything happens."""
        self.loads.append(f"reader read -resize {file} {' '.join(tables)}")

    def at(self, ms, *messages):
        """Messages, each with its receiver, before the tick that begins at `ms`."""
        self.bursts.setdefault(ms, []).extend(messages)

    def record(self, name, canvas, box, outlets, frames):
        """Records signal outlets of a box in a window, from the first tick on, in a file."""
        tables = [f"record-{name}-{k}" for k in range(outlets)]
        for k, table in enumerate(tables):
            self.canvas.obj(f"table {table} {frames}")
            recorder = canvas.chain(canvas.obj("receive start"), canvas.obj(f"tabwrite~ {table}"))
            canvas.cord(box, recorder, k)
        self.saves.append(
            f"reader write -wave -bytes 4 {self.folder / name}.wav {' '.join(tables)}")

    def patch(self, end):
        """The text of the patch, which ends after so many ms."""
        load = self.canvas.obj("loadbang")
        first = "".join(f"; {m}" for m in [*self.loads, "pd dsp 1"])
        self.canvas.chain(load, self.canvas.msg(first))
        self.bursts = {0: ["start bang", *self.bursts.pop(0, [])], **self.bursts}
        self.at(end, *self.saves, "pd quit")
        # In the middle of the tick before, where no rounding moves them into another.
        for ms, messages in sorted(self.bursts.items()):
            wait = self.canvas.obj(f"delay {ms + TICK * 500 / self.rate}")
            text = "".join(f"; {m}" for m in messages)
            self.canvas.chain(load, wait, self.canvas.msg(text))
        return str(self.canvas)
