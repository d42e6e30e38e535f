// Floods: loads on a daemon from hostile or broken programs and devices. Each flood runs from its constructor to its
// destructor, on its own thread. The flood's thread has the lowest priority, because a real flood comes from another
// device, or from a user whose CPU share the kernel limits.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/unique_fd.h"

namespace Vexo::Load {

// A user that is neither root nor the user of the daemon: nobody.
inline constexpr unsigned int OTHER_USER = 65534;

inline constexpr int LOWEST_PRIORITY = 19;  // setpriority(2)

// Starts a thread of the lowest priority. This thread calls the function `prepare` once, and then calls the function
// `step` again and again until the object is destroyed. The constructor waits until `prepare` has returned.
class Repeater {
public:
    Repeater(const std::function<void()>& prepare, const std::function<void()>& step);
    ~Repeater();
    Repeater(const Repeater&) = delete;
    Repeater& operator=(const Repeater&) = delete;

private:
    std::atomic<bool> ends_{false};
    std::thread thread_;
};

// Strangers that flood a device's link with connections from 8 addresses of this machine. 1,000 connections send
// nothing. 300 connections send a byte from time to time. 1,000 new connections per second send 64 meaningless bytes
// each. A connection that the device closes is opened again.
class StrangerFlood {
public:
    // address: where the device listens, HOST:PORT on this machine.
    explicit StrangerFlood(const std::string& address);
    long Opened() const { return opened_; }

private:
    void Step();
    void KeepOpen(UniqueFd& socket);
    void Open(UniqueFd& socket);

    const uint16_t port_;
    std::atomic<long> opened_{0};
    std::vector<UniqueFd> mute_;
    std::vector<UniqueFd> slow_;
    std::vector<UniqueFd> noisy_;
    size_t tick_ = 0;
    std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now();
    Repeater thread_;  // the last member: it uses the others
};

// A local program of OTHER_USER that keeps connections to the daemon open. It sends requests on each connection as long
// as the socket has space. A connection that the daemon closes is opened again. Only root can create a LocalFlood.
class LocalFlood {
public:
    enum class Reads { NOTHING, ALL };

    // socket: the path of the daemon's socket. connections: the number of connections. reads: which replies the program
    // reads. The constructor returns when the program has tried to open each connection once.
    LocalFlood(std::string socket, size_t connections, Reads reads);
    long Opened() const { return opened_; }

private:
    void Step();
    bool Connect(UniqueFd& connection);

    const std::string socket_;
    const Reads reads_;
    const std::vector<uint8_t> request_;
    std::atomic<long> opened_{0};
    std::vector<UniqueFd> connections_;
    size_t next_ = 0;
    Repeater thread_;  // the last member: it uses the others
};

// Devices of other accounts that begin to announce themselves in the folder of announcements. The announcements remain
// when the object is destroyed.
class ForeignAnnouncements {
public:
    ForeignAnnouncements(std::filesystem::path folder, size_t count);
    ~ForeignAnnouncements();  // writes the announcements that are still missing
    ForeignAnnouncements(const ForeignAnnouncements&) = delete;
    ForeignAnnouncements& operator=(const ForeignAnnouncements&) = delete;

private:
    void Write();

    const std::filesystem::path folder_;
    std::mt19937_64 random_{std::random_device{}()};
    std::atomic<size_t> missing_;
    std::optional<Repeater> thread_;
};

}  // namespace Vexo::Load
