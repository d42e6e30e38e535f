#!/usr/bin/env python3
"""A fake NetworkManager on each given bus address. Each has one radio, and all radios are within range of each other.

It behaves like NetworkManager 1.42 towards a Wi-Fi client: profiles, activations with their states and reasons, access
points, and volatile profiles that are removed with their activation or when their creator leaves the bus. A test controls
it through test.Control.Do at /test, with JSON.
"""

import json
import os
import sys
import time

import dbus
import dbus.lowlevel
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

NM = "org.freedesktop.NetworkManager"
ROOT = "/org/freedesktop/NetworkManager"
PROPERTIES = "org.freedesktop.DBus.Properties"
WIRELESS = "802-11-wireless"
SECURITY = "802-11-wireless-security"
STEP_MS = 15
AP, INFRA = 3, 2
KEY_MGMT = {"open": 0, "wpa2": 0x100, "wpa3": 0x400, "mixed": 0x500}


class Node(dbus.service.Object):
    """A D-Bus object with properties: {interface: {name: value}}."""

    def __init__(self, bus, path, properties=None):
        super().__init__(bus, path)
        self.path, self.properties = path, properties or {}

    @dbus.service.method(PROPERTIES, "ss", "v")
    def Get(self, interface, name):
        return self.properties[interface][name]

    @dbus.service.method(PROPERTIES, "s", "a{sv}")
    def GetAll(self, interface):
        return dbus.Dictionary(self.properties[interface], "sv")

    @dbus.service.signal(PROPERTIES, "sa{sv}as")
    def PropertiesChanged(self, interface, changed, gone):
        pass

    def put(self, interface, **values):
        self.properties[interface].update(values)
        self.PropertiesChanged(interface, dbus.Dictionary(values, "sv"), dbus.Array([], "s"))


class Profile(Node):
    def __init__(self, machine, settings, is_volatile=False):
        super().__init__(machine.bus, machine.new_path("Settings"))
        self.machine, self.settings, self.is_volatile = machine, settings, is_volatile

    @property
    def uuid(self):
        return str(self.settings["connection"]["uuid"])

    @property
    def ssid(self):
        return bytes(self.settings[WIRELESS]["ssid"]).decode("latin-1")  # any bytes

    @property
    def is_hotspot(self):
        return self.settings[WIRELESS].get("mode") == "ap"

    @property
    def key(self):
        return str(self.settings.get(SECURITY, {}).get("psk", ""))

    @property
    def security(self):
        return {"sae": "wpa3", "wpa-psk": "wpa2", None: "open"}[self.settings.get(SECURITY, {}).get("key-mgmt")]

    def public(self):
        return {name: dbus.Dictionary({k: v for k, v in setting.items() if k != "psk"}, "sv")
                for name, setting in self.settings.items()}

    @dbus.service.method(NM + ".Settings.Connection", "", "a{sa{sv}}")
    def GetSettings(self):
        return dbus.Dictionary(self.public(), "sa{sv}")

    @dbus.service.method(NM + ".Settings.Connection", "s", "a{sa{sv}}")
    def GetSecrets(self, name):
        secrets = {"psk": self.key} if self.key and not self.settings[SECURITY].get("psk-flags") else {}
        return dbus.Dictionary({name: dbus.Dictionary(secrets, "sv")}, "sa{sv}")

    @dbus.service.method(NM + ".Settings.Connection", "a{sa{sv}}", "")
    def Update(self, settings):
        self.settings = settings

    @dbus.service.method(NM + ".Settings.Connection", "", "")
    def Delete(self):
        for activation in [one for one in self.machine.activations if one.profile is self]:
            self.machine.end(activation, 38)
        self.machine.forget(self)


class Activation(Node):
    def __init__(self, machine, profile):
        super().__init__(machine.bus, machine.new_path("ActiveConnection"), {
            NM + ".Connection.Active": {
                "State": dbus.UInt32(1), "Connection": dbus.ObjectPath(profile.path),
                "Id": str(profile.settings["connection"]["id"]), "Type": WIRELESS, "Default": not profile.is_hotspot,
                "Devices": dbus.Array([machine.radio.path], "o")}})
        self.profile, self.address = profile, ""


