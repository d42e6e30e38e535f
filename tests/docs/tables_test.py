"""Checks the tables in docs/ against the programs' help, their sources and their tests.

Usage: tables_test.py SOURCE_DIR BIN_DIR
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
SIMULATED = tempfile.TemporaryDirectory()  # a simulated device's state folder: with it, the help shows `sim`
pathlib.Path(SIMULATED.name, "device-state.json").write_text("{}")


def rows(page, heading):
    """Returns the cells of the first table below a heading of a page, without back quotes."""
    text = ("\n" + (SOURCE / "docs" / page).read_text()).split(f"\n{heading}\n")[1]
    table = re.search(r"(?:^\|.*\n)+", text, re.M).group(0).splitlines()[2:]
    return [[cell.strip().replace("`", "") for cell in line.strip("|").split("|")] for line in table]


def run(program, *arguments):
    return subprocess.run([BINARIES / program, *arguments], capture_output=True, text=True, timeout=20, check=True).stdout


def commands(*path):
    """Returns every command below path that has no subcommands, with its help text."""
    text = run("distnetctl", *path, "--state", SIMULATED.name, "--help")
    below = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    if below is None:
        return {" ".join(path): text}
    names = re.findall(r"^  (\S+)", below.group(1), re.M)
    return {name: help for child in names for name, help in commands(*path, child).items()}


def numbers(header, enumeration):
    text = re.search(rf"enum (?:class )?{enumeration}\b.*?\{{(.*?)\}};", (SOURCE / header).read_text(), re.S).group(1)
    return dict(re.findall(r"^\s*(\w+) = (-?\d+)", text, re.M))


class Tables(unittest.TestCase):
    maxDiff = None

    def test_page_lists_every_configuration_key_as_help_does(self):
        text = run("distnetd", "--help").split("Keys of the file:\n")[1]
        told = re.findall(r"^  (\S+)\n((?:      .*\n)+)", text, re.M)
        shown = {(key, " ".join(words.split())) for key, words in told}
        self.assertGreater(len(shown), 10)
        self.assertEqual(shown, {(key, f"{meaning}: {allowed} (default: {default})") for key, allowed, default, meaning
                                 in rows("configuration.md", "STATE_DIR is the value of `state_dir`.")})

    def test_page_lists_every_command_and_option(self):
        page = (SOURCE / "docs/distnetctl.md").read_text()
        listed = page.split("# distnetctl\n")[1].split("PEER is")[0]
        told = {re.match(r"[a-z]+(?: [a-z]+)*", cell).group(0) for cell in re.findall(r"`([a-z][^`]*)`(?=.*\|.*\|)", listed)}
        self.assertEqual(told, set(commands()))
        for command, text in commands().items():
            for option in re.findall(r"^  (?:-\w,)?(--[a-z-]+)", text, re.M):
                self.assertTrue(option == "--help" or re.search(rf"`[^`]*{option}\b", page), f"{command} {option}")
            self.assertLessEqual(max(map(len, text.splitlines())), 80, text)

    def test_invalid_arguments_exit_with_code_two(self):
        for words in ((), ("frobnicate",), ("start",), ("--timeout", "0", "devices"), ("--timeout", "nan", "devices"),
                      ("account", "show", "--state", ""), ("sim", "set", "--state", "/nonexistent", "x")):
            with self.subTest(words):
                ended = subprocess.run([BINARIES / "distnetctl", *words], capture_output=True, timeout=20, check=False)
                self.assertEqual(ended.returncode, 2, ended.stderr)

    def test_pages_list_every_exit_code_and_result_code(self):
        for header, enumeration, page, heading in [
                ("tools/distnetctl/output.h", "ExitCode", "distnetctl.md", "## Exit codes"),
                ("tools/distnetctl/output.h", "LocalCode", "distnetctl.md", "## JSON"),
                ("distributed/services/utils/distnet_errors.h", "DistNetResult", "distnetctl.md",
                 "## Result codes of the service"),
                ("distributed/services/utils/distnet_errors.h", "HotspotFailure", "errors.md", "## Failure codes in events"),
                ("distributed/services/utils/distnet_errors.h", "RemoteInfoFailure", "errors.md",
                 "## Failure codes of capability items"),
                ("distributed/services/service/i_distnet_service.h", "DistNetInterfaceCode", "ipc.md",
                 "## Ability 1163: the service"),
                ("interfaces/i_distnet_host.h", "HostInterfaceCode", "ipc.md", "## Ability 1164: the daemon about itself"),
                ("platform/ipc/ipc_types.h", "IpcStatus", "ipc.md",
                 "Status 0 is success. Beside it a callee returns codes of its own (below), and the layer itself returns:")]:
            with self.subTest(enumeration):
                told = {row[0] for row in rows(page, heading)}
                self.assertEqual(set(numbers(header, enumeration).values()) - {"0"}, told - {"0"})
        codes = numbers("distributed/services/utils/distnet_errors.h", "DistNetResult")
        texts = re.findall(r'ROW\((\w+), "(.*?)"', (SOURCE / "client/code_text.cpp").read_text())
        self.assertEqual([(codes[name], text) for name, text in texts],
                         [tuple(row) for row in rows("distnetctl.md", "## Result codes of the service")])

    def test_every_promise_names_existing_test(self):
        source = "".join(file.read_text() for file in (SOURCE / "tests").rglob("*_test.cpp"))
        there = {f"{suite}.{name}" for suite, name in re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", source, re.M)}
        for promise, _, tests in rows("security.md", "## Promises"):
            named = tests.split(", ")
            self.assertTrue(named[0], promise)
            for test in named:
                self.assertTrue(any(test == one or one.startswith(test + ".") for one in there), test)

    def test_page_lists_every_event_with_parameters(self):
        source = "".join((SOURCE / file).read_text() for file in
                         ("distributed/services/service/event_report.cpp", "platform/wifi/share_closed.cpp",
                          "platform/wifi/station.cpp", "platform/softbus/account/state_exchange.cpp",
                          "host/sharing/share_events.cpp", "host/online/online_events.cpp"))
        keys = dict(re.findall(r'(KEY_\w+) = "(\w+)"', source))
        written = {name: [keys.get(key, key) for key in re.findall(r"\b(?:KEY_\w+|REASON)\b", rest)]
                   for name, rest in re.findall(r'"(NET_[A-Z_]+)"(.*?);', source, re.S)}
        self.assertEqual(written, {row[0]: re.findall(r"[A-Z_]+", row[3]) for row in rows("errors.md", "## System events")})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
