// Measures the time of a start between two daemons on this machine with simulated radios. Prints the median and the
// 99th percentile of 200 requests after a warm-up. --flood: repeats this while strangers flood the phone with
// connections. --idle: also prints the resident memory of an idle daemon and its wake-ups in one minute.

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/unique_fd.h"
#include "tests/end_to_end/world.h"

namespace {

using Clock = std::chrono::steady_clock;
using Vexo::EndToEnd::Device;

constexpr int WARM_UP = 20;
constexpr int REQUESTS = 200;

// Returns the number of voluntary context switches of all threads of the process.
long VoluntarySwitches(pid_t pid)
{
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("voluntary_ctxt_switches:")) {
                sum += std::stol(line.substr(line.find('\t')));
            }
        }
    }
    return sum;
}

std::string ResidentMemory(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return line.substr(line.find_first_of("0123456789"));
        }
    }
    return "unknown";
}

void MeasureIdle(Device& device)
{
    std::this_thread::sleep_for(
        std::chrono::seconds(50));  // the collaboration of the last start ends after 30 s, worker threads after 10 s
    const long before = VoluntarySwitches(device.Daemon().Pid());
    std::this_thread::sleep_for(std::chrono::seconds(60));
    std::printf("idle: %s resident, %ld wake-ups in 60 s\n", ResidentMemory(device.Daemon().Pid()).c_str(),
                VoluntarySwitches(device.Daemon().Pid()) - before);
}

// Strangers that flood the device with connections from 8 addresses of this machine. 1,000 connections send nothing.
// 300 connections send a byte from time to time. 1,000 new connections per second send 64 meaningless bytes each. A
// connection that the device closes is opened again.
class Flood {
public:
    explicit Flood(const std::string& address)
        : port_(static_cast<uint16_t>(std::stoi(address.substr(address.rfind(':') + 1))))
    {
        thread_ = std::thread([this] { Run(); });
    }
    ~Flood()
    {
        ends_ = true;
        thread_.join();
        std::printf("strangers: %ld connections\n", opened_);
    }

private:
    static constexpr size_t MUTE = 1000;
    static constexpr size_t SLOW = 300;
    static constexpr size_t NOISY = 100;

    void Run()
    {
        std::vector<Vexo::UniqueFd> mute(MUTE);
        std::vector<Vexo::UniqueFd> slow(SLOW);
        std::vector<Vexo::UniqueFd> noisy(NOISY);
        const std::string noise(64, 'x');
        auto next = Clock::now();
        for (size_t tick = 0; !ends_; ++tick) {
            for (size_t i = 0; i < 5; ++i) {
                KeepOpen(mute[(5 * tick + i) % MUTE]);
            }
            Vexo::UniqueFd& one = slow[tick % SLOW];
            KeepOpen(one);
            ::send(one.Get(), noise.data(), 1, MSG_NOSIGNAL | MSG_DONTWAIT);
            Open(noisy[tick % NOISY]);
            ::send(noisy[tick % NOISY].Get(), noise.data(), noise.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            std::this_thread::sleep_until(next += std::chrono::milliseconds(1));
        }
    }

    void KeepOpen(Vexo::UniqueFd& socket)
    {
        char challenge[64];
        if (!socket || (::recv(socket.Get(), challenge, sizeof(challenge), MSG_DONTWAIT) <= 0 && errno != EAGAIN)) {
            Open(socket);
        }
    }

    void Open(Vexo::UniqueFd& socket)
    {
        socket.Reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const auto at = [](uint32_t host, uint16_t port) {
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(host);
            address.sin_port = htons(port);
            return address;
        };
        const sockaddr_in from = at(INADDR_LOOPBACK + 1 + static_cast<uint32_t>(opened_++ % 8), 0);
        const sockaddr_in to = at(INADDR_LOOPBACK, port_);
        ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&from), sizeof(from));
        ::fcntl(socket.Get(), F_SETFL, O_NONBLOCK);
        ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&to), sizeof(to));
    }

    const uint16_t port_;
    long opened_ = 0;
    std::atomic<bool> ends_{false};
    std::thread thread_;
};

// Measures the requests and prints the result. Returns false if a request failed. when: printed as the condition of the
// measurement.
bool MeasureStarts(Device& laptop, const std::string& phone, const char* when)
{
    std::vector<double> milliseconds;
    const auto client = laptop.Connect();
    for (int i = 0; i < WARM_UP + REQUESTS; ++i) {
        const auto from = Clock::now();
        if (!client->StartDistributedNetwork(0, 0, phone).Succeeded()) {
            std::fprintf(stderr, "request %d failed\n%s", i, laptop.Log().c_str());
            return false;
        }
        if (i >= WARM_UP) {
            milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - from).count());
        }
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf("start over loopback, %d warm, %s: median %.2f ms, p99 %.2f ms\n", REQUESTS, when,
                milliseconds[REQUESTS / 2], milliseconds[REQUESTS * 99 / 100]);
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    Vexo::EndToEnd::World world;
    world.StartLaptopAndPhone();
    const std::string phone = world["phone"].NetworkId();
    if (!MeasureStarts(world["laptop"], phone, "quiet")) {
        return 1;
    }
    if (mode == "--flood") {
        const Flood flood(world["phone"].Status("link.listen"));
        std::this_thread::sleep_for(std::chrono::seconds(3));  // until all connections of the flood are open
        if (!MeasureStarts(world["laptop"], phone, "flooded")) {
            return 1;
        }
    }
    if (mode == "--idle") {
        MeasureIdle(world["laptop"]);
    }
    return 0;
}
