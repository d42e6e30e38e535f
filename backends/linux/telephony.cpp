#include "backends/linux/telephony.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "backends/linux/daemon_version.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "LinuxTelephony"};

constexpr const char* SERVICE = "org.freedesktop.ModemManager1";
constexpr const char* ROOT = "/org/freedesktop/ModemManager1";
constexpr const char* OBJECT_MANAGER = "org.freedesktop.DBus.ObjectManager";

bool IsSlot(int32_t slotId)
{
    return slotId >= 0 && slotId < Telephony::SIM_SLOT_COUNT;
}

}  // namespace

Modems::Modems(std::shared_ptr<Bus> bus, PresenceChanged changed) : bus_(std::move(bus)), changed_(std::move(changed))
{
    using Interfaces = std::map<std::string, PropertyMap>;
    const BusObject manager{SERVICE, ROOT, OBJECT_MANAGER};
    added_ = bus_->OnSignal<sdbus::ObjectPath, Interfaces>(
        strand_, manager, "InterfacesAdded",
        [this](const std::string&, const sdbus::ObjectPath&, const Interfaces&) { Reload(); });
    removed_ = bus_->OnSignal<sdbus::ObjectPath, std::vector<std::string>>(
        strand_, manager, "InterfacesRemoved",
        [this](const std::string&, const sdbus::ObjectPath&, const std::vector<std::string>&) { Reload(); });
    properties_ = bus_->OnPropertiesChanged(
        strand_, {SERVICE, "", MODEM_INTERFACE}, [this](const std::string&, const PropertyMap& properties) {
            if (std::any_of(properties.begin(), properties.end(),
                            [](const auto& property) { return AffectsSlots(property.first); })) {
                Reload();
            }
        });
    service_ = bus_->OnService(strand_, SERVICE, [this](bool hasOwner) { OnServiceOwnerChanged(hasOwner); });
}

void Modems::Stop()
{
    for (BusSubscription* subscription : {&service_, &properties_, &removed_, &added_}) {
        subscription->End();
    }
}

ModemSlots Modems::Get() const
{
    MutexLock lock(mutex_);
    return slots_;
}

MobileLink Modems::ReadLink(std::chrono::milliseconds limit) const
{
    if (Get().modemCount == 0) {
        return {};  // a call would start ModemManager
    }
    const Result<ManagedObjects> objects =
        bus_->Call<ManagedObjects>({SERVICE, ROOT, OBJECT_MANAGER}, "GetManagedObjects", limit);
    return objects ? MobileLinkOf(objects.value()) : MobileLink();
}

Result<bool> Modems::ReadRadioState(const std::string& modem) const
{
    const Result<int32_t> state = bus_->GetProperty<int32_t>({SERVICE, modem, MODEM_INTERFACE}, "State");
    if (!state) {
        return Failure(state.error());
    }
    return IsRadioOn(state.value());
}

void Modems::OnServiceOwnerChanged(bool hasOwner)
{
    isRunning_ = hasOwner;
    version_.clear();
    if (hasOwner) {
        const Result<std::string> version = AwaitVersion(*bus_, {SERVICE, ROOT, SERVICE}, "Version");
        version_ = version ? " " + version.value() : "";
    }
    Reload();
}

void Modems::Reload()
{
    ModemSlots slots;
    if (isRunning_) {
        const Result<ManagedObjects> objects =
            bus_->Call<ManagedObjects>({SERVICE, ROOT, OBJECT_MANAGER}, "GetManagedObjects", BUS_CALL_LIMIT);
        if (!objects) {
            QuviewDFX::LogWarn(LABEL, "cannot list the modems of ModemManager: %{public}s", objects.error().message);
            return;
        }
        slots = SlotsOf(objects.value());
    }
    {
        MutexLock lock(mutex_);
        slots_ = slots;
    }
    if (!isRunning_) {
        changed_({false, "ModemManager does not run"});
    } else if (slots.modemCount == 0) {
        changed_({false, "ModemManager" + version_ + " has no modem"});
    } else {
        changed_({true, "ModemManager" + version_ + ", " + std::to_string(slots.modemCount) +
                            (slots.modemCount == 1 ? " modem" : " modems")});
    }
}

int32_t LinuxCoreService::GetSimState(int32_t slotId, Telephony::SimState& state)
{
    if (!IsSlot(slotId)) {
        return Telephony::TELEPHONY_NO_SUCH_SLOT;
    }
    state = modems_->Get().slots[static_cast<size_t>(slotId)].sim;
    return Telephony::TELEPHONY_OK;
}

int32_t LinuxCoreService::GetRadioState(int32_t slotId, const sptr<Telephony::INetworkSearchCallback>& callback)
{
    if (!IsSlot(slotId)) {
        return Telephony::TELEPHONY_NO_SUCH_SLOT;
    }
    if (!callback) {
        return Telephony::TELEPHONY_INVALID_ARGUMENT;
    }
    const bool accepted = !stopped_ && answers_.Post([modems = modems_, slotId, callback] {
        const std::string modem = modems->Get().slots[static_cast<size_t>(slotId)].modem;
        const Result<bool> isOn = modem.empty() ? Result<bool>(false) : modems->ReadRadioState(modem);
        if (!isOn) {
            QuviewDFX::LogWarn(LABEL, "cannot read the radio state of the modem of slot %{public}d: %{public}s", slotId,
                               isOn.error().message);
        }
        callback->OnGetRadioStateCallback(isOn && isOn.value(),
                                          isOn ? Telephony::TELEPHONY_OK : Telephony::TELEPHONY_NO_ANSWER);
    });
    return accepted ? Telephony::TELEPHONY_OK : Telephony::TELEPHONY_NO_ANSWER;
}

int32_t LinuxCellularData::IsCellularDataEnabled(bool& enabled)
{
    enabled = modems_->Get().isDataOn;
    return Telephony::TELEPHONY_OK;
}

}  // namespace Vexo::Linux
