// Presence: whether a capability of this machine can be used now, and why. The class of each capability reports its
// Presence soon after construction and at each change, on its own strand. Value type.
#pragma once

#include <functional>
#include <string>

namespace Vexo::Linux {

struct Presence {
    bool isPresent = false;
    std::string reason;          // such as "ModemManager 1.20.4, 1 modem" or "ModemManager does not run"
    bool isSwitchedOff = false;  // present, but cannot be used until it is switched on
    bool isBlocked = false;      // switched off by a hardware switch or by rfkill(8)

    bool operator==(const Presence&) const = default;
};

using PresenceChanged = std::function<void(const Presence&)>;

}  // namespace Vexo::Linux
