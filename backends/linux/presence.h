// Presence: whether a capability of this machine can be used now, and what makes it so or what is missing. Every
// capability that a daemon of the machine provides tells it: once soon after it was made, and at each change, on a
// strand of its own. Value type.
#pragma once

#include <functional>
#include <string>

namespace Vexo::Linux {

struct Presence {
    bool isThere = false;
    std::string reason;          // "ModemManager 1.20.4, 1 modem"; what is missing: "ModemManager does not run"
    bool isSwitchedOff = false;  // it is there and of no use until somebody switches it on
    bool isBlocked = false;      // switched off by a switch of the machine, which no command overrules

    bool operator==(const Presence&) const = default;
};

using PresenceChanged = std::function<void(const Presence&)>;

}  // namespace Vexo::Linux
