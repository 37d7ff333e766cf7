"""The engines: how each is told to play so many grains a second, for so many seconds.

A command is run in the folder where `sample.wav` and `envelope.wav` lie, and leaves its two
channels as 32-bit floats in `out.wav`."""

import scsynth
from setting import (BLOCK, DENSE, DURATION, ENVELOPE_FRAMES, GRAINS, RATE, SAMPLE_FRAMES, START,
                     TRANSPOSITION)

SAMPLE, ENVELOPE = 0, 1  # numbers of buffers
CUBIC = 4
CENTRE = 0
START_SHARE = START * RATE / SAMPLE_FRAMES


def k_vorb(folder, render, rate, seconds):
    (folder / "k_vorb.score").write_text(
        f"""buffer sample1 sample.wav
object v k.vorb~ 2 sample1 {GRAINS} {START * 1000} {TRANSPOSITION} 1 1
0 v 0 env {DURATION * 1000} 1 1 2 1, pan 1 0
0 v 0 signal {rate}
{seconds * 1000} end
"""
    )
    return [render, "k_vorb.score", "-o", "out.wav", "--rate", RATE, "--vector", BLOCK]


def scsynth_command(folder, program, rate, seconds, kind, inputs, ugens=1):
    """`ugens` of them take turns. Each is triggered half a turn late, so at 0 Hz never."""
    graph = []
    for turn in range(ugens):
        trigger, grains = len(graph), len(graph) + 1
        graph += [
            ("Impulse", scsynth.AUDIO, [rate / ugens, (turn + 0.5) / ugens], 1),
            (kind, scsynth.AUDIO, [(trigger, 0), *inputs], 2),
            ("Out", scsynth.AUDIO, [0, (grains, 0), (grains, 1)], 0),
        ]
    start = [
        scsynth.message("/b_allocRead", SAMPLE, folder / "sample.wav"),
        scsynth.message("/b_allocRead", ENVELOPE, folder / "envelope.wav"),
        scsynth.message("/d_recv", scsynth.synthdef("grains", graph)),
        scsynth.message("/s_new", "grains", 1000, 0, 0),
    ]
    end = [scsynth.message("/n_free", 1000)]
    (folder / "scsynth.osc").write_bytes(scsynth.score([(0, start), (seconds, end)]))
    files = ["-N", "scsynth.osc", "_", "out.wav", RATE, "WAV", "float"]
    return [program, *files, "-i", 0, "-o", 2, "-z", BLOCK, "-D", 0]


def tgrains(*setting):
    centre = START + TRANSPOSITION * DURATION / 2
    inputs = [SAMPLE, TRANSPOSITION, centre, DURATION, CENTRE, 1, CUBIC]
    return scsynth_command(*setting, "TGrains", inputs, ugens=2)  # one drops grains beyond 63


def grainbuf(*setting):
    most = 2 * GRAINS
    inputs = [DURATION, SAMPLE, TRANSPOSITION, START_SHARE, CUBIC, CENTRE, ENVELOPE, most]
    return scsynth_command(*setting, "GrainBuf", inputs)


def csound_command(folder, program, seconds, tables, instrument):
    (folder / "grains.csd").write_text(
        f"""<CsoundSynthesizer>
<CsInstruments>
sr = {RATE}
ksmps = {BLOCK}
nchnls = 2
0dbfs = 1
giSample ftgen 0, 0, {SAMPLE_FRAMES}, 1, "sample.wav", 0, 0, 1
{tables}
instr 1
{instrument}
endin
</CsInstruments>
<CsScore>
i 1 0 {seconds}
</CsScore>
</CsoundSynthesizer>
"""
    )
    return [program, "-d", "-m0", "-W", "-f", "-o", "out.wav", "grains.csd"]


def partikkel(folder, program, rate, seconds):
    # The tables: half cosines for the ends of the envelope, a channel mask between the two
    # outputs, and weights that leave the first of its five sources alone.
    tables = """giCosine ftgen 0, 0, 8192, 10, 1
giRise ftgen 0, 0, 4097, 19, 0.5, 0.5, 270, 0.5
giFall ftgen 0, 0, 4097, 19, 0.5, 0.5, 90, 0.5
giPan ftgen 0, 0, 4, -2, 0, 0, 0.5
giSources ftgen 0, 0, 8, -2, 0, 0, 1, 0, 0, 0, 0"""
    instrument = f"""  aRate = {rate}
  aFm = 0
  aStart = {START_SHARE}
  aNone = 0
  kOriginal = sr / ftlen(giSample)
  aLeft, aRight partikkel aRate, 0, -1, aNone, 0, -1, giRise, giFall, 0.5, 0.5, \\
    {DURATION * 1000}, 1, -1, {TRANSPOSITION}, 0.5, -1, -1, aFm, -1, -1, giCosine, \\
    1, 1, 1, giPan, 0, \\
    giSample, giSample, giSample, giSample, giSources, aStart, aNone, aNone, aNone, \\
    kOriginal, kOriginal, kOriginal, kOriginal, {2 * GRAINS}
  outs aLeft, aRight"""
    return csound_command(folder, program, seconds, tables, instrument)


def grain3(folder, program, rate, seconds):
    tables = f'giEnvelope ftgen 0, 0, {ENVELOPE_FRAMES}, 1, "envelope.wav", 0, 0, 1'
    grains = f"""grain3 sr / ftlen(giSample) * {TRANSPOSITION}, {START_SHARE}, 0, 0, \\
    {DURATION}, {rate}, {2 * GRAINS}, giSample, giEnvelope, 0, 0, 1, 64"""
    instrument = f"""  aBoth {grains if rate else "= 0"}
  outs aBoth, aBoth"""
    return csound_command(folder, program, seconds, tables, instrument)


# name, program, what writes its files and makes its command; ours first
ENGINES = [
    ("k.vorb~, cubic", "render", k_vorb),
    ("2 TGrains, cubic", "scsynth", tgrains),
    ("GrainBuf, cubic", "scsynth", grainbuf),
    ("partikkel, linear", "csound", partikkel),
    ("grain3, linear, mono", "csound", grain3),
]
