// Fuzzes the reader of the file with the known devices. The names and addresses in this file come from other devices.
#include "platform/softbus/discovery/known_devices.h"

#include <algorithm>

#include "fuzz/fuzz_target.h"
#include "fuzz/input_file.h"
#include "platform/base/hex.h"

namespace Vexo::SoftBus {
namespace {

const std::string ACCOUNT(ID_CHARACTERS, 'a');
const std::string NEW_DEVICE(ID_CHARACTERS, 'f');

const Fuzz::InputFile& TheFile()
{
    static const Fuzz::InputFile file("known-devices.json");
    return file;
}

Hello HelloOf(const std::string& name)
{
    return {0x0E, std::string(ID_CHARACTERS, 'd'), name, {{"tcp", "192.0.2.7:40117"}}, 1'000, 7};
}

// Adds a device to those in the file, and writes the file.
void AddNewDevice(KnownDevices& devices)
{
    devices.AddOrUpdate(NEW_DEVICE, HelloOf("new"), "tcp");
    devices.Flush();
}

std::vector<std::string> Samples()
{
    TheFile().Clear();
    KnownDevices devices;
    devices.UseFile(TheFile().Path(), ACCOUNT);
    devices.AddOrUpdate(std::string(ID_CHARACTERS, 'b'), HelloOf("phone"), "bluetooth");
    AddNewDevice(devices);
    return {TheFile().Text()};
}

// Returns the members of the node that are written to the file.
auto Stored(const Node& node)
{
    return std::tuple(node.networkId, node.deviceId, node.deviceName, node.deviceTypeId, node.lastSeenMs,
                      node.transport);
}

bool Run(std::string_view input)
{
    TheFile().Write(input);
    std::vector<Node> read;
    {
        KnownDevices devices;
        devices.UseFile(TheFile().Path(), ACCOUNT);
        read = devices.List();
        for (const Node& node : read) {
            Fuzz::Require(IsHexId(node.networkId) && IsHexId(node.deviceId) && !node.deviceName.empty(),
                          "a device has ids and a name");
            Fuzz::Require(devices.Addresses(node.networkId).size() <= MAX_KNOWN_ADDRESSES && !node.online,
                          "a device that was not met in this run has at most the allowed addresses");
        }
        Fuzz::Require(read.size() <= MAX_KNOWN_DEVICES, "the number of devices is limited");
        if (read.empty() || read.size() == MAX_KNOWN_DEVICES) {
            return !read.empty();
        }
        AddNewDevice(devices);
    }
    KnownDevices again;
    again.UseFile(TheFile().Path(), ACCOUNT);
    const std::vector<Node> stored = again.List();
    for (const Node& node : read) {
        Fuzz::Require(node.networkId == NEW_DEVICE ||
                          std::any_of(stored.begin(), stored.end(),
                                      [&](const Node& other) { return Stored(other) == Stored(node); }),
                      "a device that was read is written as the same");
    }
    return true;
}

const Fuzz::Registration REGISTRATION({"known_devices", Samples, Run});

}  // namespace
}  // namespace Vexo::SoftBus
