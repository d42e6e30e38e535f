"""Two worlds of devices of one account: simulated radios, and Linux machines whose daemons are stand-ins."""

import contextlib
import json
import os
import pathlib
import signal
import subprocess
import time

import dbus
import dbus.lowlevel

from device import Device
from wire import Wire

STANDINS = pathlib.Path(__file__).resolve().parent.parent / "backends/linux"
BUS = ('<busconfig><type>session</type><listen>{}</listen><policy context="default">'
       '<allow user="*"/><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>')
OFFICE = "22222222-2222-4222-8222-222222222222"
IDLE_RADIO = {"uplink": {"internet": "on"}}


def user_of(seed):
    """Returns the user of the daemons. Runs of different seeds have different users, because some limits of the kernel
    are limits of a user."""
    return 61_000 + seed % 1000


def name_user(folder, user):
    """Gives the user a name in this mount namespace. dbus-daemon accepts no user without one."""
    for file, line in (("passwd", f"chaos:x:{user}:{user}::/:/bin/false\n"), ("group", f"chaos:x:{user}:\n")):
        own = folder / file
        own.write_text(pathlib.Path("/etc", file).read_text() + line)
        subprocess.run(["mount", "--bind", own, f"/etc/{file}"], check=True)


def wait_until(condition, limit, pause=0.1):
    deadline = time.monotonic() + limit
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(pause)
    return True


class World:
    """The devices on one wire. The first device holds the key of the account."""

    def __init__(self, folder, build, seed):
        self.folder, self.build = folder / self.name, build
        self.user = user_of(seed)
        self.folder.mkdir()
        self.wire = Wire(f"{seed}/{self.name}/wire")
        self.devices = {}

    def add(self, name, kind, settings):
        address = f"192.0.2.{len(self.devices) + 1}"
        self.devices[name] = Device(self, name, kind, address, settings)

    def open(self):
        """Starts the daemons in one account. Each device looks for the others at their addresses."""
        addresses = {device.name: f"{device.address}:11630" for device in self.devices.values()}
        self.wire.start()
        for device in self.devices.values():
            device.settings["softbus"]["peers"] = [to for name, to in addresses.items() if name != device.name]
        holder, *members = self.devices.values()
        self.account(holder, "create", "home", "--device-name", holder.name)
        for member in members:
            request, answer = self.folder / f"{member.name}.csr", self.folder / f"{member.name}.pem"
            self.account(member, "request", request, "--device-name", member.name)
            self.account(holder, "admit", request, "-o", answer)
            self.account(member, "install", answer)
        for device in self.devices.values():
            device.start()
        for device in self.devices.values():
            if not wait_until(lambda: device.status() is not None, 20):
                raise RuntimeError(f"{device.name} does not answer: {device.log.read_text()}")

    def account(self, device, *words):
        subprocess.run([self.build / "bin/distnetctl", "account", *words, "--state", device.state], check=True,
                       capture_output=True)

    def close(self):
        for device in self.devices.values():
            device.is_wanted = False
            if device.process is not None:
                device.process.kill()
                device.process.wait()
        self.wire.stop()
        for device in self.devices.values():
            subprocess.run(["umount", "--lazy", device.state], check=False)


