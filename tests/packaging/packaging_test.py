"""Checks what a package adds (manuals, completion, configuration, the daemon's user) against the programs.

Usage: packaging_test.py SOURCE_DIR BIN_DIR
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
PACKAGING = SOURCE / "packaging"


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=30, check=True, **options).stdout


# A shell function that prints $DEVICES as the daemon's answer to `devices`, and runs distnetctl for other commands.
STUB = 'distnetctl() { [[ "$*" == *devices ]] && printf %s "$DEVICES" || command distnetctl "$@"; };'
# The command with which each shell prints the completions of the last argument. zsh's own functions need a terminal, so
# compadd is replaced by a function that prints the matching words.
SHELLS = {
    "bash": ["bash", "-c", STUB + """source $COMPLETION/distnetctl.bash
        COMP_WORDS=(distnetctl "$@"); COMP_CWORD=$#; _distnetctl distnetctl "${@: -1}" "${COMP_WORDS[$#-1]}"
        printf '%s\\n' "${COMPREPLY[@]//\\\\/}" """, "bash"],
    "zsh": ["zsh", "-f", "-c", STUB + """
        compadd() {
            while [[ $1 == -* ]]; do
                case $1 in --) shift; break ;; -d|-S) shift 2 ;; *) shift ;; esac
            done
            for name in "$@"; do [[ $name != "$PREFIX"* ]] || print -r -- $name; done
        }
        _files() { print -rl -- $PREFIX*(N) }
        words=(distnetctl "$@"); CURRENT=$#words; PREFIX=$words[-1]; source $COMPLETION/_distnetctl""", "zsh"],
    "fish": ["fish", "--no-config", "-c", """
        function distnetctl
            string match -q '*devices' -- "$argv"; and printf %s "$DEVICES"; or command distnetctl $argv
        end
        source $COMPLETION/distnetctl.fish; complete -C "distnetctl $argv" | cut -f 1""", "--"],
}


def complete(shell, *words, devices=""):
    """Returns the completions that the shell offers for the last word."""
    environment = {**os.environ, "PATH": f"{BINARIES}:{os.environ['PATH']}", "COMPLETION": PACKAGING / "completion",
                   "DEVICES": devices}
    return set(run(*SHELLS[shell], *words, env=environment).split("\n")) - {""}


