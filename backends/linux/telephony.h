// Telephony over ModemManager: Modems stores the last state that ModemManager reported. LinuxCoreService (ability 4010)
// and LinuxCellularData (4011) answer queries from this stored state at once. Only the state of a radio is read from
// ModemManager for each query. Any thread may use these three classes. The callback of a radio query runs on a strand
// of LinuxCoreService, exactly once for each accepted query. modem_slots.h explains the slots.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "backends/linux/bus.h"
#include "backends/linux/modem_slots.h"
#include "backends/linux/presence.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/ipc/iremote_object.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/telephony/core_service_client.h"

namespace Vexo::Linux {

class Modems : public NoCopyable {
public:
    // changed: the callback that reports telephony as present while ModemManager runs and has a modem.
    Modems(std::shared_ptr<Bus> bus, PresenceChanged changed);

    // Ends the subscriptions to ModemManager. No callback runs afterwards.
    void Stop();
    // Returns the last state that ModemManager reported. Does not block.
    ModemSlots Get() const;
    // Reads the state of the modem that has the mobile data connection. Returns an empty MobileLink if there is no
    // modem or no answer. Blocks for at most the time limit.
    MobileLink ReadLink(std::chrono::milliseconds limit) const;
    // Asks ModemManager whether the modem's radio is on. Blocks for at most BUS_CALL_LIMIT. modem: the modem's path.
    [[nodiscard]] Result<bool> ReadRadioState(const std::string& modem) const;

private:
    // The following functions run on strand_ only.
    void OnServiceOwnerChanged(bool hasOwner);
    void Reload();

    const std::shared_ptr<Bus> bus_;
    const PresenceChanged changed_;

    mutable Mutex mutex_;
    ModemSlots slots_ GUARDED_BY(mutex_);

    bool isRunning_ = false;  // whether ModemManager runs; isRunning_ and version_ are used on strand_ only
    std::string version_;

    Tasks::Strand strand_;  // own synchronisation
    BusSubscription added_;
    BusSubscription removed_;
    BusSubscription properties_;
    BusSubscription service_;
};

class LinuxCoreService : public IPCObjectStub, public Telephony::ICoreService {
public:
    explicit LinuxCoreService(std::shared_ptr<Modems> modems) : modems_(std::move(modems)) {}

    int32_t GetSimState(int32_t slotId, Telephony::SimState& state) override;
    // If no modem uses the slot, the callback reports the radio as off.
    int32_t GetRadioState(int32_t slotId, const sptr<Telephony::INetworkSearchCallback>& callback) override;

    // Refuses new queries. Accepted queries are still answered.
    void Stop() { stopped_ = true; }

private:
    const std::shared_ptr<Modems> modems_;
    std::atomic<bool> stopped_{false};
    Tasks::Strand answers_;  // own synchronisation
};

class LinuxCellularData : public IPCObjectStub, public Telephony::ICellularData {
public:
    explicit LinuxCellularData(std::shared_ptr<Modems> modems) : modems_(std::move(modems)) {}

    // Mobile data counts as on while a modem has a data connection or is making one.
    int32_t IsCellularDataEnabled(bool& enabled) override;

private:
    const std::shared_ptr<Modems> modems_;
};

}  // namespace Vexo::Linux
