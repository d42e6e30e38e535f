// One device of the DNS-SD tests, as a program of its own because a network namespace belongs to threads: a channel
// that prints what it hears, and takes commands from a FIFO.
//   dns_sd_side BUS FIFO LISTENING TOKEN     LISTENING "none": no channel, only commands
// A token of "ours" and four more characters is of the account. Output: "heard NAME TOKEN ADDRESS...", "gone NAME".
// Commands:
//   announce TOKEN                     a new token
//   publish INSTANCE ADDRESS           any service of the type, on interface 2
//   take INSTANCE                      a service record of that name, without asking whether it is free
//   objects                            prints "objects N": how many objects Avahi has made for this program
//   end                                withdraws, prints "withdrawn", ends
#include <fstream>
#include <iostream>
#include <sstream>

#include "backends/linux/avahi.h"
#include "backends/linux/dns_sd_channel.h"

namespace Vexo::Linux {
namespace {

constexpr int32_t INTERFACE = 2;
constexpr uint32_t UNIQUE = 1;
constexpr uint32_t NO_PROBE = 2;
constexpr uint32_t NO_REVERSE = 16;
constexpr uint16_t PORT = 4711;

class Group {
public:
    explicit Group(Bus& bus) : bus_(bus)
    {
        const auto made = bus.Call<sdbus::ObjectPath>(AVAHI_SERVER, "EntryGroupNew", BUS_CALL_LIMIT);
        object_ = {AVAHI, made.value_or(sdbus::ObjectPath("/")), AVAHI_ENTRY_GROUP};
    }
    template <typename... Arguments>
    void Call(const std::string& method, const Arguments&... arguments)
    {
        const Result<void> done = bus_.Call(object_, method, BUS_CALL_LIMIT, arguments...);
        std::cout << (done ? "" : method + " failed: " + done.error().message + "\n") << std::flush;
    }
    const std::string& Path() const { return object_.path; }

private:
    Bus& bus_;
    BusObject object_;
};

void Publish(Bus& bus, const std::string& instance, const std::string& address)
{
    Group group(bus);
    const std::string host = instance.substr(instance.size() - 8) + ".local";
    group.Call("AddAddress", INTERFACE, AVAHI_PROTOCOL_IPV4, NO_REVERSE, host, address);
    group.Call("AddService", INTERFACE, AVAHI_PROTOCOL_IPV4, uint32_t{0}, instance, std::string(DNS_SD_TYPE),
               std::string(DNS_SD_DOMAIN), host, PORT, std::vector<std::vector<uint8_t>>());
    group.Call("Commit");
}

void Take(Bus& bus, const std::string& instance)
{
    const std::string target("\5thief\5local\0", 13);
    std::vector<uint8_t> record{0, 0, 0, 0, PORT >> 8U, PORT & 0xffU};  // RFC 2782
    record.insert(record.end(), target.begin(), target.end());
    Group group(bus);
    group.Call("AddRecord", INTERFACE, AVAHI_PROTOCOL_IPV4, UNIQUE | NO_PROBE,
               instance + "." + DNS_SD_TYPE + "." + DNS_SD_DOMAIN, uint16_t{1}, uint16_t{33}, uint32_t{120}, record);
    group.Call("Commit");
}

int Run(const std::string& address, const char* fifo, const std::string& listening, const std::string& token)
{
    const std::shared_ptr<Bus> bus = Bus::Open(address);
    const auto channel = MakeDnsSdChannel(listening, bus);
    if (listening != "none") {
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
    }
    std::ifstream commands(fifo);
    for (std::string line; std::getline(commands, line) && line != "end";) {
        std::istringstream words(line);
        std::string command, first, second;
        words >> command >> first >> second;
        if (command == "announce") {
            channel->Announce(first);
        } else if (command == "publish") {
            Publish(*bus, first, second);
        } else if (command == "take") {
            Take(*bus, first);
        } else {
            // The number of the newest: "/Client3/EntryGroup17".
            const std::string path = Group(*bus).Path();
            std::cout << "objects " << path.substr(path.find_last_not_of("0123456789") + 1) << std::endl;
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