class SimulatedWorld(World):
    name = "simulated"
    requesters = servers = ("laptop", "phone", "tablet")

    def __init__(self, folder, build, seed):
        super().__init__(folder, build, seed)
        (self.folder / "air").mkdir()
        os.chown(self.folder / "air", self.user, self.user)
        for name, kind in (("laptop", "laptop"), ("phone", "phone"), ("tablet", "tablet")):
            self.add(name, kind, {"platform": "simulated", "simulated": {"air_dir": str(self.folder / "air")}})
        self.radio_faults = {name: {} for name in self.devices}
        for device in self.devices.values():
            self.write_radio(device)

    def write_radio(self, device):
        """Writes the state of the device's radio with its faults. Returns false if there is no room for it."""
        state = json.loads(json.dumps(IDLE_RADIO))
        for key, value in self.radio_faults[device.name].items():
            inner = state
            *parents, last = key.split(".")
            for parent in parents:
                inner = inner.setdefault(parent, {})
            inner[last] = value
        new = device.state / "device-state.new"
        try:
            new.write_text(json.dumps(state))
        except OSError:
            new.unlink(missing_ok=True)
            return False
        new.rename(device.state / "device-state.json")
        return True

    def disturb_radio(self, entry):
        """Applies a fault of the radio. Returns the function that ends it, or None."""
        device, changes = self.devices[entry["device"]], entry["radio"]
        faults = self.radio_faults[device.name]
        if any(key in faults for key in changes):
            return None
        faults.update(changes)
        applied = self.write_radio(device)

        def undo():
            for key in changes:
                faults.pop(key, None)
            self.write_radio(device)
        if not applied:
            undo()
            return None
        return undo

    def heal_radio(self):
        for device in self.devices.values():
            self.radio_faults[device.name].clear()
            self.write_radio(device)

    def radio_leftovers(self):
        return [f"the air has {path.name}" for path in (self.folder / "air").iterdir()
                if not path.name.startswith("station-")]


