// dns_sd_side BUS FIFO LISTENING TOKEN: a program that acts as one device in the DNS-SD tests. The program runs a
// DNS-SD channel, prints the announcements that the channel hears, and reads commands from a FIFO. Each device is a
// separate process, so that it can run in its own network namespace. A token that starts with "ours" belongs to the
// account. Output:
//     heard NAME TOKEN ADDRESS...
//     gone NAME
// Commands:
//     announce TOKEN    announces a new token
//     objects           prints "objects N", where N is the number of objects that Avahi has created for this program
//     end               withdraws the announcement, prints "withdrawn" and exits
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
            // Avahi numbers the objects of a client. For example, "/Client3/EntryGroup17" is the 17th object of client
            // 3.
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
