"""The two binary files that scsynth plays without a language beside it: a SynthDef of version 2,
and a score of time-stamped OSC bundles."""

import struct

SCALAR, AUDIO = 0, 2


def pstring(text):
    return struct.pack(">B", len(text)) + text.encode()


def synthdef(name, ugens):
    """`ugens`: (class, rate, inputs, number of outputs), in order of computation. An input is a
    constant, or the pair (index of an earlier ugen, its output)."""
    numbers = {i for _, _, inputs, _ in ugens for i in inputs if not isinstance(i, tuple)}
    constants = sorted(numbers)
    parameters = parameter_names = variants = 0
    out = b"SCgf" + struct.pack(">ih", 2, 1) + pstring(name)
    out += struct.pack(f">i{len(constants)}f", len(constants), *constants)
    out += struct.pack(">iii", parameters, parameter_names, len(ugens))
    for kind, rate, inputs, outputs in ugens:
        out += pstring(kind) + struct.pack(">biih", rate, len(inputs), outputs, 0)
        for i in inputs:
            out += struct.pack(">ii", *(i if isinstance(i, tuple) else (-1, constants.index(i))))
        out += struct.pack(f">{outputs}b", *[rate] * outputs)
    return out + struct.pack(">h", variants)


def padded(data):
    return data + bytes(-len(data) % 4)


def message(address, *arguments):
    tags, out = ",", b""
    for a in arguments:
        if isinstance(a, int):
            tags, out = tags + "i", out + struct.pack(">i", a)
        elif isinstance(a, bytes):
            tags, out = tags + "b", out + struct.pack(">i", len(a)) + padded(a)
        else:
            tags, out = tags + "s", out + padded(str(a).encode() + b"\0")
    return padded(address.encode() + b"\0") + padded(tags.encode() + b"\0") + out


def score(bundles):
    """`bundles`: (seconds, messages). The last one ends the sound."""
    out = b""
    for seconds, messages in bundles:
        bundle = b"#bundle\0" + struct.pack(">Q", round(seconds * 2**32))
        for m in messages:
            bundle += struct.pack(">i", len(m)) + m
        out += struct.pack(">i", len(bundle)) + bundle
    return out