class Radio(Node):
    def __init__(self, machine, name):
        super().__init__(machine.bus, ROOT + "/Devices/1", {
            NM + ".Device": {"DeviceType": dbus.UInt32(2), "Interface": name, "State": dbus.UInt32(30),
                             "ActiveConnection": dbus.ObjectPath("/"), "Ip4Config": dbus.ObjectPath("/"),
                             "Metered": dbus.UInt32(0), "Ip4Connectivity": dbus.UInt32(0)},
            NM + ".Device.Wireless": {"WirelessCapabilities": dbus.UInt32(0x7f), "Mode": dbus.UInt32(INFRA),
                                      "HwAddress": "02:00:5E:10:00:0A", "LastScan": dbus.Int64(-1)}})
        self.machine = machine

    @dbus.service.signal(NM + ".Device", "uuu")
    def StateChanged(self, new, old, reason):
        pass

    @dbus.service.signal(NM + ".Device.Wireless", "o")
    def AccessPointAdded(self, path):
        pass

    def enter(self, state, reason=0):
        old = self.properties[NM + ".Device"]["State"]
        self.put(NM + ".Device", State=dbus.UInt32(state))
        self.StateChanged(dbus.UInt32(state), old, dbus.UInt32(reason))

    @dbus.service.method(NM + ".Device.Wireless", "", "ao")
    def GetAllAccessPoints(self):
        return dbus.Array(self.machine.look(), "o")

    @dbus.service.method(NM + ".Device.Wireless", "a{sv}", "")
    def RequestScan(self, options):
        if options:
            os._exit(1)  # NetworkManager 1.42 crashes if a second scan for an SSID is requested during a scan


