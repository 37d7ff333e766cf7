"""Runs patches in the real Pd, without a screen and as fast as it can."""
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

PROGRAM = shutil.which("pd")
EXTERNALS = Path(os.environ.get("KVORB_PD_FOLDER", "build/pd")).resolve()
# What Pd itself adds to errors and files, and the object's version.
NOISE = re.compile(r"\.\.\. you might be able to track|.*biggest amplitude = |k\.vorb~ \d")

needs_pd = unittest.skipUnless(PROGRAM, "pd is not installed")


class PdTestCase(unittest.TestCase):
    """Has a folder for a patch and what it writes."""

    maxDiff = 4000

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kvorb-pd-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def play(self, patch, *options, seconds=120):
        """The console's lines of a patch that quits by itself."""
        file = self.folder / "test.pd"
        file.write_text(str(patch), "utf-8")
        ran = subprocess.run(
            [PROGRAM, "-nogui", "-batch", "-noprefs", "-noaudio", "-stderr", *map(str, options),
             "-path", EXTERNALS, "-open", file],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            timeout=seconds, check=False)
        console = ran.stdout.decode("utf-8", "replace").splitlines()
        self.assertEqual(ran.returncode, 0, console[-20:])
        wrong = [line for line in console if "couldn't create" in line]
        self.assertFalse(wrong, console[:20])
        return [line for line in console if not NOISE.match(line)]
