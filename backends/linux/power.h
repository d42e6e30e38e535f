// Power: the battery of this machine, from UPower. A low battery is reported once, and again only after the battery has
// recovered. UPower decides whether the battery is low, by the warning levels of its configuration. It considers all
// batteries together, and only while they discharge. If UPower does not run, this class starts it once over the bus.
// The callbacks run on a strand of this class. https://upower.freedesktop.org/docs/Device.html
#pragma once

#include <functional>
#include <memory>

#include "backends/linux/bus.h"
#include "backends/linux/presence.h"
#include "platform/base/nocopyable.h"
#include "platform/network/network_monitor.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

class Power : public NoCopyable {
public:
    using BatteryChanged = std::function<void(const Network::Battery& battery)>;

    Power(std::shared_ptr<Bus> bus, PresenceChanged changed, std::function<void()> batteryLow,
          BatteryChanged batteryChanged);

private:
    // The following functions run on strand_ only.
    void OnServiceOwnerChanged(bool hasOwner);
    void OnProperties(const PropertyMap& battery);
    void ReportBattery();

    const std::shared_ptr<Bus> bus_;
    const PresenceChanged changed_;
    const std::function<void()> batteryLow_;
    const BatteryChanged batteryChanged_;

    // The following members are used on strand_ only.
    bool isLow_ = false;
    PropertyMap battery_;  // as last reported; empty while UPower does not run
    bool hasTriedStart_ = false;

    Tasks::Strand strand_;  // own synchronisation
    BusSubscription properties_;
    BusSubscription service_;
};

}  // namespace Vexo::Linux
