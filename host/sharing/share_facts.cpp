#include "host/sharing/share_facts.h"

namespace Vexo::Host {
namespace {

using SoftBus::PeerRefusal;

SharingPermission PermissionOf(PeerRefusal refusal)
{
    switch (refusal) {
        case PeerRefusal::NONE:
            return SharingPermission::ALLOWED;
        case PeerRefusal::OWNER_ASKED:
            return SharingPermission::ASKS;
        case PeerRefusal::NOT_ANSWERED:
            return SharingPermission::NOT_ANSWERED;
        case PeerRefusal::BATTERY_FLOOR:
            return SharingPermission::BATTERY_FLOOR;
        case PeerRefusal::DATA_LIMIT:
            return SharingPermission::DATA_LIMIT;
        case PeerRefusal::NOT_ALLOWED:
            break;
    }
    return SharingPermission::NOT_ALLOWED;
}

UplinkKind KindOf(Network::Uplink::Kind kind)
{
    switch (kind) {
        case Network::Uplink::Kind::MOBILE:
            return UplinkKind::MOBILE;
        case Network::Uplink::Kind::WIRE:
            return UplinkKind::WIRE;
        case Network::Uplink::Kind::WIFI:
            return UplinkKind::WIFI;
        case Network::Uplink::Kind::NONE:
            break;
    }
    return UplinkKind::NONE;
}

InternetState InternetOf(const Network::Uplink& uplink)
{
    if (uplink.hasInternet) {
        return *uplink.hasInternet ? InternetState::YES : InternetState::NO;
    }
    return uplink.kind == Network::Uplink::Kind::NONE ? InternetState::NO : InternetState::UNKNOWN;
}

}  // namespace

DeviceFacts MakeFacts(const Network::Uplink& uplink, const Network::Battery& battery, SharingObstacle obstacle,
                      SoftBus::PeerRefusal refusal)
{
    DeviceFacts facts;
    facts.obstacle = obstacle;
    facts.permission = PermissionOf(refusal);
    facts.uplink = KindOf(uplink.kind);
    facts.technology = uplink.technology;
    facts.signalPercent = uplink.signalPercent;
    facts.isMetered = uplink.isMetered;
    facts.internet = InternetOf(uplink);
    facts.isMobileDataOff = uplink.isMobileDataOff;
    facts.batteryPercent = battery.percent;
    facts.isCharging = battery.isCharging;
    return facts;
}

}  // namespace Vexo::Host
