#!/usr/bin/env python3
"""Measures what an idle daemon does: how often it wakes up, and which packets it sends or receives.

    bench/idle_bench.py [--unpinned] [--rounds N] [--idle-seconds SECONDS] [--build FOLDER] [NAME…]

  idle.wakeups  wake-ups of the daemon in one token period (15 min): those that were counted between two token changes,
                scaled to a period, plus those of one token change. "token_changes" says how many were seen: tokens
                change at each quarter of an hour, so only 900 s or more always see one
  idle.packets  TCP packets on the wire in the measured time, which are all of the daemons' own
  idle.online.wakeups, idle.online.packets  the same while the other devices are online

The laptop is a network namespace with a D-Bus daemon, an avahi-daemon and a distnetd on the platform linux. It has met
ten phones in a second namespace, connected by a veth pair. The phones then stop, except for idle.online. Needs root. A packet socket counts the
packets (packet(7)); wake-ups are the voluntary context switches of all threads of the daemon (proc(5)). There is one
round, and nothing is pinned, because an idle daemon needs no CPU; --rounds and --unpinned are accepted for scripts/bench.
Prints the figures as JSON lines (bench/bench.h).
"""
import argparse
import collections
import concurrent.futures
import contextlib
import ctypes
import json
import pathlib
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
GROUPS = {"idle": False, "idle.online": True}  # whether the phones stay online
PHONES = 10
TOKEN_PERIOD = 900  # seconds; a new period begins at each multiple of it
SETTLE = 30  # seconds from the last start until the daemons are idle
CHANGE = 20  # seconds after a token change in which wake-ups count as its own; threads end after 10 s without work
ETH_P_ALL = 0x0003
CLONE_NEWNET = 0x40000000
MDNS_PORT = 5353
HOLD = ("mount -t tmpfs tmpfs /run && ip link set lo up && for f in passwd group; do"
        " sed -E 's/^(avahi:x):[0-9]+(:[0-9]+)?/\\1:0\\2/; s/^(avahi:x:0):[0-9]+/\\1:0/' /etc/$f >/run/$f &&"
        " mount --bind /run/$f /etc/$f || exit; done && echo ready && exec sleep infinity")
BUS = ('<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context="default">'
       '<allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>')


class Machine:
    """A network namespace with a D-Bus daemon and an avahi-daemon."""

    def __init__(self, world, name, number):
        self.folder = world / name
        self.folder.mkdir()
        self.address = f"192.0.2.{number}"
        self.bus = f"unix:path={self.folder}/bus"
        self.processes = []
        self.holder = subprocess.Popen(["unshare", "--net", "--mount", "sh", "-c", HOLD], stdout=subprocess.PIPE,
                                       text=True)
        if self.holder.stdout.readline() != "ready\n":
            raise RuntimeError("cannot make a network namespace; is this root?")
        (self.folder / "bus.conf").write_text(BUS)
        (self.folder / "avahi.conf").write_text(f"[server]\nhost-name={name}\n[publish]\npublish-addresses=no\n")

    def enter(self, *command):
        return ["nsenter", "--target", str(self.holder.pid), "--net", "--mount", *map(str, command)]

    def run(self, *command):
        return subprocess.run(self.enter(*command), check=True, capture_output=True, text=True).stdout

    def begin(self, log, *command):
        with open(log, "a", encoding="utf-8") as stream:
            self.processes.append(subprocess.Popen(self.enter(*command), stdout=stream, stderr=stream))
        return self.processes[-1]

    def connect(self):
        self.run("ip", "address", "add", f"{self.address}/24", "dev", "wire")
        self.run("ip", "link", "set", "wire", "up")
        self.begin(self.folder / "bus.log", "dbus-daemon", "--nofork", "--nosyslog", f"--address={self.bus}",
                   f"--config-file={self.folder}/bus.conf")
        wait_until("the bus", (self.folder / "bus").exists)
        self.begin(self.folder / "avahi.log", "env", f"DBUS_SYSTEM_BUS_ADDRESS={self.bus}", "avahi-daemon",
                   "--no-drop-root", "--no-chroot", "--no-rlimits", "--no-proc-title", "-f",
                   self.folder / "avahi.conf")
        wait_until("Avahi", lambda: "startup complete" in (self.folder / "avahi.log").read_text())

    def end(self):
        for process in reversed(self.processes):
            process.send_signal(signal.SIGTERM)
            process.wait()
        self.holder.kill()
        self.holder.wait()


