// Finder: how this device finds the others of its account: it takes in what channels hear, greets devices that it does
// not know yet, the addresses of the configuration until a device answered there, and after a start those that it
// knows; it greets all when it is asked to scan, and says goodbye at the end. It keeps no connection. The reactor's;
// nothing blocks.
#pragma once

#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/softbus/discovery/greeting.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

// The pause before an address of the configuration is tried again doubles from the first to the last.
inline constexpr std::chrono::milliseconds FIRST_RETRY_PAUSE{200};
inline constexpr std::chrono::milliseconds LAST_RETRY_PAUSE{60'000};
// Who fails the handshake will hardly become one of ours: it is asked more rarely from the start.
inline constexpr std::chrono::milliseconds FIRST_STRANGER_PAUSE{5'000};
inline constexpr std::chrono::milliseconds LAST_STRANGER_PAUSE{3'600'000};
inline constexpr std::chrono::milliseconds GREETING_LIMIT{5'000};
inline constexpr size_t MAX_GREETINGS = 16;  // at once; others wait
// A scan ends by then; greetings that it began may still go on.
inline constexpr std::chrono::milliseconds SCAN_LIMIT{5'000};
// What a device that stops spends to reach those that it spoke with recently, and how many of them.
inline constexpr std::chrono::milliseconds GOODBYE_LIMIT{500};
inline constexpr size_t MAX_GOODBYES = 16;

class Finder : public NoCopyable {
public:
    explicit Finder(ReactorContext& context);
    ~Finder();

    void AddConfigured(const PeerAddress& where);
    // After AddConfigured of the start, whose addresses are left to it.
    void GreetKnownDevices();
    // An announcement came, changed or ended (announcement_channel.h).
    void Heard(const std::string& channel, const std::string& name, const std::optional<Announcement>& announcement);
    // A token period has begun.
    void DropOldAnnouncements();
    // Greets every known device and every one that is heard. done: once, when all have answered or at SCAN_LIMIT.
    void Scan(std::function<void()> done);
    // Ends all of that and says goodbye. done: once, within GOODBYE_LIMIT. No other call from then on.
    void Stop(std::function<void()> done);

private:
    struct Configured;
    struct Task;
    using ConfiguredPtr = std::shared_ptr<Configured>;

    void GreetConfigured(const ConfiguredPtr& configured);
    void ConfiguredFailed(const ConfiguredPtr& configured, const GreetingResult& result);
    void GreetStranger(const std::string& idStart);
    // Tries the device, and takes it for gone when none of its addresses leads to it.
    void GreetDevice(const std::string& networkId, bool seeks, std::function<void()> done);
    void Greet(Task task);
    void StartNext();
    void ScanEnded();

    ReactorContext& context_;
    std::set<ConfiguredPtr> configured_;
    std::list<Task> waiting_;
    std::set<std::shared_ptr<Greeting>> running_;
    std::set<std::string> greetedStrangers_;       // how the ids begin of those whose greeting waits or runs
    std::vector<std::function<void()>> scanDone_;  // of scans under way
    size_t scanLeft_ = 0;                          // greetings that they wait for
    asio::steady_timer scanTimer_;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
