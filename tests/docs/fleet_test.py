"""Manages an account of 100 devices with the openssl commands of docs/fleet.md.

Usage: fleet_test.py SOURCE_DIR BIN_DIR
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE, BINARIES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
DEVICES = 100


class Fleet(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        page = (SOURCE / "docs/fleet.md").read_text()
        (self.folder / "ca.cnf").write_text(re.search(r"```ini\n(.*?)```", page, re.S)[1])
        self.authority, self.sign, *self.state, self.removal = re.findall(r"```sh\n(.*?)```", page, re.S)

    def sh(self, script, **environment):
        done = subprocess.run(["sh", "-euc", script], cwd=self.folder, capture_output=True, text=True, timeout=60, check=False,
                              env={**os.environ, **environment})
        self.assertEqual(done.returncode, 0, script + done.stderr)
        return done.stdout

    def distnetctl(self, *arguments, code=0):
        done = subprocess.run([BINARIES / "distnetctl", "--json", *arguments], cwd=self.folder, capture_output=True, text=True,
                              timeout=30, check=False)
        self.assertEqual(done.returncode, code, done.stdout + done.stderr)
        return json.loads(done.stdout.splitlines()[-1])

    def put(self, name, *files):
        """Copies files into the device's identity folder, replacing each by rename."""
        for source, target, mode in files:
            target = self.folder / name / "identity" / target
            new = target.with_suffix(".new")
            new.write_bytes((self.folder / source).read_bytes())
            new.chmod(mode)
            new.rename(target)

    def start(self, *names):
        (self.folder / "policy.json").write_text(
            json.dumps({"entries": [{"user": str(os.getuid()), "token_type": "native", "system_app": True}]}))
        for name in names:
            (self.folder / f"{name}.json").write_text(json.dumps(
                {"platform": "simulated", "state_dir": name, "device": {"name": name, "type": "laptop"},
                 "softbus": {"announce_dir": "link"}, "simulated": {"air_dir": "air"}, "access": {"policy": "policy.json"}}))
            with open(self.folder / f"{name}.log", "wb") as log:
                daemon = subprocess.Popen([BINARIES / "distnetd", "--config", f"{name}.json"], cwd=self.folder, stdout=log,
                                          stderr=log)
            self.addCleanup(daemon.wait)
            self.addCleanup(daemon.terminate)

    def ask(self, name, *arguments, code=0):
        return self.distnetctl("--socket", f"{name}/ipc.sock", *arguments, code=code)

    def wait_for(self, condition, name):
        deadline = time.monotonic() + 20
        while not condition():
            self.assertLess(time.monotonic(), deadline, (self.folder / f"{name}.log").read_text())
            time.sleep(0.05)

    def devices(self, name):
        listing = subprocess.run([BINARIES / "distnetctl", "--json", "--socket", f"{name}/ipc.sock", "devices"], cwd=self.folder,
                                 capture_output=True, text=True, timeout=10, check=False)
        return [json.loads(line) for line in listing.stdout.splitlines()] if listing.returncode == 0 else []

    def reaches(self, name, peer):
        return any(peer in json.dumps(line) and '"online": true' in json.dumps(line) for line in self.devices(name))

    def test_authority_enrols_hundred_devices_and_removes_one(self):
        names = [f"device-{index:03}" for index in range(DEVICES)]
        self.sh(self.authority)
        for name in names:
            self.distnetctl("account", "request", f"requests/{name}.csr", "--state", name, "--device-name", name)
        self.sh(self.sign)
        self.sh("\n".join(self.state))
        account = (self.folder / "account.crt").read_bytes()
        for name in names:
            self.put(name, ("account.state", "account.state", 0o600), ("account.crt", "account.crt", 0o644),
                     (f"certs/{name}.crt", "device.crt", 0o644))
        shown = [self.distnetctl("account", "show", "--state", name) for name in names]
        self.assertEqual({(one["account"], one["enrolled"], one["link_key_number"]) for one in shown}, {("example", True, 1)})
        self.assertEqual(len({one["network_id"] for one in shown}), DEVICES)
        self.assertTrue(account)

        first, second, lost = names[0], names[42], names[99]
        self.start(first, second, lost)
        self.wait_for(lambda: self.reaches(first, second) and self.reaches(first, lost), first)
        self.ask(first, "start", second)

        # Only one device gets the new state.
        self.sh("\n".join(self.state) + self.removal + """
            old=$(cat link-key-1)
            now=$((now + 1))
            lost=$(network_id "certs/$name.crt")
            python3 - "$lost" "$now" "$(removal "$lost" "$now")" "$(openssl rand -hex 32)" <<'PYTHON'
import json, sys
lost, now, signature, key = sys.argv[1:]
state = json.load(open("state.json"))
gone = next(member for member in state["members"] if member["network_id"] == lost)
state["members"].remove(gone)
state["number"] = int(now)
state["removed"] = [{"network_id": lost, "name": gone["name"], "at": int(now), "number": int(now), "signature": signature}]
keys = state["link_keys"]
state["link_keys"] = {**keys, "number": 2, "key": key,
                      "previous": {"number": 1, "key": keys["key"], "valid_until": int(now) + 30 * 86400}}
json.dump(state, open("state.json", "w"))
PYTHON
            openssl cms -sign -binary -nodetach -outform DER -md sha256 -signer account.crt -inkey authority.key \
                -in state.json -out account.state""", name=lost)
        self.put(first, ("account.state", "account.state", 0o600))
        self.wait_for(lambda: self.distnetctl("account", "show", "--state", first)["link_key_number"] == 2, first)
        self.wait_for(lambda: self.distnetctl("account", "show", "--state", second)["link_key_number"] == 2, second)
        self.ask(first, "start", second)
        self.ask(second, "start", lost, code=2)
        self.ask(lost, "start", first, code=1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
