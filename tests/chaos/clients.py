"""Programs that use the daemons during the faults, and the rules for their results."""

import contextlib
import functools
import json
import pathlib
import re
import signal
import subprocess
import time

import jsonschema

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
UNDO_LIMIT_S = 25      # of CancelOnline and BringDown
SCHEDULING_S = 8       # a busy machine, and the start of the program
JOIN_LIMIT_S = 60
EXIT_OF_CODE = {-1: (3,), -2: (5,), -3: (1,), -4: (2,), -5: (1,), -6: (130,), 201: (4,)}
LOCAL_NAMES = {"OK", "UNREACHABLE", "TIMED_OUT", "BAD_ANSWER", "USAGE", "NOT_DONE", "INTERRUPTED", "CANCELLED",
               "PERMISSION_DENIED"}
ENDLESS = re.compile(r"service hold|watch|account invite.*")
MAY_EXIT_ONE = ("doctor", "info")  # with code 0: an item is missing, or a check found a fault


def first_column(page, heading):
    """Returns the words of the first column of the first table below a heading of a page."""
    text = (SOURCE / "docs" / page).read_text().split(f"\n{heading}\n", 1)[1]
    table = re.search(r"(?:^\|.*\n)+", text, re.M).group(0).splitlines()[2:]
    return {word for row in table for word in re.findall(r"[\w-]+", row.split("|")[1])}


@functools.cache
def known_names():
    faults = first_column("failures.md", "## On the way online") | first_column(
        "ipc.md", "**fault**: `{\"code\", \"message\", \"advice\", \"suggestion\"}`, or null if the operation succeeded. "
        "Programs decide by the code.")
    share_faults = {"not_asked"}  # of AnswerShareRequest; the page has no table for them
    header = (SOURCE / "distributed/services/utils/distnet_errors.h").read_text()
    return ({fault.upper() for fault in faults | share_faults} | LOCAL_NAMES
            | set(re.findall(r"^\s*(\w+) = -?\d+", header, re.M)))


@functools.cache
def known_codes():
    return {int(word) for word in first_column("distnetctl.md", "## Result codes of the service")} | set(range(-6, 1))


@functools.cache
def schemas():
    return {path.stem: json.loads(path.read_text()) for path in (SOURCE / "docs/schema").iterdir()}


@functools.cache
def validator(name):
    store = {schema["$id"]: schema for schema in schemas().values()}
    schema = schemas()[name]
    return jsonschema.Draft202012Validator(schema, resolver=jsonschema.RefResolver.from_schema(schema, store=store))


def schema_fault(value):
    """Returns what is wrong with one object of distnetctl, or None."""
    name = re.fullmatch(r"distnetctl/([a-z-]+)/1", str(value.get("schema")))
    if name is None or name.group(1) not in schemas():
        return f"no schema {value.get('schema')}"
    for error in validator(name.group(1)).iter_errors(value):
        return f"{'/'.join(map(str, error.absolute_path))}: {error.message[:200]}"
    return None


class Client:
    """One run of distnetctl."""

    def __init__(self, device, words, timeout, folder, number, typed=None):
        self.device, self.words, self.timeout = device, words, timeout
        self.output = folder / f"{number}-{device.name}-{words[0]}.out"
        self.errors = self.output.with_suffix(".err")
        self.began, self.signal, self.took = time.monotonic(), None, None
        self.text = " ".join(words)
        with open(self.output, "wb") as output, open(self.errors, "wb") as errors:
            self.process = subprocess.Popen(device.command(*words, timeout=timeout), stdin=subprocess.PIPE, stdout=output,
                                            stderr=errors, env=device.environment())
        with contextlib.suppress(BrokenPipeError):  # the program may end without reading
            self.process.stdin.write((typed or "").encode())
            self.process.stdin.close()

    def bound_s(self):
        """How long the command may take. A signal gives a command that runs without a limit the same time again."""
        since = self.began if self.signal is None else self.signal[1]
        longest = {"up": self.timeout + UNDO_LIMIT_S, "start": self.timeout + UNDO_LIMIT_S,
                   "down": max(self.timeout, UNDO_LIMIT_S), "account join": JOIN_LIMIT_S + self.timeout}
        return since - self.began + SCHEDULING_S + longest.get(self.words[0], longest.get(self.text, self.timeout))

    def end(self, name):
        if self.process.poll() is None:
            self.process.send_signal(getattr(signal, f"SIG{name}"))
            self.signal = (name, time.monotonic())

    def is_done(self):
        if self.process.poll() is None:
            return False
        self.took = self.took or time.monotonic() - self.began
        return True

    def is_late(self):
        if self.signal is None and ENDLESS.match(self.text):
            return False
        return time.monotonic() - self.began > self.bound_s()

    def answer(self):
        """Returns the last object that the command printed, or {}."""
        lines = self.output.read_text().splitlines()
        try:
            return json.loads(lines[-1]) if lines else {}
        except ValueError:
            return {}

    def fault(self):
        """Returns what is wrong with the result, or None."""
        code = self.process.returncode
        if self.signal is not None and code == -getattr(signal, f"SIG{self.signal[0]}"):
            # SIGKILL, or a signal that came before the program had set its handler.
            return None if self.signal[0] == "KILL" or not self.output.read_bytes() else f"{self.text}: ended with {code}"
        if code not in (0, 1, 2, 3, 4, 5, 130):
            return f"{self.text}: ended with {code}: {self.errors.read_text()[-300:]}"
        value = None
        for line in self.output.read_text().splitlines():
            try:
                value = json.loads(line)
            except ValueError:
                return f"{self.text}: printed no JSON: {line[:200]}"
            wrong = schema_fault(value)
            if wrong is not None:
                return f"{self.text}: {wrong}"
        return self.code_fault(code, value)

    def code_fault(self, exit_code, value):
        if value is None or "code" not in value:
            return None if self.words[0] in ("events", "watch", "service") else f"{self.text}: no result, exit {exit_code}"
        code, name = value["code"], value["name"]
        if code not in known_codes() or name not in known_names():
            return f"{self.text}: code {code}, name {name} are in no table"
        if code == 0:
            allowed = (0, 1) if self.words[0] in MAY_EXIT_ONE else (0,)
        else:
            allowed = EXIT_OF_CODE.get(code, (1,))
        return None if exit_code in allowed else f"{self.text}: exit code {exit_code} with {code} {name}"