class Device:
    """A distnetd on a machine."""

    def __init__(self, machine, binaries, name, port):
        self.machine, self.binaries, self.name = machine, binaries, name
        self.folder = machine.folder / name
        self.folder.mkdir()
        self.process = None
        self.switches = {}  # of each thread that was seen, also of those that have ended
        self.ended = set()
        (self.folder / "policy.json").write_text(
            '{"entries": [{"user": "root", "token_type": "native", "system_app": true}]}')
        (self.folder / "distnetd.json").write_text(json.dumps({
            "platform": "linux", "state_dir": str(self.folder), "device": {"name": name, "type": "laptop"},
            "softbus": {"listen": "0.0.0.0", "port": port}, "linux": {"bus": machine.bus},
            "access": {"policy": "policy.json"}}))

    def account(self, *words):
        self.machine.run(self.binaries / "distnetctl", "account", *words, "--state", self.folder)

    def join(self, holder):
        request, answer = self.folder / "request", self.folder / "answer"
        self.account("request", request, "--device-name", self.name)
        holder.account("admit", request, "-o", answer)
        self.account("install", answer)

    def start(self):
        self.process = self.machine.begin(self.folder / "distnetd.log", self.binaries / "distnetd", "--config",
                                          self.folder / "distnetd.json")

    def reachable(self):
        """Returns how many devices this device has met and can reach."""
        try:
            answer = json.loads(self.machine.run(self.binaries / "distnetctl", "--json", "--socket",
                                                 self.folder / "ipc.sock", "devices"))
        except subprocess.CalledProcessError:
            return 0
        return sum(device["online"] for device in answer["devices"])

    def wake_ups(self):
        """Returns the wake-ups of all threads so far. The wake-up that ends a thread is added, because its count ends."""
        alive = set()
        for task in pathlib.Path(f"/proc/{self.process.pid}/task").iterdir():
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):  # the thread has ended
                for line in (task / "status").read_text().splitlines():
                    if line.startswith("voluntary"):
                        self.switches[task.name] = int(line.split()[1])
                        alive.add(task.name)
        self.ended |= self.switches.keys() - alive
        return sum(self.switches.values()) + len(self.ended)


def wait_until(what, condition, limit=90.0):
    end = time.monotonic() + limit
    while not condition():
        if time.monotonic() > end:
            raise RuntimeError(f"{what}: not within {limit:.0f} s")
        time.sleep(0.1)


def enter_namespace(file):
    if ctypes.CDLL(None, use_errno=True).setns(file.fileno(), CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "setns")


class Wire:
    """Counts packets of one interface of a namespace by their kind."""

    def __init__(self, machine, interface):
        with open(f"/proc/{machine.holder.pid}/ns/net") as namespace, open("/proc/self/ns/net") as own:
            enter_namespace(namespace)
            self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ALL))
            self.socket.bind((interface, 0))
            enter_namespace(own)
        self.counts = collections.Counter()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        with contextlib.suppress(OSError):  # recv fails when the veth pair is removed
            while True:
                self.counts[self.kind(self.socket.recv(65535))] += 1

    @staticmethod
    def kind(frame):
        ether = struct.unpack_from("!H", frame, 12)[0]
        if ether == 0x0800:
            protocol, at = frame[23], 14 + 4 * (frame[14] & 15)
        elif ether == 0x86DD:
            protocol, at = frame[20], 54
        else:
            return "ARP and the like"
        if protocol == 6:
            return "TCP"
        if protocol == 17 and MDNS_PORT in struct.unpack_from("!HH", frame, at):
            return "multicast DNS"
        return "other UDP" if protocol == 17 else "ICMP and IGMP"


