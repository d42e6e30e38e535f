#include "backends/linux/screen.h"

#include <utility>

#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxScreen"};

constexpr const char* SERVICE = "org.freedesktop.login1";
constexpr const char* SESSION = "org.freedesktop.login1.Session";

BusObject Manager()
{
    return {SERVICE, "/org/freedesktop/login1", "org.freedesktop.login1.Manager"};
}

BusObject FirstSeat()
{
    return {SERVICE, "/org/freedesktop/login1/seat/seat0", "org.freedesktop.login1.Seat"};
}

}  // namespace

Screen::Screen(std::shared_ptr<Bus> bus, PresenceChanged changed, std::function<void(bool isOn)> screenChanged,
               std::function<void(bool isInUse)> useChanged)
    : bus_(std::move(bus)),
      changed_(std::move(changed)),
      screenChanged_(std::move(screenChanged)),
      useChanged_(std::move(useChanged))
{
    const auto read = [this](const std::string&, const PropertyMap&) { Read(); };
    seat_ = bus_->OnPropertiesChanged(strand_, FirstSeat(), read);
    session_ = bus_->OnPropertiesChanged(strand_, {SERVICE, "", SESSION}, read);
    sleep_ = bus_->OnSignal<bool>(strand_, Manager(), "PrepareForSleep", [this](const std::string&, bool) { Read(); });
    // logind knows whether the lid is closed, but sends no signal when this changes. UPower sends a signal.
    lid_ = bus_->OnPropertiesChanged(strand_,
                                     {"org.freedesktop.UPower", "/org/freedesktop/UPower", "org.freedesktop.UPower"},
                                     [this](const std::string&, const PropertyMap& changes) {
                                         if (changes.contains("LidIsClosed")) {
                                             Read();
                                         }
                                     });
    service_ = bus_->OnService(strand_, SERVICE, [this](bool hasOwner) { OnServiceOwnerChanged(hasOwner); });
}

void Screen::OnServiceOwnerChanged(bool hasOwner)
{
    if (hasOwner) {
        Read();
    } else {
        SetInUse(true);
    }
    changed_({hasOwner, hasOwner ? "logind" : "logind does not run"});
}

void Screen::Read()
{
    const std::optional<Seat> seat = ReadSeat();
    if (!seat) {
        return;
    }
    SetInUse(seat->isInUse);
    if (isOn_ == seat->isScreenOn) {
        return;
    }
    if (std::exchange(isOn_, seat->isScreenOn)) {
        screenChanged_(seat->isScreenOn);
    }
}

void Screen::SetInUse(bool isInUse)
{
    if (std::exchange(isInUse_, isInUse) != isInUse) {
        useChanged_(isInUse);
    }
}

std::optional<Screen::Seat> Screen::ReadSeat()
{
    const Result<PropertyMap> manager = bus_->GetProperties(Manager());
    if (!manager) {
        QuviewDFX::LogWarn(LABEL, "cannot read the lid's state from logind: %{public}s", manager.error().message);
        return std::nullopt;
    }
    if (ValueIn<bool>(manager.value(), "LidClosed") && !ValueIn<bool>(manager.value(), "Docked")) {
        return Seat{};
    }
    using Session = sdbus::Struct<std::string, sdbus::ObjectPath>;
    const Result<Session> active = bus_->GetProperty<Session>(FirstSeat(), "ActiveSession");
    if (!active) {
        // Without a seat, no session can be locked or idle.
        return Seat{true, true};
    }
    if (std::get<0>(active.value()).empty()) {
        // No session is active, for example because nobody has logged in.
        return Seat{true, false};
    }
    const Result<PropertyMap> session = bus_->GetProperties({SERVICE, std::get<1>(active.value()), SESSION});
    if (!session) {
        // The session may have ended meanwhile. A signal of the seat then follows.
        return std::nullopt;
    }
    const bool isOn = !ValueIn<bool>(session.value(), "LockedHint") && !ValueIn<bool>(session.value(), "IdleHint");
    const std::string kind = ValueIn<std::string>(session.value(), "Class");
    return Seat{isOn, isOn && kind != "greeter" && kind != "lock-screen"};
}

}  // namespace Vexo::Linux
