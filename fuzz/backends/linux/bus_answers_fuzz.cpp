// Fuzzes the decoders of D-Bus answers: NetworkManager's profiles, access points and IPv4 configurations, and
// ModemManager's modems. Names of networks in these answers come from any access point nearby. An input has one
// property a line: the object or setting, the property's name, its D-Bus type and its value, separated by spaces. The
// elements of an array are separated by commas.
#include <algorithm>
#include <sstream>

#include "backends/linux/modem_slots.h"
#include "backends/linux/network_manager_profiles.h"
#include "fuzz/fuzz_target.h"
#include "platform/base/number.h"

namespace Vexo::Linux {
namespace {

using Maps = std::vector<PropertyMap>;
using Wifi::KeyMgmt;

std::vector<std::string> Split(const std::string& list)
{
    std::vector<std::string> items;
    std::istringstream rest(list);
    for (std::string item; std::getline(rest, item, ',');) {
        items.push_back(item);
    }
    return items;
}

template <typename Number>
Number NumberIn(const std::string& value)
{
    return ParseNumber<Number>(value).value_or(0);
}

// Returns a variant with the value. type: the D-Bus type of the value. Returns an empty variant if this function does
// not know the type. Throws sdbus::Error if D-Bus does not allow the value, for example a damaged object path.
sdbus::Variant Value(const std::string& type, const std::string& value)
{
    const std::vector<std::string> items = Split(value);
    if (type == "b") {
        return value == "true";
    }
    if (type == "y") {
        return NumberIn<uint8_t>(value);
    }
    if (type == "i") {
        return NumberIn<int32_t>(value);
    }
    if (type == "u") {
        return NumberIn<uint32_t>(value);
    }
    if (type == "t") {
        return NumberIn<uint64_t>(value);
    }
    if (type == "s") {
        return value;
    }
    if (type == "o") {
        return sdbus::ObjectPath(value);
    }
    if (type == "as") {
        return items;
    }
    if (type == "ao") {
        return std::vector<sdbus::ObjectPath>(items.begin(), items.end());
    }
    if (type == "ay") {
        return std::vector<uint8_t>(value.begin(), value.end());
    }
    if (type == "(ub)") {
        return sdbus::Struct<uint32_t, bool>(NumberIn<uint32_t>(value), true);
    }
    if (type == "aa{sv}") {
        Maps maps;
        for (const std::string& item : items) {
            maps.push_back({{"address", sdbus::Variant(item)}});
        }
        return maps;
    }
    return {};
}

SettingsMap Decoded(const std::string& input)
{
    SettingsMap objects;
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string object;
        std::string key;
        std::string type;
        std::string value;
        words >> object >> key >> type >> std::ws;
        std::getline(words, value, '\0');
        try {
            objects[object][key] = Value(type, value);
        } catch (const sdbus::Error&) {
            objects[object].erase(key);
        }
    }
    return objects;
}

std::vector<std::string> Samples()
{
    return {
        "connection id s home\nconnection uuid s 5f1c6f0a-0000-4000-8000-000000000001\n"
        "connection type s 802-11-wireless\nconnection timestamp t 7\n802-11-wireless ssid ay net\n"
        "802-11-wireless mode s ap\n802-11-wireless-security key-mgmt s wpa-psk\n"
        "802-11-wireless-security proto as rsn,wpa\n802-11-wireless-security psk s example-key",
        "ap Ssid ay caf\xe9\nap RsnFlags u 392\nap Flags u 1\nap Strength y 70\nap HwAddress s 02:00:5E:10:00:01\n"
        "ap LastSeen i 77",
        "ip AddressData aa{sv} 192.0.2.7\nip Gateway s 192.0.2.1\nip NameserverData aa{sv} 192.0.2.1,192.0.2.2",
        "modem Device s /sys/devices/1\nmodem State i 11\nmodem Sim o /sim/1\nmodem SimSlots ao /sim/1,/\n"
        "modem PrimarySimSlot u 1\nmodem AccessTechnologies u 16384\nmodem SignalQuality (ub) 70",
    };
}

// Checks the decoder of a hotspot's profile. Returns whether the profile contains a usable hotspot configuration.
bool ReadsHotspot(const Profile& profile)
{
    Wifi::HotspotConfig config;
    if (!ReadHotspotConfig(profile, config)) {
        return false;
    }
    Fuzz::Require(config.GetSsid() == SsidOf(profile), "the hotspot's name is the profile's SSID");
    const bool isOpen = config.GetSecurityType() == KeyMgmt::NONE;
    Fuzz::Require(isOpen == config.GetPreSharedKey().empty(), "a hotspot has a key unless it is open");
    if (config.GetSecurityType() == KeyMgmt::WPA_PSK) {
        return true;  // this program makes no such hotspot
    }
    Wifi::HotspotConfig again;
    const Profile made{"/profile", MakeHotspotProfile("uuid", config, {config.GetSecurityType(), "", 0})};
    Fuzz::Require(IsOurs(made) && IsHotspotProfile(made) && !JoinsByItself(made) && ReadHotspotConfig(made, again) &&
                      again.GetSsid() == config.GetSsid() && again.GetPreSharedKey() == config.GetPreSharedKey() &&
                      again.GetSecurityType() == config.GetSecurityType(),
                  "a profile made from what was read reads as the same");
    return true;
}

bool ReadsModems(const SettingsMap& objects)
{
    ManagedObjects modems;
    for (const auto& [name, properties] : objects) {
        modems[sdbus::ObjectPath(name)][MODEM_INTERFACE] = properties;
    }
    const ModemSlots slots = SlotsOf(modems);
    Fuzz::Require(slots.modemCount == modems.size(), "each object is a modem");
    for (const ModemSlot& slot : slots.slots) {
        Fuzz::Require(slot.modem.empty() || modems.contains(sdbus::ObjectPath(slot.modem)), "a slot has its modem");
    }
    const MobileLink link = MobileLinkOf(modems);
    Fuzz::Require(link.signalPercent.value_or(0) <= 100, "a signal has at most 100 percent");
    return link.signalPercent.has_value();
}

bool ReadsAccessPoint(const PropertyMap& properties)
{
    const auto found = AccessPointFrom("/ap", properties);
    if (!found) {
        Fuzz::Require(!found.error().message.empty(), "a refusal says why");
        return false;
    }
    const Wifi::NetworkSecurity& security = found.value().security;
    Fuzz::Require(!found.value().ssid.empty(), "an access point has a name");
    Fuzz::Require(security.needsKey || !(security.allowsPsk || security.allowsSae), "a network with a key needs it");
    return true;
}

bool Run(std::string_view input)
{
    const SettingsMap objects = Decoded(std::string(input));
    const Profile profile{"/profile", objects};
    Fuzz::Require(!IsOurs(profile) || !JoinsByItself(profile), "a temporary profile does not join by itself");
    bool isAccepted = ReadsHotspot(profile) || !NameOf(profile).empty() || LastUseOf(profile) != 0;
    isAccepted = ReadsModems(objects) || isAccepted;
    for (const auto& [name, properties] : objects) {
        const Ip4Lease lease = Ip4LeaseFrom(properties);
        Fuzz::Require(lease.nameServers.size() == ValueIn<Maps>(properties, "NameserverData").size(),
                      "a lease has each name server");
        isAccepted = ReadsAccessPoint(properties) || !lease.gateway.empty() || isAccepted;
    }
    return isAccepted;
}

const Fuzz::Registration REGISTRATION({"bus_answers", Samples, Run});

}  // namespace
}  // namespace Vexo::Linux