class LinuxWorld(World):
    name = "linux"
    requesters, servers = ("desk",), ("pocket",)

    def __init__(self, folder, build, seed):
        super().__init__(folder, build, seed)
        self.processes, self.buses = {}, {}
        for name, kind in (("desk", "laptop"), ("pocket", "phone")):
            address = f"unix:path={self.folder}/{name}.bus"
            (self.folder / f"{name}.conf").write_text(BUS.format(address))
            self.buses[name] = address
            self.add(name, kind, {"platform": "linux", "linux": {"bus": address}})
        self.start_standins()

    def start_standins(self):
        for name in self.devices:
            self.spawn(f"bus of {name}", "dbus-daemon", "--nofork", "--nosyslog", f"--config-file={self.folder}/{name}.conf")
            wait_until((self.folder / f"{name}.bus").exists, 10)
            self.start_bluez(name)
        self.spawn("NetworkManager", "/usr/bin/python3", STANDINS / "fake_network_manager.py", *self.buses.values())
        if not wait_until(lambda: all(self.ask(name, do="state") for name in self.devices), 20):
            raise RuntimeError("the stand-in of NetworkManager does not answer")
        self.restore_networks()

    def spawn(self, name, *command, **environment):
        with open(self.folder / f"{name.replace(' ', '-')}.log", "ab") as log:
            self.processes[name] = subprocess.Popen([*command], stdout=log, stderr=log, env={**os.environ, **environment})

    def start_bluez(self, name):
        bus = self.buses[name]
        self.spawn(f"BlueZ of {name}", "/usr/bin/python3", "-m", "dbusmock", "--template", STANDINS / "fake_bluez.py",
                   DBUS_SYSTEM_BUS_ADDRESS=bus, DBUS_SESSION_BUS_ADDRESS=bus)

    def restore_networks(self):
        """Brings the machines' own networks back: a Wi-Fi of the desk's owner, a wire of the pocket's owner."""
        for name in self.devices:
            self.ask(name, do="check", connectivity=4, of_radio=4)
        self.ask("pocket", do="connect_by", kind="802-3-ethernet", connectivity=4)
        state = self.ask("desk", do="state")
        if OFFICE not in state["profiles"]:
            self.store_office()
        if OFFICE not in state["active"]:
            self.ask("desk", do="activate", uuid=OFFICE)

    def store_office(self):
        with self.connection("desk") as bus:
            settings = {"connection": {"id": "far away", "uuid": OFFICE, "type": "802-11-wireless"},
                        "802-11-wireless": {"ssid": dbus.ByteArray(b"office"), "mode": "infrastructure"}}
            bus.call_blocking("org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager/Settings",
                              "org.freedesktop.NetworkManager.Settings", "AddConnection", "a{sa{sv}}", (settings,))

    @contextlib.contextmanager
    def connection(self, name):
        bus = dbus.bus.BusConnection(self.buses[name])
        bus.set_exit_on_disconnect(False)  # the default ends this process
        try:
            yield bus
        finally:
            bus.close()

    def ask(self, name, **command):
        """Sends a command to the stand-in of NetworkManager. Returns its answer; None if it does not answer in 5 s."""
        try:
            with self.connection(name) as bus:
                return json.loads(bus.call_blocking("test.Control", "/test", "test.Control", "Do", "s",
                                                    (json.dumps(command),), timeout=5.0))
        except dbus.DBusException:
            return None

    def send(self, name, service, path, interface, method, signature, *arguments):
        """Calls a method and does not wait for the answer."""
        message = dbus.lowlevel.MethodCallMessage(service, path, interface, method)
        message.append(*arguments, signature=signature)
        message.set_no_reply(True)
        with contextlib.suppress(dbus.DBusException), self.connection(name) as bus:
            bus.send_message(message)
            bus.flush()

    def order(self, name, **command):
        self.send(name, "test.Control", "/test", "test.Control", "Do", "s", json.dumps(command))

    def mock_bluez(self, name, method, signature, *arguments):
        self.send(name, "org.bluez", "/", "net.distnet.Test", method, signature, *arguments)

    def disturb_radio(self, entry):
        """Applies a fault of a stand-in. Returns the function that ends it, or None."""
        name, radio = entry["device"], entry["radio"]
        if "order" in radio:
            self.order(name, **radio["order"])
            after = radio.get("after")
            return lambda: after and self.order(name, **after)
        if "freeze" in radio:
            return self.freeze(radio["freeze"].format(name=name))
        if "refuse" in radio:
            self.mock_bluez(name, "SetSlots", "i", 0)
            return lambda: self.mock_bluez(name, "SetSlots", "i", 2)
        return self.restart_bluez(name)

    def freeze(self, standin):
        process = self.processes[standin]
        if process.poll() is not None:
            return None
        process.send_signal(signal.SIGSTOP)
        return lambda: process.poll() is None and process.send_signal(signal.SIGCONT)

    def restart_bluez(self, name):
        process = self.processes[f"BlueZ of {name}"]
        if process.poll() is not None:
            return None
        process.kill()
        process.wait()
        return lambda: self.start_bluez(name)

    def heal_radio(self):
        for process in self.processes.values():
            if process.poll() is None:
                process.send_signal(signal.SIGCONT)
        for name in self.devices:
            if self.processes[f"BlueZ of {name}"].poll() is not None:
                self.start_bluez(name)
            self.mock_bluez(name, "SetSlots", "i", 2)
            for command in ({"do": "answer_late", "seconds": 0}, {"do": "lose", "method": "", "count": 0},
                            {"do": "fail_next", "reason": 0}, {"do": "join_bus"}):
                self.ask(name, **command)
        self.restore_networks()

    def radio_leftovers(self):
        left = []
        for name in self.devices:
            state = self.ask(name, do="state")
            if state is None:
                raise RuntimeError(f"the stand-in of NetworkManager of {name} does not answer")
            users = [OFFICE] if name == "desk" else []
            left += [f"NetworkManager of {name} has the profile {one['ssid']}" for one in state["added"]]
            if state["active"] != users or len(state["activations"]) != len(users):
                left.append(f"NetworkManager of {name} has the activations {state['active']}")
            if state["profiles"] != users:
                left.append(f"NetworkManager of {name} has the profiles {state['profiles']}")
        return left

    def close(self):
        super().close()
        for process in self.processes.values():
            process.send_signal(signal.SIGCONT)
            process.kill()
            process.wait()
