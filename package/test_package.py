"""The package as it is made has no fault, and each rule notices when it is broken."""
import importlib.machinery
import importlib.util
import json
import os
import plistlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import unittest.mock
import zipfile
from pathlib import Path
from xml.etree import ElementTree

HERE = Path(__file__).resolve().parent
NAME, VERSION = "k.vorb~", "1.2.3"
PE = b"PE\0\0\x64\x86"
SILENCE = b"RIFF\x24\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x44\xac\0\0\x88\x58\1\0\2\0\x10\0data\0\0\0\0"
sys.path.insert(0, str(HERE))
sys.dont_write_bytecode = True


def script(name):
    loader = importlib.machinery.SourceFileLoader(name.replace("-", "_"), str(HERE / name))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


def run(name, *arguments):
    return subprocess.run([sys.executable, HERE / name, *arguments], capture_output=True, text=True)


make_package, check_package = script("make-package"), script("check-package")


def write_externals(folder):
    """As much of an external for either system as is looked at."""
    said = b"ext_main\0" + VERSION.encode() + b"\0"
    windows = folder / f"{NAME}.mxe64"
    windows.write_bytes(b"MZ".ljust(60, b"\0") + struct.pack("<I", 64) + PE + said)
    bundle = folder / f"{NAME}.mxo/Contents"
    (bundle / "MacOS").mkdir(parents=True)
    program = bundle / "MacOS" / NAME
    program.write_bytes(struct.pack(">II5I5I", 0xCAFEBABE, 2, 0x01000007, 0, 0, 0, 0,
                                    0x0100000C, 0, 0, 0, 0) + said)
    program.chmod(0o755)
    (bundle / "PkgInfo").write_bytes(b"iLaX????")
    (bundle / "Info.plist").write_bytes(plistlib.dumps({
        "CFBundleExecutable": NAME, "CFBundlePackageType": "iLaX",
        "CFBundleVersion": VERSION, "CFBundleShortVersionString": VERSION}))
    return [windows, bundle.parent]


def change(name, old, new):
    """A break: other bytes in a file."""
    def apply(folder):
        data = (folder / name).read_bytes()
        assert old in data, f"{name} has no {old}"
        (folder / name).write_bytes(data.replace(old, new))
    return apply


def manifest(**values):
    """A break: other values in the manifest; None takes one out."""
    def apply(folder):
        file = folder / "package-info.json"
        said = {**json.loads(file.read_text("utf-8")), **values}
        file.write_text(json.dumps({k: v for k, v in said.items() if v is not None}), "utf-8")
    return apply


def add(name, data=b"x"):
    def apply(folder):
        (folder / name).parent.mkdir(exist_ok=True)
        (folder / name).write_bytes(data)
    return apply


def cut(name, size):
    return lambda folder: os.truncate(folder / name, size)


def remove(name):
    return lambda folder: (folder / name).unlink()


def both(*breaks):
    return lambda folder: [apply(folder) for apply in breaks]


