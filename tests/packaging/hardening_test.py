"""Checks that every program and library of an optimised build is hardened against memory faults.

Usage: hardening_test.py TREE    (TREE: a build folder, which is installed first, or a Debian package)
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

TREE = pathlib.Path(sys.argv[1]).resolve()
PROGRAMS = {"distnetd", "distnetctl"}
LIBRARIES = {"libdistnet_platform.so", "libdistnet_client.so", "libdistnet_service.so"}
WITHOUT_CHECKED_CALLS = {"libdistnet_client.so"}  # calls no function that _FORTIFY_SOURCE could check


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=100, check=True).stdout


def faults(file):
    """Returns what the file lacks."""
    name = re.sub(r"\.so.*", ".so", file.name)
    shown = run("readelf", "--wide", "--file-header", "--segments", "--dynamic", "--dyn-syms", file)
    flags = "".join(re.findall(r"\(FLAGS(?:_1)?\)(.*)", shown))
    segments = re.findall(r"(?m)^  (\w+) +(?:0x\w+ ){5}([RWE ]{3})", shown)
    required = {
        "position-independent code": "Type:                              DYN" in shown and ("PIE" in flags or name in LIBRARIES),
        "no relocations in code": "TEXTREL" not in shown,
        "symbols resolved at the start": "NOW" in flags,
        "a read-only symbol table": "GNU_RELRO" in dict(segments),
        "a stack that is not executable": "E" not in dict(segments).get("GNU_STACK", "E"),
        "no segment both writable and executable": all("W" not in rights or "E" not in rights for _, rights in segments),
        "a stack protector": "__stack_chk_fail" in shown,
        "calls checked by _FORTIFY_SOURCE":
            name in WITHOUT_CHECKED_CALLS or re.search(r" __(?!stack)\w+_chk(?:@| |$)", shown, re.M) is not None,
    }
    return [name for name, is_there in required.items() if not is_there]


class Hardening(unittest.TestCase):
    def test_every_installed_program_and_library_is_hardened(self):
        with tempfile.TemporaryDirectory() as folder:
            if TREE.is_dir():
                run("cmake", "--install", TREE, "--prefix", folder)
            else:
                run("dpkg-deb", "--extract", TREE, folder)
            files = [file for file in pathlib.Path(folder).rglob("*")
                     if file.is_file() and not file.is_symlink() and file.read_bytes()[:4] == b"\x7fELF"]
            self.assertEqual({re.sub(r"\.so.*", ".so", file.name) for file in files}, PROGRAMS | LIBRARIES)
            for file in files:
                with self.subTest(file.name):
                    self.assertEqual(faults(file), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
