// Screen: reports whether the screen is on and whether a person uses this machine, from logind. The screen is on while
// the active session of the first seat is neither locked nor idle, and the lid is open or the machine is docked. The
// machine is in use while the screen is on in a person's session, not on a login screen (docs/linux.md). The callbacks
// report changes only, on a strand of this class. The first state of the screen is not reported. The machine counts as
// not in use at first.
// https://www.freedesktop.org/software/systemd/man/252/org.freedesktop.login1.html
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "backends/linux/bus.h"
#include "backends/linux/presence.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

class Screen : public NoCopyable {
public:
    Screen(std::shared_ptr<Bus> bus, PresenceChanged changed, std::function<void(bool isOn)> screenChanged,
           std::function<void(bool isInUse)> useChanged);

private:
    struct Seat {
        bool isScreenOn = false;
        bool isInUse = false;
    };

    // The following functions run on strand_ only.
    void OnServiceOwnerChanged(bool hasOwner);
    void Read();
    // Reads the state of the first seat. Returns nullopt if the lid or the active session cannot be read. If the seat
    // itself cannot be read, the screen counts as on and the machine as in use.
    std::optional<Seat> ReadSeat();
    void SetInUse(bool isInUse);

    const std::shared_ptr<Bus> bus_;
    const PresenceChanged changed_;
    const std::function<void(bool isOn)> screenChanged_;
    const std::function<void(bool isInUse)> useChanged_;

    // The following members are used on strand_ only.
    std::optional<bool> isOn_;
    bool isInUse_ = false;

    Tasks::Strand strand_;  // own synchronisation
    BusSubscription seat_;
    BusSubscription session_;
    BusSubscription sleep_;
    BusSubscription lid_;
    BusSubscription service_;
};

}  // namespace Vexo::Linux