MXE, MXO = f"externals/{NAME}.mxe64", f"externals/{NAME}.mxo/Contents"
HELP = f"help/{NAME}.maxhelp"
XML, LOOKUP = f"docs/{NAME}.maxref.xml", "interfaces/k.vorb-obj-qlookup.json"
BREAKS = [
    (remove("readme.md"), "readme.md: missing"),
    (lambda folder: shutil.rmtree(folder / "examples"), "examples: no .maxpat in it"),
    (remove("extras/k.vorb_overview.maxpat"), "extras: no .maxpat in it"),
    (add("media/k.vorb one.wav"), "not a name for all systems"),
    (add("help/.DS_Store"), "not a name for all systems"),
    (add("notes.txt"), "notes.txt: does not belong there"),
    (add("init/k.vorb.txt"), "init/k.vorb.txt: does not belong there"),
    (add("patchers/k.vorb~.maxhelp", b"{}"), "hides, or is hidden by"),
    (add("extras/k.vorb_choir.maxpat", b"{}"), "by, examples/k.vorb_choir.maxpat"),
    (add("examples/k.vorb~.maxpat", b"{}"), "hides, or is hidden by, the object"),
    (add("media/word.wav"), "should start with k.vorb"),
    (add("docs/large", bytes(4_000_001)), "docs/large: 4000001 bytes are too many"),
    (both(*(add(f"docs/large{k}", bytes(3_900_000)) for k in range(5))), "k.vorb~: 2"),
    (add("license.md", b"\n"), "license.md: empty"),
    *[(add("readme.md", place), "readme.md: names a place of one machine: ")
      for place in (b"see /Users/me/x", b"(/home/me/x)", b"<m>/home/me/x</m>", b"src=/home/me/",
                    b"file:///Users", b"a \\\\server\\share\\x", b"buffer~ x /k.wav")],
    (change(HELP, b"k.vorb_word.wav", b"C:/k.vorb_word.wav"), "names a place of one machine: C:/"),
    (add(LOOKUP, b"{"), "obj-qlookup.json: cannot be read: JSONDecodeError"),
    (both(add(LOOKUP, b"{"), add("readme.md", b" ")), "readme.md: empty"),
    (manifest(author=None), "author is missing"),
    (manifest(author=7), "author should be of the type str"),
    (manifest(tags="granular"), "tags should be of the type list"),
    (manifest(description=""), "description is missing"),
    (manifest(filelist={}), "filelist is unknown, or the host's to write"),
    (change("package-info.json", b'"tags"', b'"name": "x", "tags"'), "a key stands there twice"),
    (manifest(name="vorb"), "name is not k.vorb~"),
    (manifest(version="1.2"), "'1.2' is no semantic version"),
    (manifest(homepatcher="k.vorb_home.maxpat"), "k.vorb_home.maxpat is missing"),
    (manifest(os={}), "the platforms of windows should be x64"),
    (manifest(os={}), "the platforms of macintosh should be aarch64, x64"),
    (remove(MXE), "windows has no external"),
    (manifest(version="1.2.4"), "the one for windows is not of version 1.2.4"),
    (add("externals/k.vorb~.so"), "externals/k.vorb~.so: no external of this package"),
    (change(MXE, b"ext_main", b"ext_none"), "the one for windows lacks its entry point"),
    (change(MXE, PE, b"PE\0\0\x4c\x01"), "no 64-bit program for Windows"),
    (lambda folder: (folder / MXO / "MacOS" / NAME).chmod(0o644), "k.vorb~ is not executable"),
    (change(f"{MXO}/PkgInfo", b"iLaX", b"APPL"), "PkgInfo should be iLaX????"),
    (change(f"{MXO}/Info.plist", b"1.2.3", b"1.2.2"), "CFBundleVersion in Info.plist should"),
    (change("icon.png", struct.pack(">I", 500), struct.pack(">I", 512)), "a PNG of 500 x 500"),
    (change(XML, b"</c74object>", b""), "check_reference gave up: ParseError"),
    (change(XML, b'object name="k.vorb~"', b'object name="vorb~"'), "c74object named k.vorb~"),
    (change(XML, b"<digest>Start a fog</digest>", b"<digest/>"), "method bang: no digest"),
    (change(XML, b"Opens the window of the buffer.", b" "), "method (mouse): no description"),
    (change(XML, b"Range of FACTOR", b"FACTOR"), "transp: no range and fallback of FACTOR"),
    (change(XML, b"Range of LOW", b"LOW"), "method limit: no range and fallback of LOW"),
    (change(XML, b"1, 2, 4, 6 or 10; fallback", b"1"), "objarg outlets: no range and fallback"),
    (change(XML, b'<inlet id="8"', b'<inlet id="9"'), "the inlets should be 0 to 8"),
    (change(XML, b'<outlet id="10"', b'<outlet id="11"'), "the outlets should be 0 to 10"),
    (change(XML, b"</objarglist>", b"<objarg/></objarglist>"), "there are 11 creation arguments"),
    (change(XML, b'<method name="bw"', b'<method name="transp"'), "transp stands there twice"),
    (change(XML, b'<method name="bang"', b'<method name="dsp64"'), "dsp64 stands there twice"),
    (change(XML, b'<method name="(mouse)"', b'<method name="x"'), "method (mouse) is missing"),
    (change(LOOKUP, b"msp", b"max"), "are not the reference's"),
    (both(add("media/k.vorb_x.wav"), add("media/k.vorb_y.wav")), "k.vorb_y.wav: no patcher plays"),
    (add("media/k.vorb_wo"), "k.vorb_wo: no patcher plays"),
    (change("media/k.vorb_word.wav", b"RIFF", b"RIFX"), "k.vorb_word.wav: cannot be read"),
    (cut("media/k.vorb_word.wav", 30000), "k.vorb_word.wav: ends before its"),
    (add("media/k.vorb_word.wav", SILENCE), "k.vorb_word.wav: no sound in it"),
    (lambda folder: folder.rename(folder.with_name("vorb")), "vorb: should be named k.vorb~"),
]


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.scratch = Path(scratch.name)
        cls.externals = write_externals(cls.scratch)
        cls.folder = cls.scratch / "whole" / NAME
        make_package.assemble(cls.folder, VERSION, cls.externals)

    def copy(self):
        target = Path(tempfile.mkdtemp(dir=self.scratch)) / NAME
        shutil.copytree(self.folder, target)
        return target

    def zipped(self, folder):
        file = folder.with_name("package.zip")
        make_package.write_zip(folder, file)
        return file

    def test_the_package_has_no_fault(self):
        self.assertEqual([], list(check_package.check_folder(self.folder)))
        self.assertEqual([], list(check_package.check_zip(self.zipped(self.folder))))

    def test_each_fault_is_noticed(self):
        # The checks of patchers have tests of their own, and take most of the time.
        with unittest.mock.patch.object(check_package.check_patchers, "check", return_value=[]):
            for apply, expected in BREAKS:
                with self.subTest(expected):
                    folder = self.copy()
                    apply(folder)
                    found = next(folder.parent.iterdir())
                    self.assertIn(expected, "\n".join(check_package.check_folder(found)))

    def test_faults_of_patchers_are_noticed(self):
        folder = self.copy()
        change(HELP, b'"bang"', b'"bong"')(folder)
        self.assertIn("bong", "\n".join(check_package.check_folder(folder)))

    def test_a_package_names_the_systems_of_its_externals(self):
        for externals, systems in ([], []), (self.externals[:1], ["windows"]):
            folder = self.copy()
            make_package.assemble(folder, VERSION, externals)
            said = json.loads((folder / "package-info.json").read_text("utf-8"))
            self.assertEqual(systems, list(said["os"]))
            self.assertEqual([], list(check_package.check_folder(folder)))

    def test_a_zip_needs_an_external(self):
        folder = self.copy()
        make_package.assemble(folder, VERSION)
        self.assertEqual(["package.zip: no external in it"],
                         list(check_package.check_zip(self.zipped(folder))))
        file = folder.with_name("x.zip")
        made = run("make-package", "--version", VERSION, "--zip", file, folder)
        self.assertIn("No external to pack", made.stderr)
        self.assertFalse(file.exists())

    def test_a_zip_has_one_top_folder(self):
        file = self.zipped(self.copy())
        with zipfile.ZipFile(file, "a") as archive:
            archive.writestr("readme.md", "")
        self.assertIn("should hold the folder", "".join(check_package.check_zip(file)))

    def test_a_damaged_zip_is_a_complaint(self):
        file = self.zipped(self.copy())
        data = bytearray(file.read_bytes())
        with zipfile.ZipFile(file) as archive:
            icon = archive.getinfo(NAME + "/icon.png")
        data[icon.header_offset + 200] ^= 1
        file.write_bytes(data)
        self.assertEqual(["package.zip: k.vorb~/icon.png is damaged"],
                         list(check_package.check_zip(file)))

    def test_several_authors_may_be_named(self):
        folder = self.copy()
        manifest(author=None, authors=["a", "b"])(folder)
        self.assertEqual([], list(check_package.check_manifest(folder)))

    def test_a_message_that_is_new_or_gone_is_named(self):
        text = (HERE.parent / "docs/reference.md").read_text("utf-8")
        row = re.search(r"\n\| `aux2 A` .*", text)[0]
        for changed, said in ((text.replace(row, row + row.replace("aux2", "aux3")),
                               "no digest for the message: aux3"),
                              (text.replace(row, ""), "no such message: aux2")):
            with self.assertRaisesRegex(ValueError, said):
                make_package.maxref.Reference(changed).page()

    @unittest.skipUnless(shutil.which("rsvg-convert"), "rsvg-convert draws the icon")
    def test_the_icon_goes_where_it_is_told(self):
        icon = self.scratch / "drawn.png"
        self.assertEqual("", run("make-icon", icon).stderr)
        self.assertEqual(icon.read_bytes()[:24], (HERE / "icon.png").read_bytes()[:24])

    def test_the_same_package_gives_the_same_zip(self):
        first, second = self.copy(), self.copy()
        for path in second.rglob("*"):
            os.utime(path, (0, 1e9))
        self.assertEqual(self.zipped(first).read_bytes(), self.zipped(second).read_bytes())

    def test_no_other_folder_is_overwritten(self):
        (self.scratch / "mine").mkdir()
        with self.assertRaises(SystemExit):
            make_package.assemble(self.scratch / "mine", VERSION)

    def test_exit_status_and_lines(self):
        for target, status, lines in (self.folder, 0, 0), (HERE / "help", 1, 1), (HERE / "x", 2, 0):
            done = run("check-package", target)
            self.assertEqual(status, done.returncode)
            self.assertGreaterEqual(len(done.stdout.splitlines()), lines)
            self.assertEqual(status == 2, "neither a folder nor a zip" in done.stderr)

    def test_the_reference_has_each_message_that_the_object_binds(self):
        source = (HERE.parent / "source/audio/k.vorb~/k_vorb_class.cpp").read_text("utf-8")
        bound = set(re.findall(r'^ +{"(\w+)", \(method\)', source, re.M))
        methods = ElementTree.parse(self.folder / XML).iterfind("methodlist/method")
        self.assertEqual(bound - check_package.HOST_CALLS | {"signal", "(mouse)"},
                         {method.get("name") for method in methods})


if __name__ == "__main__":
    unittest.main()