class Machine(Node):
    """The manager object of one NetworkManager, with its profiles, activations, access points and radio."""

    def __init__(self, bus, air, number):
        self.bus, self.air, self.counter, self.failure = bus, air, 0, 0
        self.profiles, self.activations, self.access_points = [], [], {}
        super().__init__(bus, ROOT, {NM: {
            "Version": "1.42.4", "WirelessEnabled": True, "WirelessHardwareEnabled": True,
            "PrimaryConnection": dbus.ObjectPath("/"), "ActiveConnections": dbus.Array([], "o"),
            "ConnectivityCheckAvailable": False, "ConnectivityCheckEnabled": False, "Connectivity": dbus.UInt32(0)}})
        self.users_networks = {}
        self.radio = Radio(self, f"wlan{number}")
        self.settings, self.control = SettingsNode(self), Control(self)
        self.late, self.lost = {}, {}
        bus.add_message_filter(self.receive)
        self.names = [dbus.service.BusName(name, bus) for name in ("test.Control", NM)]

    def receive(self, _, message):
        """Delays or drops a call, if the test has requested that for its method."""
        is_ours = str(message.get_interface()).startswith((NM, PROPERTIES))
        if not is_ours or not isinstance(message, dbus.lowlevel.MethodCallMessage):
            return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
        method = message.get_member()
        time.sleep(self.late.get(method, self.late.get("", 0)))
        if self.lost.get(method, 0) == 0:
            return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
        self.lost[method] -= 1
        return dbus.lowlevel.HANDLER_RESULT_HANDLED

    def new_path(self, kind):
        self.counter += 1
        return f"{ROOT}/{kind}/{self.counter}"

    # --- radio range -------------------------------------------------------------------------------------------------
    def on_air(self):
        return [one for one in self.activations if one.profile.is_hotspot and self.state_of(one) == 2]

    def look(self):
        """Returns the paths of the access points that this radio sees: one object for each SSID."""
        seen = [hotspot.profile for other in self.air if other is not self for hotspot in other.on_air()]
        for profile in seen:
            flags = KEY_MGMT[profile.security]
            node = self.access_points.setdefault(profile.ssid, None) or Node(self.bus, self.new_path("AccessPoint"))
            self.access_points[profile.ssid] = node
            with open("/proc/uptime", encoding="ascii") as uptime:
                now = int(float(uptime.read().split()[0]))
            node.properties = {NM + ".AccessPoint": {
                "Ssid": dbus.ByteArray(profile.ssid.encode("latin-1")), "HwAddress": "02:00:5e:10:00:01",
                "Strength": dbus.Byte(70), "Flags": dbus.UInt32(flags != 0), "WpaFlags": dbus.UInt32(0),
                "RsnFlags": dbus.UInt32(flags), "LastSeen": dbus.Int32(now)}}
        return [self.access_points[profile.ssid].path for profile in seen] + [
            one.path for one in self.users_networks.values()]

    def hotspot_of(self, profile):
        return next((hotspot.profile for other in self.air if other is not self for hotspot in other.on_air()
                     if hotspot.profile.ssid == profile.ssid and hotspot.profile.security == profile.security), None)

    def tell_others(self):
        """After a hotspot changed, appeared or vanished: disconnects stations that cannot stay, notifies other radios."""
        for other in self.air:
            if other is self:
                continue
            for one in [one for one in other.activations if not one.profile.is_hotspot and other.state_of(one) == 2]:
                hotspot = other.hotspot_of(one.profile)
                if hotspot is None and one.address:
                    other.end(one, 53, failed=True)
                elif hotspot is not None and hotspot.key != one.profile.key:
                    other.end(one, 7, failed=True)
            for path in other.look():
                other.radio.AccessPointAdded(dbus.ObjectPath(path))

    # --- activations -----------------------------------------------------------------------------------------------
    @staticmethod
    def state_of(activation):
        return activation.properties[NM + ".Connection.Active"]["State"]

    def activate(self, profile):
        for old in list(self.activations):
            self.end(old, 60, is_quiet=old.profile is profile)
        activation = Activation(self, profile)
        self.activations.append(activation)
        self.radio.put(NM + ".Device", ActiveConnection=dbus.ObjectPath(activation.path))
        self.radio.put(NM + ".Device.Wireless", Mode=dbus.UInt32(AP if profile.is_hotspot else INFRA))
        GLib.timeout_add(STEP_MS, self.step, activation, [40, 50, 70, 100])
        return activation

    def step(self, activation, states):
        if activation not in self.activations:
            return False
        profile, state = activation.profile, states[0]
        if state == 70 and not profile.is_hotspot and profile.settings["connection"]["id"] != "far away":
            hotspot = self.hotspot_of(profile)
            if hotspot is None:
                return self.end(activation, 53, failed=True)
            if hotspot.key != profile.key and profile.security == "wpa3":
                # The supplicant retries until NetworkManager reports that the hotspot is gone.
                GLib.timeout_add(1100, self.end, activation, 53, True)
                return False
            if hotspot.key != profile.key:
                self.radio.enter(60, 8)
                return self.end(activation, 7, failed=True)
            activation.address = "10.42.0.17"
        if state == 100 and self.failure:
            reason, self.failure = self.failure, 0
            return self.end(activation, reason, failed=True)
        if state == 100:
            config = Node(self.bus, self.new_path("IP4Config"), {NM + ".IP4Config": {"AddressData": dbus.Array(
                [dbus.Dictionary({"address": activation.address or "10.9.9.9"}, "sv")], "a{sv}"),
                "Gateway": "10.42.0.1", "NameserverData": dbus.Array(
                    [dbus.Dictionary({"address": "10.42.0.1"}, "sv")], "a{sv}")}})
            self.radio.put(NM + ".Device", Ip4Config=dbus.ObjectPath(config.path))
            activation.put(NM + ".Connection.Active", State=dbus.UInt32(2))
            if not profile.is_hotspot and self.properties[NM]["PrimaryConnection"] == "/":
                self.lead_by(activation.path)
        self.radio.enter(state)
        if state == 100 and profile.is_hotspot:
            self.tell_others()
        if states[1:]:
            GLib.timeout_add(STEP_MS, self.step, activation, states[1:])
        return False

    def end(self, activation, reason, failed=False, is_quiet=False):
        if activation not in self.activations:
            return False
        was_on_air = activation in self.on_air()
        self.activations.remove(activation)
        self.radio.enter(120 if failed else 110, reason)
        activation.put(NM + ".Connection.Active", State=dbus.UInt32(4))
        activation.remove_from_connection()
        none = dbus.ObjectPath("/")
        if self.properties[NM]["PrimaryConnection"] == activation.path:
            self.lead_by("/")
        self.radio.put(NM + ".Device", ActiveConnection=none, Ip4Config=none)
        self.radio.put(NM + ".Device.Wireless", Mode=dbus.UInt32(INFRA))
        self.radio.enter(30, 0 if failed else reason)
        if activation.profile.is_volatile:
            self.forget(activation.profile)
        if was_on_air and not is_quiet:
            self.tell_others()
        return False

    def lead_by(self, path):
        """Gives the default route to the activation with this path ("/": to none)."""
        active = [path] if path != "/" else []
        self.put(NM, PrimaryConnection=dbus.ObjectPath(path), ActiveConnections=dbus.Array(active, "o"))

    def forget(self, profile):
        if profile in self.profiles:
            self.profiles.remove(profile)
            profile.remove_from_connection()

    def find(self, kind, path):
        return next(one for one in kind if one.path == path)

    @dbus.service.method(NM, "", "ao")
    def GetDevices(self):
        return [self.radio.path]

    @dbus.service.method(NM, "", "u")
    def CheckConnectivity(self):
        return self.properties[NM]["Connectivity"]

    @dbus.service.method(NM, "a{sa{sv}}ooa{sv}", "ooa{sv}", sender_keyword="sender")
    def AddAndActivateConnection2(self, settings, device, specific, options, sender=None):
        if not {"id", "uuid", "type"} <= set(settings["connection"]) or "ssid" not in settings[WIRELESS]:
            raise dbus.DBusException("connection.id: property is missing",
                                     name=NM + ".Settings.Connection.MissingProperty")
        profile = Profile(self, settings, options.get("persist") == "volatile")
        self.profiles.append(profile)
        activation = self.activate(profile)
        if options.get("bind-activation") == "dbus-client":
            self.bus.watch_name_owner(sender, lambda owner: owner or self.end(activation, 39))
        return profile.path, activation.path, dbus.Dictionary({}, "sv")

    @dbus.service.method(NM, "ooo", "o")
    def ActivateConnection(self, profile, device, specific):
        return self.activate(self.find(self.profiles, profile)).path

    @dbus.service.method(NM, "o", "")
    def DeactivateConnection(self, path):
        self.end(self.find(self.activations, path), 39)


