#!/usr/bin/env python3
"""Looks at what a bundle for the Mac holds beside its binary.

    check_bundle.py FOLDER VERSION
"""
import pathlib
import plistlib
import sys

folder, version = pathlib.Path(sys.argv[1]), sys.argv[2]

expected = {
    "CFBundleDevelopmentRegion": "English",
    "CFBundleExecutable": "k.vorb~",
    "CFBundleIdentifier": "k.vorb",
    "CFBundleInfoDictionaryVersion": "6.0",
    "CFBundlePackageType": "iLaX",
    "CFBundleSignature": "max2",
    "CFBundleVersion": version,
    "CFBundleShortVersionString": version,
    "CSResourcesFileMapped": True,
}
found = plistlib.loads((folder / "Info.plist").read_bytes())
assert found == expected, found

kind = (folder / "PkgInfo").read_bytes()
assert kind == (found["CFBundlePackageType"] + "????").encode(), kind
