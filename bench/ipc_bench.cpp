// Measures requests to a real distnetd: the client library, the socket, the token and permission checks, and the stub
// of the service. The client and the daemon run on one CPU unless --unpinned is given, because waking an idle virtual
// CPU would take most of the time.
//   ipc.stop             request 3, which the stub answers on the thread that has read it
//   ipc.start_service    request 0, which also runs a task of the task runtime
//   ipc.vs_sdbus.direct, ipc.vs_sdbus.daemon    request 3 beside the same call over sd-bus
//   ipc.x8               8 clients at once
//   ipc.idle_1000        request 3 while 1,000 other clients are connected
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench.h"
#include "bench/ipc_peers.h"
#include "platform/ipc/unix_socket.h"
#include "tests/end_to_end/world.h"

namespace {

using namespace Vexo;
using namespace Vexo::Bench;
using Client::DistNetClient;
using EndToEnd::Device;

constexpr int CALLS = 5000;
constexpr int CALLS_AT_ONCE = 1000;  // of each of the clients at once
constexpr size_t CLIENTS_AT_ONCE = 8;
constexpr size_t IDLE_CLIENTS = 1000;
// The daemon treats this user as an application, whose requests need the most checks.
constexpr const char* POLICY =
    R"("token_type": "application", "privilege_level": 2, "system_app": true,
       "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"])";

// A daemon and one client of it.
class Target {
public:
    Target(EndToEnd::World& world, const std::string& name) : device_(world.Add(name))
    {
        device_.Start();
        networkId_ = device_.NetworkId();
        client_ = device_.Connect();
        Check(client_ != nullptr, "connect to distnetd");
    }

    void Stop() { Stop(*client_); }
    void Stop(DistNetClient& client) const
    {
        Check(client.StopDistributedNetwork(0, 0, networkId_).Succeeded(), "StopDistributedNetwork");
    }
    void StartService()
    {
        uint32_t state = 0;
        Check(client_->StartService(state).Succeeded(), "StartService");
    }
    // Empties the daemon's log file, so that the log of many rounds does not fill the disk.
    void EmptyLog() const { std::filesystem::resize_file(device_.StateDir() / "daemon.log", 0); }
    Device& Daemon() { return device_; }

private:
    Device& device_;
    std::string networkId_;
    std::unique_ptr<DistNetClient> client_;
};

Side Ours(Target& target, void (Target::*call)())
{
    return {"distnetd", [&target, call] {
                target.EmptyLog();
                return TimeEach(CALLS, [&target, call] { (target.*call)(); });
            }};
}

template <typename Peer>
Side PeerSide(const char* name, const Peer& peer)
{
    return {name, [&peer] { return TimeEach(CALLS, [&peer] { peer.Call(); }); }};
}

// Runs the function call(client) repeatedly on one thread for each client. Returns the calls per second of all clients.
template <typename Call>
Sample RateOf(size_t clients, const Call& call)
{
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (size_t client = 0; client < clients; ++client) {
        threads.emplace_back([&call, client] {
            for (int i = 0; i < CALLS_AT_ONCE; ++i) {
                call(client);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double rate = static_cast<double>(clients) * CALLS_AT_ONCE / seconds;
    return {rate, rate};
}

void CompareClientsAtOnce(const Arguments& arguments, Target& target, const std::vector<std::unique_ptr<RawPeer>>& raw)
{
    std::vector<std::unique_ptr<DistNetClient>> clients;
    for (size_t i = 0; i < CLIENTS_AT_ONCE; ++i) {
        clients.push_back(target.Daemon().Connect());
        Check(clients.back() != nullptr, "connect a client to distnetd");
    }
    Compare(arguments, "ipc.x8", "1/s",
            {"distnetd",
             [&] {
                 target.EmptyLog();
                 return RateOf(clients.size(), [&](size_t i) { target.Stop(*clients[i]); });
             }},
            {"8 ping-pongs", [&] { return RateOf(raw.size(), [&](size_t i) { raw[i]->Call(); }); }});
}

// Compares two daemons. Only the first has idle clients.
void CompareIdleClients(const Arguments& arguments, Target& target, EndToEnd::World& world)
{
    rlimit limit{};
    Check(::getrlimit(RLIMIT_NOFILE, &limit) == 0, "getrlimit");
    limit.rlim_cur = limit.rlim_max;
    Check(::setrlimit(RLIMIT_NOFILE, &limit) == 0, "setrlimit");
    Target other(world, "phone");
    std::vector<UniqueFd> idle;
    for (size_t i = 0; i < IDLE_CLIENTS; ++i) {
        auto socket = Ipc::ConnectTo(other.Daemon().Socket(), std::chrono::seconds(5));
        Check(socket.has_value(), "connect an idle client to distnetd");
        idle.push_back(std::move(socket.value()));
    }
    const int connected = other.Daemon().Count("ipc_connections");
    Check(connected > static_cast<int>(IDLE_CLIENTS), "keep 1,000 idle clients (needs root or the daemon's user)");
    Side without = Ours(target, &Target::Stop);
    without.name = "no idle clients";
    Compare(arguments, "ipc.idle_1000", "us", Ours(other, &Target::Stop), without);
}

}  // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = Start(argc, argv);
    // The peers fork, so they are created before this process has a second thread.
    std::unique_ptr<PrivateDBus> dbus;
    std::unique_ptr<SdBusPeer> direct;
    std::unique_ptr<SdBusPeer> throughDaemon;
    std::vector<std::unique_ptr<RawPeer>> raw;
    for (size_t i = 0; i < CLIENTS_AT_ONCE; ++i) {
        raw.push_back(std::make_unique<RawPeer>());
    }
    if (IsWanted(arguments, "ipc.vs_sdbus")) {
        dbus = std::make_unique<PrivateDBus>();
        direct = std::make_unique<SdBusPeer>();
        throughDaemon = std::make_unique<SdBusPeer>(dbus->Address());
    }
    EndToEnd::World world;
    world.SetPolicy(POLICY);
    Target target(world, "laptop");
    const Side ping = PeerSide("ping-pong", *raw.front());
    if (IsWanted(arguments, "ipc.stop")) {
        Compare(arguments, "ipc.stop", "us", Ours(target, &Target::Stop), ping, true);
    }
    if (IsWanted(arguments, "ipc.start_service")) {
        Compare(arguments, "ipc.start_service", "us", Ours(target, &Target::StartService), ping);
    }
    if (IsWanted(arguments, "ipc.vs_sdbus")) {
        Compare(arguments, "ipc.vs_sdbus.direct", "us", Ours(target, &Target::Stop),
                PeerSide("sd-bus, direct", *direct));
        Compare(arguments, "ipc.vs_sdbus.daemon", "us", Ours(target, &Target::Stop),
                PeerSide("sd-bus, dbus-daemon", *throughDaemon));
    }
    if (IsWanted(arguments, "ipc.x8")) {
        CompareClientsAtOnce(arguments, target, raw);
    }
    if (IsWanted(arguments, "ipc.idle_1000")) {
        CompareIdleClients(arguments, target, world);
    }
    target.EmptyLog();
    return 0;
}
