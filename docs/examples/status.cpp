// Prints the state of the service and the Wi-Fi, and the devices that were met: status [SOCKET]
#include <cstdio>

#include "client/distnet_client.h"
#include "interfaces/named_values.h"

using namespace Vexo;

int main(int argc, char** argv)
{
    Client::CallResult call;
    const auto client = Client::DistNetClient::Connect(argc > 1 ? argv[1] : Client::DEFAULT_SOCKET, call);
    Host::HostStatus status;
    std::vector<Host::KnownDevice> devices;
    if (client) {
        call = client->GetStatus(status);
    }
    if (call.Succeeded()) {
        call = client->GetDevices(devices);
    }
    if (!call.Succeeded()) {
        std::fprintf(stderr, "%s\n", call.message.c_str());
        return 1;
    }
    std::printf("service: %s\nWi-Fi: %s\n", NameOf(status.service), NameOf(status.wifi.state));
    for (const Host::KnownDevice& device : devices) {
        std::printf("%s: %s\n", device.networkId.c_str(), device.online ? "reachable" : "away");
    }
    return 0;
}
