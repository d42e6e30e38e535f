"""What must be true after the faults of a round have ended and all programs have finished."""

import collections
import json
import re

import clients
import dbus

SETTLE_LIMIT_S = 90   # a collaboration ends 30 s after its last use, a hotspot 10 s after its last station
LEASE_LIMIT_S = 170   # a lease ends 150 s after its last message
LOG_LINE = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d [DIWEF] \w+: +\S.*|"
                      r"distnetd: \S.*")  # the second form: why the daemon did not start
STATE_FILES = re.compile(r"distnetd\.lock|events\.jsonl(\.\d+)?|device-state\.json|hotspot-key|network-changes\.json|"
                         r"(known-devices|online|sharing)\.json(\.unusable)?|removals\.json|identity")
IDENTITY_FILES = re.compile(r"device\.(key|id|crt)|account\.(crt|key|state|number)|link\.key|removal|backup|restored|"
                            r"older-account")
THREADS_ABOVE, DESCRIPTORS_ABOVE = 4, 3  # the elastic pools keep some threads; a kept link uses a descriptor


def event_fault(line):
    try:
        event = json.loads(line)
    except ValueError:
        return f"no JSON: {line[:200]!r}"
    if list(event) != ["time", "domain", "name", "type", "params"]:
        return f"members {list(event)}"
    return clients.schema_fault({"schema": "distnetctl/event/1", **event})


def lines_of(path, start):
    """Returns the bytes of a file from a position as lines, and the position after them."""
    with open(path, "rb") as file:
        file.seek(start)
        data = file.read()
    return data.decode(errors="replace").splitlines(), start + len(data)


class Checks:
    def __init__(self, world):
        self.world, self.counts = world, collections.Counter()
        self.baseline, self.log_read, self.secrets = {}, {}, set()

    def take_baseline(self):
        for device in self.world.devices.values():
            counts = device.status()["counts"]
            self.baseline[device.name] = (counts["threads"], counts["descriptors"])

    def leftovers(self, has_files=True):
        """Returns what is left over now of earlier requests, as texts. has_files: whether state files count."""
        left = []
        for device in self.world.devices.values():
            self.counts["leftovers"] += 1
            answer = device.status()
            if answer is None:
                left.append(f"{device.name} does not answer")
                continue
            left += [f"{device.name}: {text}" for text in self.left_in(device, answer)]
            left += [f"{device.name}: {text}" for text in self.state_faults(device)] if has_files else []
        try:
            return left + self.world.radio_leftovers()
        except dbus.DBusException as error:
            return [*left, str(error)]

    def left_in(self, device, answer):
        counts, online, sharing, status = (answer[name] for name in ("counts", "online", "sharing", "status"))
        for key in ("sessions", "pending_opens", "collaborations", "queued_tasks"):
            if counts[key] != 0:
                yield f"{counts[key]} {key}"
        if counts["ipc_connections"] != 1:
            yield f"{counts['ipc_connections']} ipc_connections"
        threads, descriptors = self.baseline.get(device.name, (1000, 1000))
        if counts["threads"] > threads + THREADS_ABOVE:
            yield f"{counts['threads']} threads instead of {threads}"
        if counts["descriptors"] > descriptors + DESCRIPTORS_ABOVE:
            yield f"{counts['descriptors']} descriptors instead of {descriptors}"
        if online["attempt"]["phase"] in ("running", "cancelling") or online["lease"] or online["since"]:
            yield f"online: {online['attempt']['phase']}, lease {online['lease']}, since {online['since']}"
        if sharing["users"] or sharing["requests"] or sharing["on"] or sharing["opened_here"]:
            yield f"sharing: {sharing['users']} {sharing['requests']} on {sharing['on']}"
        if status["hotspot"] is None or status["hotspot"]["active"]:
            yield f"hotspot {status['hotspot']}"

    def state_faults(self, device):
        """Yields the state files that are damaged or unknown."""
        for path in [*device.state.iterdir(), *(device.state / "identity").iterdir()]:
            names = IDENTITY_FILES if path.parent.name == "identity" else STATE_FILES
            if not names.fullmatch(path.name):
                yield f"unknown file {path.name}"
            elif path.suffix == ".json" or path.name == "link.key":
                try:
                    value = json.loads(path.read_text())
                except ValueError:
                    yield f"damaged file {path.name}: {path.read_bytes()[:200]!r}"
                    continue
                if path.name == "network-changes.json" and value:
                    yield f"pending changes {value}"

    def output_faults(self):
        """Yields events and log lines that are not well-formed or contain a secret."""
        for device in self.world.devices.values():
            lines, self.log_read[device.name] = lines_of(device.log, self.log_read.get(device.name, 0))
            self.counts["log lines"] += len(lines)
            yield from (f"{device.name}: log line {line!r}" for line in lines if not LOG_LINE.fullmatch(line))
            key = device.state / "hotspot-key"
            if key.exists() and key.stat().st_size > 0:
                self.secrets.add(key.read_text(errors="replace").strip())
            for path in device.state.glob("events.jsonl*"):
                events = path.read_text(errors="replace").splitlines()
                self.counts["event lines"] += len(events)
                for line in events:
                    fault = event_fault(line)
                    if fault is not None:
                        yield f"{device.name}: {path.name}: {fault}"
                lines += events
            for secret in self.secrets:
                yield from (f"{device.name}: a secret in {line!r}" for line in lines if secret in line)
