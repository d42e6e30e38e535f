"""Builds the example against the installed tree, with pkg-config and with CMake, and runs both programs against a daemon.

Usage: installed_test.py SOURCE_DIR BUILD_DIR COMPILER [FLAG…]    (FLAG: what the libraries were built with)
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
COMPILER, FLAGS = sys.argv[3], sys.argv[4:]
sys.path.append(str(SOURCE / "tests/support"))
import daemon  # noqa: E402


def run(*command, **options):
    result = subprocess.run(command, capture_output=True, text=True, timeout=100, check=False, **options)
    if result.returncode != 0:
        raise AssertionError(f"{command}: {result.stdout}{result.stderr}")
    return result.stdout


class Installed(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        run("cmake", "--install", BUILD, "--prefix", self.folder / "first")
        self.prefix = (self.folder / "first").rename(self.folder / "moved")  # no file may refer to the folder before the move
        self.pc = next(self.prefix.rglob("distnet-client.pc"))
        self.example = self.prefix / "share/doc/libdistnet-dev/examples"

    def test_example_builds_from_moved_prefix_with_pkg_config_and_cmake(self):
        variables = {**os.environ, "PKG_CONFIG_PATH": str(self.pc.parent)}
        words = run("pkg-config", "--cflags", "--libs", "distnet-client", env=variables).split()
        run(COMPILER, "-std=c++20", *FLAGS, self.example / "status.cpp", *words,
            f"-Wl,-rpath,{self.pc.parent.parent}", "-o", self.folder / "by-pkg-config")
        run("cmake", "-S", self.example, "-B", self.folder / "cmake", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={COMPILER}", f"-DCMAKE_CXX_FLAGS={' '.join(FLAGS)}")
        run("cmake", "--build", self.folder / "cmake")
        path = daemon.start(self, self.prefix / "lib/distnet/distnetd", self.folder)
        for program in self.folder / "by-pkg-config", self.folder / "cmake/status":
            self.assertEqual(run(program, path), "service: not_loaded\nWi-Fi: idle\n")
            away = subprocess.run([program, self.folder / "nobody"], capture_output=True, text=True, check=False)
            self.assertEqual((away.returncode, away.stdout), (1, ""))
            self.assertIn("nobody", away.stderr)

    def test_files_named_in_headers_are_installed(self):
        include = self.prefix / "include/distnet"
        for header in include.rglob("*.h"):
            text = header.read_text()
            for path in re.findall(r"[\w./-]+/[\w-]+\.(?:h|md)\b", text):
                with self.subTest(header=header.name, path=path):
                    self.assertTrue((include / path).is_file() or (self.prefix / path).is_file())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
