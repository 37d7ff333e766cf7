"""What is installed is a folder of Pd's own, with everything that the patches need."""
import os
import shutil
import subprocess
import unittest

from pd import EXTERNALS, PROGRAM, PdTestCase, needs_pd
from studio import Studio

CMAKE = shutil.which("cmake")


@needs_pd
@unittest.skipUnless(CMAKE, "cmake is not found")
class Install(PdTestCase):
    def install(self, prefix):
        """The folder below the prefix in which all files are."""
        root = self.folder / "root"
        subprocess.run([CMAKE, "--install", EXTERNALS.parent, "--prefix", prefix], check=True,
                       env={**os.environ, "DESTDIR": str(root)}, capture_output=True)
        folder, = {file.parent for file in root.rglob("*") if file.is_file()}
        return folder, str(folder.relative_to(root))

    def test_where_pd_looks(self):
        for prefix, place in (("/usr", "usr/lib/pd/extra"),
                              ("/usr/local", "usr/local/lib/pd-externals")):
            shutil.rmtree(self.folder / "root", ignore_errors=True)
            self.assertEqual(self.install(prefix)[1], f"{place}/k.vorb~")

    def test_what_is_installed_plays(self):
        folder, _ = self.install("/usr")
        self.assertEqual({file.name for file in folder.iterdir()},
                         {file.name for file in EXTERNALS.iterdir()})
        studio = Studio(self.folder)
        studio.at(0, "pd dsp 1")
        script = self.folder / "quits.pd"
        script.write_text(str(studio.patch(100)), "utf-8")
        patches = sorted(folder.glob("*.pd"))
        self.assertEqual(len(patches), 4)
        opened = [word for patch in patches for word in ("-open", patch)]
        ran = subprocess.run([PROGRAM, "-nogui", "-batch", "-noprefs", "-noaudio", "-stderr",
                              *opened, "-open", script], stdin=subprocess.DEVNULL,
                             capture_output=True, text=True, timeout=60, check=True)
        self.assertRegex(ran.stderr, r"\A(k\.vorb~ \d[^\n]*\n)?\Z")


if __name__ == "__main__":
    unittest.main()
