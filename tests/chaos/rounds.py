"""One world of devices and its rounds: faults and clients by the plan, a quiet phase, and the checks."""

import collections
import json
import shutil
import subprocess
import time

import clients
import plan
from checks import LEASE_LIMIT_S, SETTLE_LIMIT_S, Checks
from clients import Client
from faults import Faults
from worlds import wait_until

TICK_S = 0.01
POLL_S = 0.5
REACH_LIMIT_S = 90   # a device that was away is tried again after at most a minute
ANSWER_LIMIT_S = 20
LEASE_ROUND = 6      # every sixth round waits until the leases of killed daemons have expired


class Runner:
    def __init__(self, world, seed, results):
        self.world, self.seed, self.results = world, seed, results
        self.faults, self.checks = Faults(world), Checks(world)
        self.running, self.number = [], 0
        self.outcomes, self.violations, self.waits = collections.Counter(), [], []
        self.round, self.enrolment = 0, None
        self.outputs = results / f"{world.name}-clients"
        self.outputs.mkdir()
        self.journal = open(results / f"{world.name}-plan.jsonl", "w", encoding="utf-8")
        self.diary = open(results / f"{world.name}-run.log", "w", encoding="utf-8")

    def say(self, text):
        self.diary.write(f"{time.strftime('%H:%M:%S')} round {self.round} {text}\n")
        self.diary.flush()

    def violation(self, text):
        self.say(f"VIOLATION {text}")
        print(f"violation: {self.world.name}, round {self.round}: {text}", flush=True)
        self.violations.append((self.round, text))

    def run(self, seconds):
        deadline = time.monotonic() + seconds
        self.world.open()
        self.settle()
        if self.violations:
            self.keep_state()
            return
        self.checks.take_baseline()
        while (self.round == 0 or time.monotonic() < deadline) and not self.violations:
            self.disturb()
            self.settle()
            if self.violations:
                self.keep_state()
            self.round += 1

    def keep_state(self):
        """Copies state and logs of the devices to the results, without their keys."""
        for device in self.world.devices.values():
            kept = self.results / f"{self.world.name}-{device.name}"
            (device.folder / "sockets").write_bytes(subprocess.run(["ss", "-apxtn"], capture_output=True, check=False).stdout)
            if device.process is not None:
                descriptors = subprocess.run(["ls", "-l", f"/proc/{device.process.pid}/fd"], capture_output=True, check=False)
                (device.folder / "descriptors").write_bytes(descriptors.stdout)
            shutil.copytree(device.folder, kept, ignore=shutil.ignore_patterns("*.sock", "*.key", "hotspot-key", "filler"))

    # --- faults ------------------------------------------------------------------------------------------------------
    def disturb(self):
        entries = plan.make(self.seed, self.world.name, list(self.world.devices), self.round)
        for entry in entries:
            self.journal.write(json.dumps({"round": self.round, **entry}) + "\n")
        self.journal.flush()
        began = time.monotonic()
        for entry in entries:
            while time.monotonic() < began + entry["at"] / 1000:
                self.tick()
            self.execute(entry)
        while time.monotonic() < began + plan.ROUND_MS / 1000:
            self.tick()

    def execute(self, entry):
        if "fault" in entry:
            applied = self.faults.apply(entry)
            self.say(f"{'fault' if applied else 'skipped'} {json.dumps(entry)}")
        elif "client" in entry:
            self.say(f"client {json.dumps(entry)}")
            self.begin(self.world.devices[entry["device"]], entry["client"], entry["timeout"], entry.get("end"))
        else:
            self.say(f"enrolment {json.dumps(entry)}")
            self.enrol(entry["enrolment"], entry["device"])

    def begin(self, device, words, timeout, end=None, typed=None):
        self.number += 1
        client = Client(device, words, timeout, self.outputs, self.number, typed)
        signal_at = time.monotonic() + end["after"] / 1000 if end else None
        self.running.append((client, signal_at, end["signal"] if end else ""))
        return client

    def tick(self):
        self.faults.end_due()
        for device in self.world.devices.values():
            fault = device.watch()
            if fault is not None:
                self.violation(fault)
        for entry in list(self.running):
            client, signal_at, name = entry
            if signal_at is not None and client.signal is None and time.monotonic() >= signal_at:
                client.end(name)
            if client.is_done():
                self.running.remove(entry)
                self.finish(client)
            elif client.is_late():
                client.end("KILL")
                self.running.remove(entry)
                self.violation(f"{client.device.name}: {client.text} (--timeout {client.timeout}) has no result after "
                               f"{client.bound_s():.0f} s")
        self.continue_enrolment()
        time.sleep(TICK_S)

    def finish(self, client):
        answer = client.answer()
        result = answer["name"] if "code" in answer else f"exit {client.process.returncode}"
        if client.signal is not None and client.signal[0] == "KILL":
            result = "killed"
        self.outcomes[result] += 1
        self.say(f"result {client.device.name} {client.text}: {result} after {client.took:.2f} s ({client.output.name})")
        fault = client.fault()
        if fault is not None:
            self.violation(f"{client.device.name}: {fault} ({client.output.name})")

    # --- the account -------------------------------------------------------------------------------------------------
    def enrol(self, action, name):
        """Removes the device from the account, takes it out, or lets it join with a ticket."""
        holder, device = next(iter(self.world.devices.values())), self.world.devices[name]
        if action == "remove":
            self.begin(holder, ["account", "remove", name, "--yes"], 10)
        elif action == "leave":
            self.begin(device, ["account", "leave", "--yes"], 10)
        elif self.enrolment is None:
            self.enrolment = (self.begin(holder, ["account", "invite", "--yes"], 30), device)

    def continue_enrolment(self):
        """Begins the join as soon as the invitation shows its ticket."""
        if self.enrolment is None:
            return
        invite, device = self.enrolment
        ticket = next((value for value in (json.loads(line).get("ticket") for line in self.whole_lines(invite))
                       if value), None)
        if ticket is not None:
            self.checks.secrets.add(ticket)
            self.begin(device, ["account", "join"], 30, typed=ticket + "\n")
        if ticket is not None or invite.is_done():
            self.enrolment = None

    @staticmethod
    def whole_lines(client):
        text = client.output.read_text()
        return text[:text.rfind("\n") + 1].splitlines()

    def restore_account(self):
        """Makes every device a member again. Returns what prevents it, or None."""
        holder, *others = self.world.devices.values()
        for device in others:
            while not self.is_member(holder, device):
                for old in self.members(holder):
                    if old["name"] == device.name:
                        holder.ctl("account", "remove", old["network_id"], "--yes")
                status = device.status()["status"]
                if status["account"] or status["membership"]["removed_at"]:
                    device.ctl("account", "leave", "--yes")
                problem = self.join(holder, device)
                if problem is not None:
                    return problem
        return None

    @staticmethod
    def members(device):
        return device.ctl("account", "devices")[1][-1].get("members", [])

    def is_member(self, holder, device):
        """Returns whether both devices regard the device as a member."""
        mine = device.status()["status"]["device"]["network_id"]
        return all(mine in [one["network_id"] for one in self.members(each)] for each in (holder, device))

    def join(self, holder, device):
        invite = Client(holder, ["account", "invite", "--yes"], 30, self.outputs, f"{self.round}-restore")
        tickets = []

        def has_ticket():
            tickets[:] = [value for value in (json.loads(line).get("ticket") for line in self.whole_lines(invite)) if value]
            return tickets or invite.is_done()
        wait_until(has_ticket, 20)
        if not tickets:
            invite.end("INT")
            return f"{holder.name} shows no ticket: {invite.output.read_text()}"
        self.checks.secrets.add(tickets[0])
        code, answers = device.ctl("account", "join", timeout=60, typed=tickets[0] + "\n")
        if code != 0:
            invite.end("INT")
            return f"{device.name} cannot join: {answers[-1:]}"
        wait_until(invite.is_done, 30)
        return None

    # --- the quiet phase -----------------------------------------------------------------------------------------------
    def settle(self):
        """Ends all faults and programs, then checks that everything works and that nothing is left over."""
        self.say("quiet")
        self.faults.end_all()
        self.world.heal_radio()
        for device in self.world.devices.values():
            device.set_clock(0)
            if device.was_disturbed:
                device.terminate()  # a file that could not be read at the start is not written until the next start
            device.start()
        for entry in list(self.running):
            if clients.ENDLESS.match(entry[0].text):
                entry[0].end("INT")
        while self.running:
            self.tick()
        self.enrolment = None
        problem = self.answers() or self.restore_account() or self.reset() or self.reach()
        if problem is None and self.round % LEASE_ROUND == LEASE_ROUND - 1:
            problem = self.await_nothing_left(LEASE_LIMIT_S + SETTLE_LIMIT_S, has_files=False)
        problem = problem or self.use() or self.await_nothing_left(SETTLE_LIMIT_S)
        if problem is not None:
            self.violation(problem)
        for fault in self.checks.output_faults():
            self.violation(fault)

    def quiet_tick(self, condition, limit):
        """Waits until the condition is true, and watches the daemons meanwhile."""
        def check():
            self.tick()
            return condition()
        return wait_until(check, limit)

    def answers(self):
        for device in self.world.devices.values():
            if not self.quiet_tick(lambda: device.status(1) is not None, ANSWER_LIMIT_S):
                return f"{device.name} does not answer"
        return None

    def reset(self):
        """Takes back what clients have set, and ends what they have begun."""
        for device in self.world.devices.values():
            for words in (["auto", "off"], ["down"], ["prefer", "--none"]):
                code, answers = device.ctl(*words)
                if code != 0:
                    return f"{device.name}: {words}: {answers[-1:]}"
            for peer in self.world.devices.values():
                if peer is not device:
                    device.ctl("share", "allow", peer.name, "--always")
        return None

    def reach(self):
        """Checks that every device finds every other."""
        began = time.monotonic()
        for device in self.world.devices.values():
            def sees_all():
                _, answers = device.ctl("devices", "--scan")
                reached = {one["name"] for one in answers[-1].get("devices", []) if one["online"]}
                return reached >= set(self.world.devices) - {device.name}
            if not self.quiet_tick(sees_all, REACH_LIMIT_S):
                return f"{device.name} does not reach the others: {device.ctl('devices')[1]}"
        self.say(f"reached after {time.monotonic() - began:.1f} s")
        return None

    def use(self):
        """Checks that each device gets online through each other, and off again, at the first try."""
        for device in self.world.devices.values():
            for peer in self.world.devices.values():
                if peer is device or peer.name not in self.world.servers or device.name not in self.world.requesters:
                    continue
                for words in (["up", peer.name], ["down"]):
                    self.checks.counts["requests after the faults"] += 1
                    code, answers = device.ctl(*words)
                    self.say(f"use {device.name} {' '.join(words)}: {code}")
                    if code != 0:
                        return f"{device.name}: {' '.join(words)} after the faults: {json.dumps(answers[-1:])}"
        return None

    def await_nothing_left(self, limit, has_files=True):
        # A damaged file may stay until its next change, so the files count only after the requests of use().
        began = time.monotonic()
        left = []

        def is_nothing_left():
            left[:] = self.checks.leftovers(has_files)
            time.sleep(POLL_S)
            return not left
        if not self.quiet_tick(is_nothing_left, limit):
            return f"left over after {limit} s: {left}"
        self.say(f"nothing left after {time.monotonic() - began:.1f} s")
        return None
