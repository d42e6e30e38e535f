"""Starts distnetd as a simulated phone, for tests in Python."""

import json
import os
import socket
import subprocess
import time

os.environ["COLUMNS"] = "1000"  # errors of distnetctl stay on one line


def start(test, program, folder, settings=None, **options):
    """Starts the daemon in the folder. settings: further members of its configuration. Its output goes to folder/log, and
    the cleanup of the test stops it. Returns the path of its socket once the daemon accepts connections."""
    policy = {"entries": [{"user": str(os.getuid()), "token_type": "native", "system_app": True}]}
    configuration = {"platform": "simulated", "state_dir": "phone", "access": {"policy": "policy.json"}, **(settings or {})}
    (folder / "policy.json").write_text(json.dumps(policy))
    (folder / "phone.json").write_text(json.dumps(configuration))
    with open(folder / "log", "wb") as log:
        daemon = subprocess.Popen([program, "--config", folder / "phone.json"], stdout=log, stderr=log, **options)
    test.addCleanup(lambda: test.assertEqual(daemon.wait(), 0, (folder / "log").read_text()))
    test.addCleanup(daemon.terminate)
    path = folder / "phone/ipc.sock"
    deadline = time.monotonic() + 20
    with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as probe:
        while probe.connect_ex(str(path)) != 0:
            test.assertLess(time.monotonic(), deadline, (folder / "log").read_text())
            time.sleep(0.02)
    return path
