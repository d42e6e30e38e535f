"""Checks the output of distnetctl --json against docs/schema/: two devices run its commands, with success and failure.

Usage: schema_test.py SOURCE_DIR BIN_DIR
"""

import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import unittest

import account_test
import jsonschema
from devices import wait_until

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
SCHEMAS = {path.stem: json.loads(path.read_text()) for path in (SOURCE / "docs/schema").iterdir()}
STORE = {schema["$id"]: schema for schema in SCHEMAS.values()}


def validate(line):
    """Checks the line against the schema that it names. Returns the name of the schema."""
    value = json.loads(line, object_pairs_hook=unique)
    assert next(iter(value)) == "schema", line
    name, version = re.fullmatch(r"distnetctl/([a-z-]+)/(\d+)", value["schema"]).groups()
    schema = SCHEMAS[name]
    assert f"/{version}/" in schema["$id"], line
    resolver = jsonschema.RefResolver.from_schema(schema, store=STORE)
    jsonschema.Draft202012Validator(schema, resolver=resolver).validate(value)
    return name


def unique(pairs):
    assert len({key for key, _ in pairs}) == len(pairs), f"a member twice: {pairs}"
    return dict(pairs)


def undescribed(schema, path):
    """Yields the members of a schema that have no description."""
    for key, value in schema.items() if isinstance(schema, dict) else enumerate(schema):
        if key in ("properties", "$defs") and "const" not in schema:
            for name, member in value.items():
                if not {"description", "$ref", "const"} & set(member):
                    yield f"{path}.{name}"
        if isinstance(value, (dict, list)):
            yield from undescribed(value, f"{path}.{key}")


class Schema(unittest.TestCase):
    setUp = account_test.Account.setUp

    def valid(self, device, words, code=0, typed=None, **options):
        """Runs a command and checks each line of its output. Returns the names of the schemas."""
        words = words.split() if isinstance(words, str) else words
        ended = device.run("--json", *map(str, words), typed=typed, **options)
        self.assertIn(ended.returncode, [code] if code is not None else [0, 1], f"{words}: {ended.stdout}{ended.stderr}")
        lines = ended.stdout.splitlines()
        self.assertTrue(lines or words[0] in ("events", "watch"), words)
        names = [validate(line) for line in lines]
        self.seen.update(names)
        return names

    def interrupted(self, device, *words, first=False):
        """Starts and interrupts a command; if first, only after its first line. Returns its last object and its exit code."""
        process = subprocess.Popen([BINARIES / "distnetctl", "--socket", device.socket, "--json", *words], text=True,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        for pipe in process.stdin, process.stdout:
            self.addCleanup(pipe.close)
        begun = process.stdout.readline() if first else ""
        state = pathlib.Path(f"/proc/{process.pid}/status")
        # distnetctl blocks SIGINT and then ignores SIGPIPE, so the interrupt is handled once SIGPIPE is ignored.
        wait_until(self, lambda: int(re.search(r"SigIgn:\s+(\w+)", state.read_text()).group(1), 16) & 0x1000)
        process.send_signal(signal.SIGINT)
        lines = (begun + process.stdout.read()).splitlines()
        self.seen.update(map(validate, lines))
        return json.loads(lines[-1]), process.wait()

    def test_output_of_every_command_follows_its_schema(self):
        self.seen = set()
        known = self.laptop.run("--help").stdout
        laptop, phone = self.laptop, self.phone
        self.join()
        wait_until(self, lambda: "reachable" in laptop.run("devices").stdout)
        for words in ("devices", "status", "info", "doctor", "start phone", "start --timing phone", "stop phone",
                      "account devices", "account rename phone phone2", "account transfer phone --yes"):
            self.valid(laptop, words)
        for words, code in (("start nobody", 2), ("info nonsense", 1), ("events --since x", 2), ("account rename nobody b", 2),
                            ("account backup", 2), ("nonsense", 2), ("account", 2)):
            self.valid(laptop, words, code)
        for words in ("up phone", "auto on", "auto", "auto off", "prefer phone", "prefer", "share status",
                      "share requests", "share allow phone", "share deny phone", "down"):
            if re.search(rf"(?m)^  {words.split()[0]} ", known):
                self.valid(laptop, words, code=None)
        for words in ("account renew", "account remove laptop --yes"):
            self.valid(phone, words)
        wait_until(self, lambda: "removed" in laptop.run("status").stdout)
        self.valid(laptop, "devices", 1)
        self.valid(laptop, "doctor", 1)
        self.valid(laptop, "account leave --yes")
        self.assertIn("event", self.valid(phone, "events") + self.valid(laptop, "events"))
        self.files()
        self.live()
        laptop.socket = self.world / "none"
        self.valid(laptop, "events", 3)
        unseen = {name for name in SCHEMAS if re.search(rf"(?m)^  {name.split('-')[0]} ", known)} - self.seen
        self.assertEqual(unseen, set(), "schemas that no command was held to")

    def join(self):
        invite = subprocess.Popen([BINARIES / "distnetctl", "--socket", self.laptop.socket, "--json", "account", "invite",
                                   "--yes"], stdout=subprocess.PIPE, text=True)
        first = invite.stdout.readline()
        self.valid(self.phone, "account join", typed=json.loads(first)["ticket"] + "\n")
        for line in [first, *invite.communicate(timeout=account_test.PATIENCE)[0].splitlines()]:
            self.seen.add(validate(line))

    def files(self):
        """Checks the commands that work on files and folders."""
        folder = self.world / "files"
        holder, member = folder / "holder", folder / "member"
        for each in folder, folder / "new":
            each.mkdir()
        for words in (f"account create cabin --state {holder}", f"account request {folder}/csr --device-name guest --state {member}",
                      f"account admit {folder}/csr -o {folder}/pem --state {holder}",
                      f"account install {folder}/pem --state {member}", f"account show --state {holder}",
                      f"sim set screen=off --state {self.phone.state}", f"sim show --state {self.phone.state}"):
            self.valid(self.laptop, words)
        for words in (f"account backup {folder}/p12 --state {holder}",
                      f"account restore {folder}/p12 --alone --state {folder}/new"):
            reader, writer = os.pipe()
            os.write(writer, b"correct horse battery staple\n")
            os.close(writer)
            self.valid(self.laptop, f"{words} --passphrase-fd {reader}", pass_fds=(reader,))
            os.close(reader)

    def live(self):
        self.valid(self.laptop, "trace start")
        self.valid(self.laptop, f"trace stop {self.world}/trace.json")
        for device, words in (self.phone, "account invite --yes"), (self.laptop, "account join"):
            ended, code = self.interrupted(device, *words.split())
            self.assertEqual((ended["name"], ended["code"], code), ("INTERRUPTED", -6, 130), words)
        self.assertEqual(self.interrupted(self.laptop, "watch", first=True)[1], 0)
        self.assertEqual(self.interrupted(self.laptop, "service", "hold")[1], 0)

    def test_schemas_are_valid_and_describe_every_member(self):
        for name, schema in SCHEMAS.items():
            with self.subTest(name):
                jsonschema.Draft202012Validator.check_schema(schema)
                self.assertEqual(list(undescribed(schema, name)), [])
        documented = re.findall(r"(?m)^\| `(NET_\w+)`", (SOURCE / "docs/errors.md").read_text())
        self.assertLessEqual(set(documented), set(SCHEMAS["event"]["properties"]["name"]["enum"]))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