class Packaging(unittest.TestCase):
    def test_every_manual_is_complete_and_formats_without_warnings(self):
        for page, text in {"distnetctl.1": "docs/distnetctl.md", "distnetd.json.5": "docs/configuration.md",
                           "distnetd.8": "packaging/man/distnetd.md"}.items():
            with self.subTest(page):
                manual = run(PACKAGING / "man/make-page", page, "1.2.3", SOURCE / text)
                groff = ["groff", "-man", "-Kutf8", "-Tutf8", "-rLL=200n", "-ww", "-Wfont"]
                shown = subprocess.run(groff, input=manual, capture_output=True, text=True, check=True)
                self.assertEqual(shown.stderr, "")
                self.assertRegex(manual, rf"(?m)^\.SH\nNAME\n\.LP\n{re.escape(page[:-2])} - ")
                for term in re.findall(r"(?m)^\| `([^`|]*)`", (SOURCE / text).read_text()):
                    self.assertIn(term.replace("-", ""), re.sub(r"\x1b\[\d*m|[-‐−]", "", shown.stdout))
                plain = re.sub(r"\x1b\[[\d;]*m|.\x08", "", shown.stdout)
                for cells in re.findall(r"(?m)^\|(.*)\|\n\|-", (SOURCE / text).read_text()):
                    first, *others = (cell.strip() for cell in cells.split("|"))
                    self.assertRegex(plain, rf"(?m)^ +{re.escape(first)}(?:\n+ +| +){re.escape(', '.join(others))}$")
        self.assertEqual(set(re.findall(r"--[a-z-]+", run(BINARIES / "distnetd", "--help"))) - {"--help"},
                         set(re.findall(r"\| `(--[a-z-]+)", (PACKAGING / "man/distnetd.md").read_text())) - {"--help"})

    def test_completion_offers_words_of_help(self):
        devices = '{"schema":"s","code":0,"name":"OK","devices":[{"name":"phone","type":"phone"},{"name":"my laptop"}]}'
        top = run(BINARIES / "distnetctl", "--help")
        options = re.findall(r"(?m)^  (?:-\w,)?(--[a-z-]+)", top + run(BINARIES / "distnetctl", "start", "--help"))
        for shell in SHELLS:
            with self.subTest(shell), tempfile.TemporaryDirectory() as simulated:
                if not shutil.which(shell):
                    self.skipTest(f"{shell} is not installed")
                commands = set(re.findall(r"(?m)^  ([a-z]+)  +[A-Z]", top))
                self.assertEqual(complete(shell, ""), commands)
                pathlib.Path(simulated, "device-state.json").write_text("{}")
                self.assertEqual(complete(shell, "--socket", f"{simulated}/ipc.sock", ""), commands | {"sim"})
                self.assertEqual(complete(shell, "--json", "account", "a"), {"admit"})
                self.assertEqual(complete(shell, "start", "--"), set(options))
                self.assertEqual(complete(shell, "--socket", "ipc.sock", "start", "", devices=devices),
                                 {"phone", "my laptop"})
                self.assertEqual(complete(shell, "account", "install", "/etc/hostn"), {"/etc/hostname"})

    def test_shipped_configuration_has_no_faults(self):
        run(BINARIES / "distnetd", "--check-config", "--config", PACKAGING / "distnetd.json")

    @unittest.skipUnless(os.geteuid() == 0, "only root can act for another user")
    def test_files_written_by_root_belong_to_owner_of_state_folder(self):
        with tempfile.TemporaryDirectory() as folder:
            state = pathlib.Path(folder, "state")
            state.mkdir()
            (state / "device-state.json").write_text("{}")
            os.chmod(folder, 0o755)
            os.chown(state, 64000, 64001)
            request = pathlib.Path(folder, "request")
            run(BINARIES / "distnetctl", "account", "request", request, "--state", state)
            run(BINARIES / "distnetctl", "sim", "set", "screen=off", "--state", state)
            self.assertEqual({(file.stat().st_uid, file.stat().st_gid) for file in state.rglob("*")}, {(64000, 64001)})
            self.assertEqual(request.stat().st_uid, 0)

    @unittest.skipUnless(os.geteuid() == 0, "only root can act for another user")
    def test_commands_on_inaccessible_state_folder_advise_sudo(self):
        def as_nobody(*words):
            return subprocess.run([BINARIES / "distnetctl", *words], capture_output=True, text=True, check=False,
                                  user=65534, group=65534, extra_groups=[], env={**os.environ, "COLUMNS": "1000"})
        try:
            as_nobody("--version")
        except PermissionError:
            self.skipTest("another user cannot run what was built here")
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o755)
            state, request = pathlib.Path(folder, "phone"), pathlib.Path(folder, "request.csr")
            run(BINARIES / "distnetctl", "account", "create", "home", "--state", state)
            run(BINARIES / "distnetctl", "account", "request", request, "--state", pathlib.Path(folder, "new"))
            os.chmod(request, 0o644)
            for words in (("account", "show"), ("account", "create", "home"), ("account", "request", "/nonexistent/a"),
                          ("account", "admit", request, "-o", "/nonexistent/a"), ("account", "install", request),
                          ("sim", "show"), ("sim", "set", "screen=off")):
                with self.subTest(words):
                    ended = as_nobody(*words, "--state", state)
                    self.assertEqual(ended.returncode, 1, ended.stderr)
                    for part in (str(state), "Permission denied", "use sudo"):
                        self.assertIn(part, ended.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
