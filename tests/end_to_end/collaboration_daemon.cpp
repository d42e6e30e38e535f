// collaboration_daemon --config FILE: distnetd with the service linked in instead of loaded, so that it can do what no
// request leads to: for each network id that comes through the pipe "requests" in its state folder it starts over the
// collaboration channel, and prints the code. Ended by a signal.

#include <sys/stat.h>

#include <fstream>
#include <iostream>

#include "distributed/services/service/distnet_service.h"
#include "host/configuration.h"
#include "host/daemon.h"
#include "platform/ability/iservice_registry.h"

int main(int argc, char** argv)
{
    using namespace Vexo;
    auto loaded = Host::LoadConfiguration(argc == 3 ? argv[2] : "");
    // The service has registered itself already; the daemon only needs a library that it can open.
    loaded.configuration.serviceLibrary = DISTNET_PLATFORM_LIBRARY;
    const std::string pipe = loaded.configuration.stateDir / "requests";
    mkfifo(pipe.c_str(), 0600);
    const auto daemon =
        Host::Daemon::Start(loaded.configuration, [](const std::string& line) { std::cout << line << std::endl; });
    if (!daemon) {
        std::cerr << daemon.error().message << std::endl;
        return 1;
    }
    SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->LoadSystemAbility(
        COMM_DISTRIBUTED_NET_ABILITY_ID);
    std::fstream requests(pipe);  // for writing too: it then has no end
    for (std::string networkId; std::getline(requests, networkId);) {
        const int32_t code = NetManagerStandard::DistNetService::GetInstance().CollaborationStartDisNet(networkId);
        std::cout << "collaboration start: " << code << std::endl;
    }
    return 1;
}
