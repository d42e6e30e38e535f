// WifiLink: where a station's attempt, or the connection it became, stands, and the waits of those who want to know. A
// backend begins attempts and says how they go on; an attempt that a newer one replaced says nothing any more. Any
// thread; only WaitForChange blocks.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/mutex.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiLink {
public:
    WifiLinkInfo Get();
    // Blocks until the link differs from known in state or attempt, the limit has passed, or Stop(); returns what is.
    WifiLinkInfo WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit);

    // A new attempt is CONNECTING from now on: its number. None after Stop().
    std::optional<uint32_t> Begin(const std::string& ssid);
    // The attempt of that number is in this state now. False, and nothing changes, when a newer one, or Stop(), came
    // first. address: when CONNECTED; reason: when not.
    bool MoveOn(uint32_t attempt, WifiLinkState state, const std::string& reason, const std::string& address);
    // Ends all waits; nothing changes any more.
    void Stop();

private:
    Mutex mutex_;
    CondVar changed_;
    WifiLinkInfo info_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::Wifi
