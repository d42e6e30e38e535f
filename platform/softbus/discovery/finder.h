// Finder: finds the other devices of the account. It greets (greeting.h)
// - unknown devices that announce themselves,
// - each configured address, until a device answers there,
// - the known devices, once after the start and on a scan,
// - devices that lack this device's state of the account.
// On Stop it sends GOODBYE. It keeps no connection open. Used on the reactor thread. No call blocks.
#pragma once

#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/softbus/discovery/greeting.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

// The pause before a configured address is tried again. It doubles from the first value to the last.
inline constexpr std::chrono::milliseconds FIRST_RETRY_PAUSE{200};
inline constexpr std::chrono::milliseconds LAST_RETRY_PAUSE{60'000};
// The pause after a failed handshake: such a host is unlikely to join this account, so it is tried less often.
inline constexpr std::chrono::milliseconds FIRST_STRANGER_PAUSE{5'000};
inline constexpr std::chrono::milliseconds LAST_STRANGER_PAUSE{3'600'000};
inline constexpr std::chrono::milliseconds GREETING_LIMIT{5'000};
inline constexpr size_t MAX_GREETINGS = 16;  // at once; others wait
// A scan ends after this time at the latest; greetings that it began may still go on.
inline constexpr std::chrono::milliseconds SCAN_LIMIT{5'000};
// If a channel can seek, a scan takes at least this long: a device may advertise only about once a second.
inline constexpr std::chrono::milliseconds SCAN_SEEK{3'000};
// A device that stops sends GOODBYE to at most this many devices with recent contact, within this time.
inline constexpr std::chrono::milliseconds GOODBYE_LIMIT{500};
inline constexpr size_t MAX_GOODBYES = 16;

class Finder : public NoCopyable {
public:
    explicit Finder(ReactorContext& context);
    ~Finder();

    void AddConfigured(const PeerAddress& where);
    void GreetKnownDevices();
    // Greets the reachable devices that are not known to have this device's state of the account.
    void PassStateOn();
    // Call when an announcement is new, has changed or has ended (AnnouncementChannel::Heard).
    void OnAnnouncement(const std::string& channel, const std::string& name,
                        const std::optional<Announcement>& announcement);
    // Call when a token period begins (trust/announcement_tokens.h).
    void DropOldAnnouncements();
    // Greets every known device and every announced one, and makes the channels seek meanwhile. done is called once:
    // when all greetings of known devices have ended and, if a channel seeks, SCAN_SEEK has passed and the greetings of
    // other devices have ended too; after SCAN_LIMIT at the latest.
    void Scan(std::function<void()> done);
    // Ends all greetings and sends GOODBYE. done is called once, within GOODBYE_LIMIT. No other call may follow.
    void Stop(std::function<void()> done);

private:
    struct Configured;
    struct Task;
    using ConfiguredPtr = std::shared_ptr<Configured>;

    void GreetConfigured(const ConfiguredPtr& configured);
    void ConfiguredFailed(const ConfiguredPtr& configured, const GreetingResult& result);
    void GreetStranger(const std::string& idPrefix);
    // Greets the device, or joins a greeting of it that is running. Marks it away if it is reached at no address.
    void GreetDevice(const std::string& networkId, bool seeks, std::function<void()> done);
    void Greet(Task task);
    void StartNext();
    void EndScanIfDone();
    void ScanEnded();

    ReactorContext& context_;
    std::set<ConfiguredPtr> configured_;
    std::list<Task> waiting_;
    std::set<std::shared_ptr<Greeting>> running_;
    // The callbacks that wait for the greeting of a device, by network id.
    std::map<std::string, std::vector<std::function<void()>>> greetedDevices_;
    std::set<std::string> greetedStrangers_;       // id prefixes whose greeting waits or runs
    std::vector<std::function<void()>> scanDone_;  // of the running scan
    size_t scanLeft_ = 0;                          // how many greetings, and SCAN_SEEK, a scan waits for
    std::shared_ptr<void> scanSeeking_;            // ReactorContext::seek, while the scan runs
    asio::steady_timer scanSeekTimer_;
    asio::steady_timer scanTimer_;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
