"""Applies the faults of a plan, and ends them when their time is over."""

import collections
import contextlib
import heapq
import os
import time

from wire import Fault

NETWORK = ("cut", "delay", "drop", "reorder", "duplicate")


class Faults:
    def __init__(self, world):
        self.world = world
        self.ends, self.number = [], 0
        self.applied, self.skipped = collections.Counter(), collections.Counter()

    def apply(self, entry):
        """Applies one fault. A fault that is not possible now, such as a kill of a dead daemon, is counted as skipped."""
        kind, device = entry["fault"], self.world.devices[entry["device"]]
        if kind in NETWORK:
            undo = self.disturb_wire(device, entry)
        elif kind.startswith("radio"):
            undo = self.world.disturb_radio(entry)
        else:
            undo = getattr(self, kind)(device, entry)
        if undo is None:
            self.skipped[kind] += 1
            return False
        self.applied[kind] += 1
        self.number += 1
        heapq.heappush(self.ends, (time.monotonic() + entry["for"] / 1000, self.number, undo))
        return True

    def end_due(self):
        while self.ends and self.ends[0][0] <= time.monotonic():
            heapq.heappop(self.ends)[2]()

    def end_all(self):
        while self.ends:
            heapq.heappop(self.ends)[2]()

    def disturb_wire(self, device, entry):
        fault = Fault(device.port, entry["fault"], entry.get("share", 1.0), entry.get("delay_ms", 0) / 1000)
        self.world.wire.add(fault)
        return lambda: self.world.wire.remove(fault)

    @staticmethod
    def kill(device, _entry):
        return device.start if device.kill() else None

    @staticmethod
    def restart(device, _entry):
        return device.start if device.terminate() else None

    @staticmethod
    def freeze(device, _entry):
        process = device.process
        return (lambda: device.thaw(process)) if device.freeze() else None

    @staticmethod
    def clock(device, entry):
        device.set_clock(entry["jump_s"])
        return lambda: device.set_clock(0)

    @staticmethod
    def fill_disk(device, _entry):
        filler = device.state / "filler"
        if filler.exists():
            return None
        with contextlib.suppress(OSError), open(filler, "wb", buffering=0) as file:
            while file.write(bytes(4096)):
                pass
        device.begin_disturbance()

        def undo():
            filler.unlink()
            device.end_disturbance()
        return undo

    @staticmethod
    def unreadable(device, entry):
        path = device.state / entry["file"]
        try:
            status = path.stat()
            path.chmod(0)
        except OSError:
            return None
        if status.st_mode & 0o777 == 0:
            return None
        device.begin_disturbance()

        def undo():
            # The daemon may have replaced the file by a readable one.
            with contextlib.suppress(OSError):
                if path.stat().st_ino == status.st_ino:
                    path.chmod(status.st_mode & 0o777)
            device.end_disturbance()
        return undo

    @staticmethod
    def half_written(device, entry):
        """Leaves a file as a crash may leave it. The daemon is killed before, because its files are its own."""
        path = device.state / entry["file"]
        if not path.exists() or not device.kill():
            return None
        keep = 0 if entry["damage"] == "empty" else path.stat().st_size // 2
        os.truncate(path, keep)
        if entry["damage"] == "noise":
            with contextlib.suppress(OSError), open(path, "ab", buffering=0) as file:
                file.write(b"\xff\x00" * 20)
        return device.start
