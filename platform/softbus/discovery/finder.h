// Finder: finds the other devices of the account. To greet a device means to connect to it, exchange HELLO and close
// (greeting.h). The finder greets
// - unknown devices that announce themselves,
// - each configured address, until a device answers there,
// - the known devices, once after the start and at each scan,
// - devices that do not have this device's state of the account yet.
// Stop sends GOODBYE. The finder keeps no connection open. Used on the reactor thread. No call blocks.
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

// The pauses between attempts at a configured address. The pause doubles each time, from the first value to the last.
inline constexpr std::chrono::milliseconds FIRST_RETRY_PAUSE{200};
inline constexpr std::chrono::milliseconds LAST_RETRY_PAUSE{60'000};
// The pauses after a failed handshake at a configured address. These pauses are longer than FIRST_RETRY_PAUSE and
// LAST_RETRY_PAUSE, because a host at which the handshake fails is unlikely to join this account.
inline constexpr std::chrono::milliseconds FIRST_STRANGER_PAUSE{5'000};
inline constexpr std::chrono::milliseconds LAST_STRANGER_PAUSE{3'600'000};
inline constexpr std::chrono::milliseconds GREETING_LIMIT{5'000};
inline constexpr size_t MAX_GREETINGS = 16;  // how many run at the same time; further greetings wait
// A scan ends after this time at the latest. Greetings that the scan started may still run.
inline constexpr std::chrono::milliseconds SCAN_LIMIT{5'000};
// If a channel can seek (AnnouncementChannel::Seek), a scan takes at least this long, because a device may announce
// itself only about once a second.
inline constexpr std::chrono::milliseconds SCAN_SEEK{3'000};
// When this device stops, it sends GOODBYE to at most MAX_GOODBYES devices with recent contact, within GOODBYE_LIMIT.
inline constexpr std::chrono::milliseconds GOODBYE_LIMIT{500};
inline constexpr size_t MAX_GOODBYES = 16;

class Finder : public NoCopyable {
public:
    explicit Finder(ReactorContext& context);
    ~Finder();

    void AddConfigured(const PeerAddress& where);
    void GreetKnownDevices();
    // Greets the reachable devices that may not have this device's state of the account yet.
    void PassStateOn();
    // Call when an announcement is new, has changed or has ended (AnnouncementChannel::Heard).
    void OnAnnouncement(const std::string& channel, const std::string& name,
                        const std::optional<Announcement>& announcement);
    // Drops the announcements that were not renewed in time (Sightings::DropOld), and updates the reachability of the
    // known devices. Call when a token period begins (trust/announcement_tokens.h).
    void DropOldAnnouncements();
    // Greets every known device and every device that announces itself, while the channels seek. done: called once,
    // when all greetings of known devices have ended. If a channel seeks, done is not called before SCAN_SEEK has
    // passed and the greetings of unknown devices have ended. done is called after SCAN_LIMIT at the latest.
    void Scan(std::function<void()> done);
    // Ends all greetings, and sends GOODBYE to devices with recent contact. done: called once, within GOODBYE_LIMIT.
    // Stop must be the last call.
    void Stop(std::function<void()> done);

private:
    struct Configured;
    struct Task;
    using ConfiguredPtr = std::shared_ptr<Configured>;

    void GreetConfigured(const ConfiguredPtr& configured);
    void ConfiguredFailed(const ConfiguredPtr& configured, const GreetingResult& result);
    void GreetStranger(const std::string& idPrefix);
    // Greets the device, and calls done when the greeting has ended. If a greeting of the device already waits or runs,
    // no second greeting starts. seeks: true if the dial may seek (link/dial.h). Marks the device as away if the device
    // answers at none of its addresses.
    void GreetDevice(const std::string& networkId, bool seeks, std::function<void()> done);
    void Greet(Task task);
    void StartNext();
    void EndScanIfDone();
    void ScanEnded();

    ReactorContext& context_;
    std::set<ConfiguredPtr> configured_;
    std::list<Task> waiting_;
    std::set<std::shared_ptr<Greeting>> running_;
    // The callbacks that wait for the end of a device's greeting. Key: the network id of the device.
    std::map<std::string, std::vector<std::function<void()>>> greetedDevices_;
    std::set<std::string> greetedStrangers_;       // prefixes of the network ids whose greeting waits or runs
    std::vector<std::function<void()>> scanDone_;  // the callbacks of the running scan
    size_t scanLeft_ = 0;                // greetings for which the scan waits, plus one until SCAN_SEEK has passed
    std::shared_ptr<void> scanSeeking_;  // the handle of ReactorContext::seek, while a scan runs
    asio::steady_timer scanSeekTimer_;
    asio::steady_timer scanTimer_;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
