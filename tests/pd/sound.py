"""WAV files, read and written without other libraries."""
import struct
from array import array
from pathlib import Path

FLOAT, EXTENSIBLE = 3, 0xFFFE


def chunks(path):
    data = Path(path).read_bytes()
    assert data[:4] == b"RIFF" and data[8:12] == b"WAVE", path
    found, at = {}, 12
    while at + 8 <= len(data):
        name, size = data[at:at + 4], struct.unpack_from("<I", data, at + 4)[0]
        found[name] = data[at + 8:at + 8 + size]
        at += 8 + size + size % 2
    return found


def channels_and_rate(path):
    return struct.unpack_from("<HI", chunks(path)[b"fmt "], 2)


def read_floats(path):
    """A list of samples for each channel of a file of 32- or 64-bit floats."""
    found = chunks(path)
    kind, channels, _, _, _, bits = struct.unpack_from("<HHIIHH", found[b"fmt "])
    if kind == EXTENSIBLE:
        kind = struct.unpack_from("<H", found[b"fmt "], 24)[0]
    assert kind == FLOAT, f"{path}: no floats"
    samples = array("f" if bits == 32 else "d", found[b"data"])
    return [samples[k::channels] for k in range(channels)]


def write_floats(path, rate, samples):
    """One channel of 32-bit floats."""
    data = array("f", samples).tobytes()
    head = struct.pack("<4sIHHIIHH", b"fmt ", 16, FLOAT, 1, rate, rate * 4, 4, 32)
    body = b"WAVE" + head + struct.pack("<4sI", b"data", len(data)) + data
    Path(path).write_bytes(struct.pack("<4sI", b"RIFF", len(body)) + body)