class SettingsNode(Node):
    def __init__(self, machine):
        super().__init__(machine.bus, ROOT + "/Settings")
        self.machine = machine

    @dbus.service.method(NM + ".Settings", "", "ao")
    def ListConnections(self):
        return dbus.Array([one.path for one in self.machine.profiles], "o")

    @dbus.service.method(NM + ".Settings", "a{sa{sv}}", "o")
    def AddConnection(self, settings):
        self.machine.profiles.append(Profile(self.machine, settings))
        return self.machine.profiles[-1].path

    @dbus.service.method(NM + ".Settings", "s", "o")
    def GetConnectionByUuid(self, uuid):
        return next(one.path for one in self.machine.profiles if one.uuid == uuid)


class Control(Node):
    def __init__(self, machine):
        super().__init__(machine.bus, "/test")
        self.machine = machine

    @dbus.service.method("test.Control", "s", "s")
    def Do(self, command):
        arguments = json.loads(command)
        return json.dumps(getattr(self, arguments.pop("do"))(**arguments))

    def keep_key_elsewhere(self, uuid):
        next(one for one in self.machine.profiles if one.uuid == uuid).settings[SECURITY]["psk-flags"] = 1

    def activate(self, uuid):
        self.machine.activate(next(one for one in self.machine.profiles if one.uuid == uuid))

    def deactivate(self):
        self.machine.end(self.machine.activations[0], 39)

    def put(self, **values):
        self.machine.put(NM, **values)

    def lead_to(self, path):
        self.machine.put(NM, PrimaryConnection=dbus.ObjectPath(path))

    def check(self, connectivity, of_radio=0):
        """Enables the connectivity check with this result. of_radio: the result through the radio alone."""
        self.machine.radio.put(NM + ".Device", Ip4Connectivity=dbus.UInt32(of_radio))
        self.machine.put(NM, ConnectivityCheckAvailable=True, ConnectivityCheckEnabled=True,
                         Connectivity=dbus.UInt32(connectivity))

    def connect_by(self, kind, connectivity=0, metered=0):
        """Gives the default route to a connection that is not Wi-Fi."""
        machine = self.machine
        device = Node(machine.bus, machine.new_path("Devices"), {NM + ".Device": {
            "DeviceType": dbus.UInt32(1), "Interface": "eth0", "Metered": dbus.UInt32(metered),
            "Ip4Connectivity": dbus.UInt32(connectivity)}})
        active = Node(machine.bus, machine.new_path("ActiveConnection"), {NM + ".Connection.Active": {
            "State": dbus.UInt32(2), "Connection": dbus.ObjectPath("/none"), "Id": kind, "Type": kind,
            "Default": True, "Devices": dbus.Array([device.path], "o")}})
        machine.lead_by(active.path)

    def disconnect_wire(self):
        self.machine.lead_by("/")

    def scan(self, networks, age=0):
        """Completes a scan. networks: strength by SSID; each network was last seen age seconds ago."""
        with open("/proc/uptime", encoding="ascii") as uptime:
            now = float(uptime.read().split()[0])
        self.machine.users_networks = {ssid: Node(self.machine.bus, self.machine.new_path("AccessPoint"), {
            NM + ".AccessPoint": {
                "Ssid": dbus.ByteArray(ssid.encode()), "HwAddress": "02:00:5e:10:00:02", "Strength": dbus.Byte(strength),
                "Flags": dbus.UInt32(1), "WpaFlags": dbus.UInt32(0), "RsnFlags": dbus.UInt32(0x100),
                "LastSeen": dbus.Int32(int(now) - age)}}) for ssid, strength in networks.items()}
        self.machine.radio.put(NM + ".Device.Wireless", LastScan=dbus.Int64(int(now * 1000)))

    def capabilities(self, bits):
        self.machine.radio.put(NM + ".Device.Wireless", WirelessCapabilities=dbus.UInt32(bits))
        self.machine.radio.enter(30)

    def be_busy(self, seconds):
        time.sleep(seconds)

    def answer_late(self, seconds, method=""):
        """Delays the calls of this method (empty: all calls) by that time."""
        self.machine.late = {method: seconds}

    def lose(self, method, count):
        self.machine.lost = {method: count}

    def fail_next(self, reason):
        self.machine.failure = reason

    def leave_bus(self):
        """Stops NetworkManager: it leaves the bus, and what it kept only in memory is lost."""
        for one in list(self.machine.activations):
            self.machine.end(one, 36)
        self.machine.bus.release_name(NM)

    def join_bus(self):
        self.machine.bus.request_name(NM)

    def state(self):
        machine = self.machine
        return {"profiles": sorted(one.uuid for one in machine.profiles),
                "added": [{"uuid": one.uuid, "ssid": one.ssid, "settings": json.loads(json.dumps(one.public()))}
                          for one in machine.profiles if one.is_volatile],
                "lost": sum(machine.lost.values()),
                "activations": [one.path for one in machine.activations],
                "active": [one.profile.uuid for one in machine.activations if self.machine.state_of(one) == 2]}


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    air = []
    for number, address in enumerate(sys.argv[1:]):
        bus = dbus.bus.BusConnection(address)
        bus.set_exit_on_disconnect(False)
        air.append(Machine(bus, air, number))
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
