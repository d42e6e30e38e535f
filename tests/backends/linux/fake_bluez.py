"""A fake BlueZ: the template of python-dbusmock, with advertising and with devices that have service data.

The advertising manager has a limited number of slots. As BlueZ does, it reads the content of an advertisement from the
client's object.
"""
import dbus
from dbusmock import OBJECT_MANAGER_IFACE, mockobject
from dbusmock.templates.bluez5 import *  # noqa: F401,F403 the template's objects and methods
from dbusmock.templates import bluez5

BUS_NAME = bluez5.BUS_NAME
MAIN_OBJ = bluez5.MAIN_OBJ
SYSTEM_BUS = True
IS_OBJECT_MANAGER = True

TEST = "net.distnet.Test"
MANAGER = "org.bluez.LEAdvertisingManager1"
ADVERTISEMENT = "org.bluez.LEAdvertisement1"

state = {"slots": 2, "advertisements": {}, "scans": 0}


def _add(mock, name):
    bluez5.AddAdapter(mock, name, name)
    adapter = mockobject.objects["/org/bluez/" + name]
    adapter.AddProperty(bluez5.ADAPTER_IFACE, "PowerState", dbus.String("on", variant_level=1))
    adapter.AddMethods(bluez5.ADAPTER_IFACE, [
        ("SetDiscoveryFilter", "a{sv}", "", _filter),
        ("StartDiscovery", "", "", lambda _adapter: _scan(1)),
        ("StopDiscovery", "", "", lambda _adapter: _scan(-1)),
    ])
    adapter.AddMethods(MANAGER, [
        ("RegisterAdvertisement", "oa{sv}", "", _register),
        ("UnregisterAdvertisement", "o", "", _unregister),
    ])
    adapter.AddProperties(MANAGER, {"SupportedInstances": dbus.Byte(5, variant_level=1)})
    mockobject.objects["/"].EmitSignal(OBJECT_MANAGER_IFACE, "InterfacesAdded", "oa{sa{sv}}",
                                       [dbus.ObjectPath(adapter.path), {MANAGER: {}}])


def _fail(name):
    raise dbus.exceptions.DBusException("refused", name="org.bluez.Error." + name)


def _filter(_adapter, wanted):
    if wanted.get("Transport") != "le" or wanted.get("DuplicateData") != False or "UUIDs" in wanted:  # noqa: E712
        _fail("InvalidArguments")


def _scan(change):
    if state["scans"] + change not in (0, 1):
        _fail("InProgress" if change > 0 else "Failed")
    state["scans"] += change


def _client_object(path):
    bus = dbus.SystemBus()
    for name in reversed(bus.list_names()):  # the newest first: the test program has other connections, too
        if not name.startswith(":") or name == bus.get_unique_name():
            continue
        try:
            read = bus.call_blocking(name, path, "org.freedesktop.DBus.Properties", "GetAll", "s", (ADVERTISEMENT,),
                                     timeout=1.0)
            state["client"] = name
            return read
        except dbus.exceptions.DBusException:
            pass
    return {}


def _register(_adapter, path, _options):
    if len(state["advertisements"]) >= state["slots"]:
        _fail("NotPermitted")
    if path in state["advertisements"]:
        _fail("AlreadyExists")
    read = _client_object(path)
    if read.get("Type") != "peripheral" or not 20 <= read.get("MinInterval", 0) <= read.get("MaxInterval", 0):
        _fail("InvalidArguments")
    data = read.get("ServiceData", {})
    if sum(16 + 2 + len(value) for value in data.values()) > 28:  # 31 bytes of an advertisement without its flags
        _fail("InvalidLength")
    state["advertisements"][path] = ",".join(f"{uuid} {bytes(value).hex()}" for uuid, value in data.items())


def _unregister(_adapter, path):
    if state["advertisements"].pop(path, None) is None:
        _fail("DoesNotExist")


