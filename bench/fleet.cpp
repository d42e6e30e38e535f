#include "bench/fleet.h"

#include <openssl/x509.h>

#include <cstdio>

#include "bench/bench.h"
#include "platform/softbus/discovery/known_devices.h"
#include "platform/softbus/softbus_server.h"
#include "platform/trust/account.h"
#include "platform/trust/identity.h"

namespace Vexo::Bench {
namespace {

using EndToEnd::Device;
using EndToEnd::World;

// Returns the network id of the new member, or an empty text if the account's state is full.
std::string AddMember(World& world, const Device& laptop, const std::string& name)
{
    const Device& device = world.AddUnenrolled(name);
    const auto request = Trust::MakeRequest(device.Identity(), name);
    Check(request.has_value(), "make a request");
    return Trust::Admit(laptop.Identity(), request.value()) ? device.NetworkId() : "";
}

// Writes the laptop's known-devices.json as if the laptop had met the devices with these network ids.
void WriteKnownDevices(const Device& laptop, const std::vector<std::string>& networkIds)
{
    const Trust::Identity identity = std::move(Trust::LoadIdentity(laptop.Identity()).value());
    SoftBus::KnownDevices devices;
    devices.UseFile(laptop.StateDir() / SoftBus::KNOWN_DEVICES_FILE,
                    Trust::NetworkIdOf(identity.accountCertificate.get()));
    for (size_t i = 0; i < networkIds.size(); ++i) {
        SoftBus::Hello hello;
        hello.deviceId = networkIds[i];
        hello.deviceName = "m" + std::to_string(i + 1);
        hello.addresses = {{"tcp", "127.0.0.1:1"}};  // no program listens there, so the device is away
        devices.AddOrUpdate(networkIds[i], hello, "tcp");
    }
    devices.Flush();
}

}  // namespace

void MakeFleet(World& world, size_t known)
{
    const Device& laptop = world.Add("laptop");
    world.Add("phone");
    std::vector<std::string> networkIds;
    for (size_t i = 1; i < known; ++i) {
        const std::string networkId = AddMember(world, laptop, "m" + std::to_string(i));
        if (networkId.empty()) {
            std::fprintf(stderr, "the account is full: the laptop knows %zu other devices instead of %zu\n",
                         networkIds.size() + 1, known);
            break;
        }
        networkIds.push_back(networkId);
    }
    WriteKnownDevices(laptop, networkIds);
}

}  // namespace Vexo::Bench