def observe(device, seconds):
    """Returns the wake-ups between token changes, the seconds of that, and the wake-ups of each token change."""
    end = time.time() + seconds
    between, quiet, changes = 0, 0.0, []
    while time.time() < end:
        # A step ends shortly before the next token change, or after it, or at the end.
        now = time.time()
        turn = (now // TOKEN_PERIOD + 1) * TOKEN_PERIOD
        is_change = turn - now <= 1
        step = turn + CHANGE if is_change else min(end, turn - 1)
        before = device.wake_ups()
        while time.time() < step:
            time.sleep(min(1.0, max(0.01, step - time.time())))
            device.wake_ups()  # often, because a thread without work ends after 10 s
        count = device.wake_ups() - before
        if is_change:
            changes.append(count)
        else:
            between += count
            quiet += step - now
    return between, quiet, changes


def measure(group, laptop, seconds):
    time.sleep(SETTLE)
    wire = Wire(laptop.machine, "wire")
    began = time.monotonic()
    between, quiet, changes = observe(laptop, seconds)
    measured = time.monotonic() - began
    print(f"{group}: {measured:.0f} s with {PHONES} known devices: {between} wake-ups between token changes, at token"
          f" changes {changes}; packets on the wire: {dict(wire.counts)}", file=sys.stderr)
    wake_ups = between * TOKEN_PERIOD / quiet + (sum(changes) / len(changes) if changes else 0)
    return {f"{group}.wakeups": {"value": round(wake_ups, 2), "unit": "a period", "token_changes": len(changes)},
            f"{group}.packets": {"value": wire.counts["TCP"], "unit": "packets"}}


def run(options, group):
    binaries = (options.build / "bin").resolve()
    with tempfile.TemporaryDirectory() as folder:
        machines = []
        try:
            machines = [Machine(pathlib.Path(folder), name, number)
                        for number, name in enumerate(("near", "far"), start=1)]
            near, far = machines
            near.run("ip", "link", "add", "wire", "type", "veth", "peer", "name", "wire", "netns", far.holder.pid)
            for machine in machines:
                machine.connect()
            laptop = Device(near, binaries, "laptop", 11630)
            laptop.account("create", "bench", "--device-name", "laptop")
            phones = [Device(far, binaries, f"phone{number}", 11630 + number) for number in range(PHONES)]
            for phone in phones:
                phone.join(laptop)
            for device in (laptop, *phones):
                device.start()
            wait_until("the laptop meets every phone", lambda: laptop.reachable() == PHONES)
            if not GROUPS[group]:
                for phone in phones:
                    phone.process.send_signal(signal.SIGTERM)
                    phone.process.wait()
            return measure(group, laptop, options.idle_seconds)
        finally:
            for machine in machines:
                machine.end()


def is_wanted(names, name):
    """Returns whether the names select the figure, or a figure of the group, with that name."""
    return not names or any(f"{name}.".startswith(f"{one}.") or f"{one}.".startswith(f"{name}.") for one in names)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("names", nargs="*", metavar="NAME", default=[])
    parser.add_argument("--unpinned", action="store_true")
    parser.add_argument("--rounds", type=int, default=1)
    parser.add_argument("--idle-seconds", type=float, default=300, metavar="SECONDS")
    parser.add_argument("--build", default=ROOT / "build/release", type=pathlib.Path)
    options = parser.parse_args()
    wanted = [group for group in GROUPS if is_wanted(options.names, group)]
    with concurrent.futures.ThreadPoolExecutor() as pool:
        results = list(pool.map(lambda group: run(options, group), wanted))
    for figures in results:
        for name, figure in figures.items():
            if is_wanted(options.names, name):
                print(json.dumps({"name": name, **figure, "rounds": [figure["value"]], "pinned": False}), flush=True)


if __name__ == "__main__":
    main()
