"""One device: its configuration, its daemon and its clock."""

import json
import os
import pathlib
import signal
import struct
import subprocess
import time

STATE_SIZE = "384k"
STOP_LIMIT_S = 10.0
EVENT_BYTES, EVENT_FILES = 65536, 2


class Device:
    def __init__(self, world, name, kind, address, settings):
        self.world, self.name, self.address = world, name, address
        self.folder = world.folder / name
        self.state = self.folder / "state"
        self.state.mkdir(parents=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={STATE_SIZE},mode=0700,uid={world.user},gid={world.user}",
                        "tmpfs", self.state], check=True)
        os.chown(self.folder, world.user, world.user)
        self.socket, self.log, self.output = (self.folder / name for name in ("ipc.sock", "daemon.log", "output.log"))
        self.port = world.wire.add_port(address)
        (self.folder / "clock").write_bytes(bytes(8))
        (self.folder / "policy.json").write_text(
            '{"entries": [{"user": "root", "token_type": "native", "system_app": true}]}')
        self.settings = {
            "state_dir": "state", "device": {"name": name, "type": kind}, "ipc": {"socket": "ipc.sock"},
            "softbus": {"listen": address, "port": 11630}, "access": {"policy": "policy.json"},
            "events": {"max_bytes": EVENT_BYTES, "files": EVENT_FILES},
            "share": {"close_after_s": 10}, "hotspot": {"idle_s": 10, "idle_no_uplink_s": 10}, **settings}
        self.process, self.frozen, self.stop_deadline = None, 0, None
        self.is_wanted = False      # whether the daemon should run now
        self.disturbed = 0          # how many faults of its files may prevent a start now
        self.was_disturbed = False  # whether there was one since the daemon was started
        self.is_early_end = False   # whether SIGTERM came before the daemon could handle it
        self.start_at = 0.0

    def environment(self):
        return {**os.environ, "LD_PRELOAD": str(self.world.build / "test-bin/chaos_clock.so"),
                "DISTNET_CHAOS_CLOCK": str(self.folder / "clock"), "LC_ALL": "C.UTF-8", "COLUMNS": "1000"}

    def set_clock(self, offset_s):
        with open(self.folder / "clock", "r+b") as clock:
            clock.write(struct.pack("=q", int(offset_s * 1e9)))

    def start(self):
        self.is_wanted = True
        if self.process is not None:
            return
        (self.folder / "distnetd.json").write_text(json.dumps(self.settings))
        namespace = f"/proc/{os.getpid()}/fd/{self.world.wire.namespaces[self.port]}"
        user = [f"--reuid={self.world.user}", f"--regid={self.world.user}", "--clear-groups"]
        command = ["nsenter", f"--net={namespace}", "setpriv", *user, self.world.build / "bin/distnetd", "--config",
                   self.folder / "distnetd.json"]
        with open(self.log, "ab") as log, open(self.output, "ab") as output:
            self.process = subprocess.Popen(command, stdout=output, stderr=log, env=self.environment(), cwd=self.folder)
        self.frozen, self.stop_deadline = 0, None
        self.was_disturbed, self.is_early_end = self.disturbed > 0, False

    def kill(self):
        """Ends the daemon with SIGKILL. Returns false if it does not run."""
        if self.process is None or self.process.poll() is not None:
            return False
        self.is_wanted = False
        self.process.kill()
        self.process.wait()
        self.process, self.stop_deadline = None, None
        return True

    def terminate(self):
        """Asks the daemon to end. watch() notices the end."""
        if self.process is None or self.process.poll() is not None or self.stop_deadline is not None:
            return False
        self.is_wanted = False
        self.is_early_end = not self.handles_sigterm()
        self.process.send_signal(signal.SIGTERM)
        self.stop_deadline = time.monotonic() + STOP_LIMIT_S
        return True

    def handles_sigterm(self):
        """Returns whether the daemon handles SIGTERM yet. It does so from the moment at which it blocks the signal."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii")
        blocked = next(line.split()[1] for line in status.splitlines() if line.startswith("SigBlk:"))
        return bool(int(blocked, 16) & 1 << signal.SIGTERM - 1)

    def begin_disturbance(self):
        self.disturbed += 1
        self.was_disturbed = True

    def end_disturbance(self):
        self.disturbed -= 1

    def freeze(self):
        if self.process is None or self.process.poll() is not None:
            return False
        self.frozen += 1
        self.process.send_signal(signal.SIGSTOP)
        return True

    def thaw(self, process):
        """Ends one freeze of this process, unless the daemon was replaced meanwhile."""
        if process is not self.process or process is None or process.poll() is not None or self.frozen == 0:
            return
        self.frozen -= 1
        if self.frozen == 0:
            process.send_signal(signal.SIGCONT)
            if self.stop_deadline is not None:
                self.stop_deadline = time.monotonic() + STOP_LIMIT_S

    def watch(self):
        """Notices an end of the daemon, and starts it again as a service manager would. Returns a violation or None."""
        fault = None
        now = time.monotonic()
        if self.process is not None:
            code = self.process.poll()
            if code is None:
                if self.stop_deadline is not None and self.frozen == 0 and now > self.stop_deadline:
                    self.kill()
                    return f"{self.name}: the daemon did not end within {STOP_LIMIT_S:.0f} s after SIGTERM"
                return None
            was_stopped, self.process, self.stop_deadline = self.stop_deadline is not None, None, None
            self.start_at = now + 0.3
            has_stopped = was_stopped and (code == 0 or self.is_early_end and code == -signal.SIGTERM)
            if not has_stopped and not (code > 0 and self.was_disturbed):
                fault = f"{self.name}: the daemon ended with {code}"
        if self.process is None and self.is_wanted and now >= self.start_at:
            self.start()
        return fault

    def ctl(self, *words, timeout=30, typed=None):
        """Runs distnetctl to its end. Returns the exit code and the JSON objects that it printed."""
        ended = subprocess.run(self.command(*words, timeout=timeout), input=typed, capture_output=True, text=True, check=False,
                               timeout=timeout + 60, env=self.environment())
        return ended.returncode, [json.loads(line) for line in ended.stdout.splitlines()]

    def command(self, *words, timeout=30):
        return [str(self.world.build / "bin/distnetctl"), "--json", "--timeout", str(timeout), "--socket",
                str(self.socket), *words]

    def status(self, timeout=5):
        code, answers = self.ctl("status", timeout=timeout)
        return answers[-1] if code == 0 else None
