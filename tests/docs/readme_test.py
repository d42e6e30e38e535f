"""Runs the commands of the README unchanged, as a user pastes them.

Usage: readme_test.py SOURCE_DIR BIN_DIR
"""

import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])


def running(lock):
    """Returns the process id of the daemon that holds this lock file, or None."""
    try:
        pid = int(lock.read_text())
        return pid if pathlib.Path(f"/proc/{pid}/comm").read_text() == "distnetd\n" else None
    except (OSError, ValueError):
        return None


class Readme(unittest.TestCase):
    def test_readme_commands_bring_laptop_online_and_stop(self):
        section = (SOURCE / "README.md").read_text().split("\n## Two devices by hand\n")[1]
        lines = re.search(r"(?ms)^```\n(.*?)^```$", section).group(1)
        with tempfile.TemporaryDirectory() as folder:
            repository = pathlib.Path(folder, "repository")
            (repository / "build/dev").mkdir(parents=True)
            (repository / "build/dev/bin").symlink_to(BINARIES)
            try:
                ended = subprocess.run(["bash", "-e", "-c", lines], cwd=repository, capture_output=True, text=True, timeout=60,
                                       env={**os.environ, "TMPDIR": folder}, check=False)
                logs = "".join(log.read_text() for log in pathlib.Path(folder).rglob("*.log"))
                self.assertEqual(ended.returncode, 0, ended.stdout + ended.stderr + logs)
                self.assertIn("\nYou are online through phone ", ended.stdout)
                self.assertEqual(ended.stderr, "")
            finally:
                for lock in pathlib.Path(folder).rglob("distnetd.lock"):
                    if pid := running(lock):
                        subprocess.run(["timeout", "10", "tail", f"--pid={pid}", "-f", "/dev/null"], check=False)
                    if pid := running(lock):
                        os.kill(pid, signal.SIGKILL)
                        self.fail(f"the daemon of {lock.parent.name} goes on")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
