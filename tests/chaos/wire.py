"""A network switch in this process: one port for each device, with faults that lose, delay and reorder frames.

Each port is a tap interface in the network namespace of its device. The kernel's own traffic control is not used, because
its emulation of a bad network is often not built.
"""

import contextlib
import ctypes
import fcntl
import heapq
import os
import random
import select
import struct
import subprocess
import threading
import time

CLONE_NEWNET = 0x40000000
TUNSETIFF = 0x400454CA
IFF_TAP, IFF_NO_PI = 0x0002, 0x1000
LIBC = ctypes.CDLL(None, use_errno=True)


@contextlib.contextmanager
def new_namespace():
    """Moves this thread into a new network namespace, and back at the end. Yields a descriptor of the new namespace."""
    own = os.open("/proc/thread-self/ns/net", os.O_RDONLY)
    try:
        if LIBC.unshare(CLONE_NEWNET) != 0:
            raise OSError(ctypes.get_errno(), "unshare")
        yield os.open("/proc/thread-self/ns/net", os.O_RDONLY)
    finally:
        if LIBC.setns(own, CLONE_NEWNET) != 0:
            raise OSError(ctypes.get_errno(), "setns")
        os.close(own)


class Fault:
    """What happens to frames that a port sends or receives. share: of the frames, 0 to 1."""

    def __init__(self, port, kind, share=1.0, delay_s=0.0):
        self.port, self.kind, self.share, self.delay_s = port, kind, share, delay_s


class Wire:
    def __init__(self, seed):
        self.random = random.Random(seed)
        self.ports, self.namespaces = [], []
        self.faults, self.waiting, self.number = [], [], 0
        self.lost = self.delayed = 0
        self.wake_read, self.wake_write = os.pipe()
        self.thread = threading.Thread(target=self.run, daemon=True)

    def add_port(self, address):
        """Makes a namespace with a tap interface of this address. Returns the number of the port."""
        with new_namespace() as namespace:
            tap = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
            fcntl.ioctl(tap, TUNSETIFF, struct.pack("16sH", b"wire", IFF_TAP | IFF_NO_PI))
            for words in ("link set lo up", f"address add {address}/24 dev wire", "link set wire up"):
                subprocess.run(["ip", *words.split()], check=True)
        self.ports.append(tap)
        self.namespaces.append(namespace)
        return len(self.ports) - 1

    def start(self):
        self.thread.start()

    def stop(self):
        os.write(self.wake_write, b"x")
        self.thread.join()
        for descriptor in (*self.ports, *self.namespaces, self.wake_read, self.wake_write):
            os.close(descriptor)

    def add(self, fault):
        self.faults = self.faults + [fault]  # a new list, because the thread reads the old one

    def remove(self, fault):
        self.faults = [one for one in self.faults if one is not fault]

    def run(self):
        while True:
            pause = max(0.0, self.waiting[0][0] - time.monotonic()) if self.waiting else None
            ready, _, _ = select.select([*self.ports, self.wake_read], [], [], pause)
            if self.wake_read in ready:
                return
            for port, tap in enumerate(self.ports):
                if tap in ready:
                    with contextlib.suppress(BlockingIOError):
                        self.accept(port, os.read(tap, 65535))
            while self.waiting and self.waiting[0][0] <= time.monotonic():
                _, _, port, frame = heapq.heappop(self.waiting)
                self.deliver(port, frame)

    def accept(self, sender, frame):
        for receiver in range(len(self.ports)):
            if receiver != sender:
                self.forward(sender, receiver, frame)

    def forward(self, sender, receiver, frame):
        delay, copies = 0.0, 1
        for fault in self.faults:
            if fault.port not in (sender, receiver) or self.random.random() >= fault.share:
                continue
            if fault.kind in ("cut", "drop"):
                self.lost += 1
                return
            if fault.kind == "duplicate":
                copies = 2
            else:  # "delay" holds every frame, "reorder" some of them
                delay += fault.delay_s * self.random.uniform(0.5, 1.5)
        for _ in range(copies):
            if delay == 0.0:
                self.deliver(receiver, frame)
            else:
                self.delayed += 1
                self.number += 1
                heapq.heappush(self.waiting, (time.monotonic() + delay, self.number, receiver, frame))

    def deliver(self, port, frame):
        with contextlib.suppress(OSError):  # a full queue of the interface drops the frame
            os.write(self.ports[port], frame)
