// Power: the battery of this machine, from UPower. A low battery is reported once, and again only after it has
// recovered. UPower decides what is low: the warning levels of its own configuration, of all batteries together, and
// only while they empty. Where UPower does not run yet, it is started through the bus, once. The callback runs on a
// strand of its own. https://upower.freedesktop.org/docs/Device.html
#pragma once

#include <functional>
#include <memory>

#include "backends/linux/bus.h"
#include "backends/linux/presence.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

class Power : public NoCopyable {
public:
    Power(std::shared_ptr<Bus> bus, PresenceChanged changed, std::function<void()> batteryLow);

private:
    // These run on strand_ only.
    void OnServiceOwnerChanged(bool hasOwner);
    void Note(const PropertyMap& battery);

    const std::shared_ptr<Bus> bus_;
    const PresenceChanged changed_;
    const std::function<void()> batteryLow_;

    // Touched on strand_ only.
    bool isLow_ = false;
    bool wasAsked_ = false;

    Tasks::Strand strand_;  // own synchronisation
    BusSubscription properties_;
    BusSubscription service_;
};

}  // namespace Vexo::Linux
