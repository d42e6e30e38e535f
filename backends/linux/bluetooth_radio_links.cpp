#include "backends/linux/bluetooth_radio_links.h"

#include <algorithm>
#include <utility>

#include "backends/linux/bluez.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bluetooth"};

}  // namespace

BluetoothRadioLinks::BluetoothRadioLinks(Bus& bus, std::shared_ptr<BluetoothShared> shared, const Clock& clock)
    : bus_(bus), shared_(std::move(shared)), clock_(clock)
{
}

void BluetoothRadioLinks::Update()
{
    const SteadyTime now = clock_.Now();
    for (const std::string& device : shared_->TakeUnused()) {
        lingering_[device] = now + RADIO_LINK_LINGER;
    }
    std::set<std::string> due;
    for (auto entry = lingering_.begin(); entry != lingering_.end();) {
        if (entry->second <= now) {
            due.insert(entry->first);
            entry = lingering_.erase(entry);
        } else {
            ++entry;
        }
    }
    EndLinks(due, {std::chrono::milliseconds(2000), std::chrono::milliseconds(100)});
}

std::optional<SteadyTime> BluetoothRadioLinks::NextUpdate() const
{
    std::optional<SteadyTime> next;
    for (const auto& [device, due] : lingering_) {
        next = std::min(next.value_or(due), due);
    }
    return next;
}

void BluetoothRadioLinks::End()
{
    std::set<std::string> devices = shared_->TakeUnused();
    for (const auto& [device, due] : std::exchange(lingering_, {})) {
        devices.insert(device);
    }
    EndLinks(devices, {std::chrono::milliseconds(200), std::chrono::milliseconds(10)});
}

// Disconnects the radio links of these devices. Keeps the link of a device that is in use again, and of a paired
// device, because that link belongs to the user.
void BluetoothRadioLinks::EndLinks(const std::set<std::string>& devices, const Limits& limits)
{
    const auto isUsed = [this](const std::string& device) { return shared_->IsUsed(device); };
    if (adapter_.empty() || std::all_of(devices.begin(), devices.end(), isUsed)) {
        return;
    }
    const Result<BluezObjects> objects = bus_.Call<BluezObjects>(BLUEZ_OBJECTS, "GetManagedObjects", limits.list);
    if (!objects) {
        QuviewDFX::LogInfo(LABEL, "cannot disconnect unused radio links: %{public}s", BusErrorName(objects.error()));
        return;
    }
    for (const auto& [path, interfaces] : *objects) {
        const auto found = interfaces.find(BLUEZ_DEVICE);
        if (found == interfaces.end() || !path.starts_with(adapter_ + "/")) {
            continue;
        }
        const PropertyMap& properties = found->second;
        const std::string device =
            ValueIn<std::string>(properties, "Address") + "/" + ValueIn<std::string>(properties, "AddressType");
        if (!devices.contains(device) || isUsed(device) || !ValueIn<bool>(properties, "Connected") ||
            ValueIn<bool>(properties, "Paired")) {
            continue;
        }
        const Result<void> ended = bus_.Call({BLUEZ, path, BLUEZ_DEVICE}, "Disconnect", limits.disconnect);
        if (!ended && !IsNoAnswer(ended.error())) {
            QuviewDFX::LogInfo(LABEL, "cannot disconnect an unused radio link: %{public}s",
                               BusErrorName(ended.error()));
        }
    }
}

}  // namespace Vexo::Linux
