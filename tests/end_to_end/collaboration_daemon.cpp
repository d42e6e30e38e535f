// collaboration_daemon --config FILE: a distnetd into which the service is linked. This program can therefore call a
// function of the service that no IPC request reaches. The program reads network ids from the pipe "requests" in its
// state folder. For each network id, it asks the device with this id for a hotspot over a collaboration, and prints the
// result code. It runs until a signal ends it.

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
    // The daemon opens a service library before it starts the service. Because the service is already linked, any
    // library that can be opened is enough.
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
    std::fstream requests(pipe);  // also opened for writing, so that reading never reaches the end
    for (std::string networkId; std::getline(requests, networkId);) {
        const int32_t code = NetManagerStandard::DistNetService::GetInstance().CollaborationStartDisNet(networkId);
        std::cout << "collaboration start: " << code << std::endl;
    }
    return 1;
}