def _disconnect(device):
    if not device.props[bluez5.DEVICE_IFACE]["Connected"]:
        _fail("NotConnected")
    device.UpdateProperties(bluez5.DEVICE_IFACE, {"Connected": dbus.Boolean(False, variant_level=1)})


@dbus.service.method(TEST, in_signature="s")
def PlugIn(self, name):
    _add(self, name)


@dbus.service.method(TEST, in_signature="s")
def Unplug(self, name):
    state["advertisements"].clear()
    state["scans"] = 0
    bluez5.RemoveAdapter(self, name)


@dbus.service.method(TEST, in_signature="sa{sv}")
def Change(_self, name, properties):
    state["scans"] = 0
    mockobject.objects["/org/bluez/" + name].UpdateProperties(bluez5.ADAPTER_IFACE, properties)


@dbus.service.method(TEST, in_signature="i")
def SetSlots(_self, slots):
    state["slots"] = slots


@dbus.service.method(TEST, out_signature="as")
def Advertised(_self):
    return sorted(state["advertisements"].values())


@dbus.service.method(TEST)
def Release(_self):
    for path in state["advertisements"]:
        dbus.SystemBus().call_blocking(state["client"], path, ADVERTISEMENT, "Release", "", ())
    state["advertisements"].clear()


@dbus.service.method(TEST, out_signature="i")
def Scans(_self):
    return state["scans"]


@dbus.service.method(TEST, in_signature="ssay")
def Appear(self, address, uuid, data):
    path = "/org/bluez/hci0/dev_" + address.replace(":", "_")
    service_data = dbus.Dictionary({uuid: dbus.Array(data, signature="y", variant_level=1)}, signature="sv",
                                   variant_level=1)
    if path in mockobject.objects:
        mockobject.objects[path].EmitSignal("org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as",
                                            [bluez5.DEVICE_IFACE, {"ServiceData": service_data}, []])
        return
    properties = {
        "Address": dbus.String(address, variant_level=1),
        "AddressType": dbus.String("random", variant_level=1),
        "RSSI": dbus.Int16(-50, variant_level=1),
        "Connected": dbus.Boolean(False, variant_level=1),
        "Paired": dbus.Boolean(False, variant_level=1),
        "ServiceData": service_data,
    }
    self.AddObject(path, bluez5.DEVICE_IFACE, properties, [])
    mockobject.objects[path].AddMethods(bluez5.DEVICE_IFACE, [("Disconnect", "", "", _disconnect)])
    mockobject.objects["/"].EmitSignal(OBJECT_MANAGER_IFACE, "InterfacesAdded", "oa{sa{sv}}",
                                       [dbus.ObjectPath(path), {bluez5.DEVICE_IFACE: properties}])


@dbus.service.method(TEST, in_signature="is")
def AppearMany(self, count, uuid):
    for i in range(count):
        Appear(self, f"40:00:00:00:00:{i:02X}", uuid, [1, 0x81] + list(b"oursXXXX"))


@dbus.service.method(TEST, in_signature="s")
def Vanish(self, address):
    path = "/org/bluez/hci0/dev_" + address.replace(":", "_")
    self.RemoveObject(path)
    mockobject.objects["/"].EmitSignal(OBJECT_MANAGER_IFACE, "InterfacesRemoved", "oas",
                                       [dbus.ObjectPath(path), [bluez5.DEVICE_IFACE]])


@dbus.service.method(TEST, in_signature="sb")
def Connect(_self, address, is_paired):
    mockobject.objects["/org/bluez/hci0/dev_" + address.replace(":", "_")].UpdateProperties(bluez5.DEVICE_IFACE, {
        "Connected": dbus.Boolean(True, variant_level=1), "Paired": dbus.Boolean(is_paired, variant_level=1)})


@dbus.service.method(TEST, out_signature="as")
def Connected(_self):
    devices = [each.props[bluez5.DEVICE_IFACE] for each in mockobject.objects.values()
               if bluez5.DEVICE_IFACE in each.props]
    return sorted(str(device["Address"]) for device in devices if device["Connected"])
