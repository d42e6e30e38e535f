// dns_sd_side BUS FIFO LISTENING TOKEN: one device of the DNS-SD tests, with a DNS-SD channel that prints what it hears
// and reads commands from a FIFO. It is a program of its own because a network namespace belongs to threads. A token
// that consists of "ours" and four more characters belongs to the account.
// Output:
//     heard NAME TOKEN ADDRESS...
//     gone NAME
// Commands:
//     announce TOKEN    announces a new token
//     objects           prints "objects N": how many objects Avahi has created for this program
//     end               withdraws, prints "withdrawn" and exits
#include <fstream>
#include <iostream>

#include "backends/linux/avahi.h"
#include "backends/linux/dns_sd_channel.h"

namespace Vexo::Linux {
namespace {

int Run(const std::string& address, const char* fifo, const std::string& listening, const std::string& token)
{
    const std::shared_ptr<Bus> bus = Bus::Open(address);
    const auto channel = MakeDnsSdChannel(listening, bus);
    const Result<void> started = channel->Start(
        token, [](const std::string& heard) { return heard.starts_with("ours"); },
        [](const std::string& name, const std::optional<SoftBus::Announcement>& announcement) {
            std::cout << (announcement ? "heard " : "gone ") << name;
            if (announcement) {
                std::cout << " " << announcement->token;
                for (const SoftBus::PeerAddress& where : announcement->addresses) {
                    std::cout << " " << where.address;
                }
            }
            std::cout << std::endl;
        });
    std::cout << (started ? "started" : started.error().message) << std::endl;
    std::ifstream commands(fifo);
    for (std::string line; std::getline(commands, line) && line != "end";) {
        if (line == "objects") {
            // Avahi numbers a client's objects: "/Client3/EntryGroup17" is its 17th.
            const auto group = bus->Call<sdbus::ObjectPath>(AVAHI_SERVER, "EntryGroupNew", BUS_CALL_LIMIT);
            const std::string path = group.value_or(sdbus::ObjectPath("none"));
            std::cout << "objects " << path.substr(path.find_last_not_of("0123456789") + 1) << std::endl;
        } else {
            channel->Announce(line.substr(line.find(' ') + 1));
        }
    }
    channel->Withdraw();
    std::cout << "withdrawn" << std::endl;
    return 0;
}

}  // namespace
}  // namespace Vexo::Linux

int main(int argc, char** argv)
{
    return argc == 5 ? Vexo::Linux::Run(argv[1], argv[2], argv[3], argv[4]) : 2;
}
