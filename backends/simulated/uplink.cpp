#include "backends/simulated/uplink.h"

namespace Vexo::Simulated {
namespace {

using Network::Uplink;

bool CanShareData(Telephony::SimState sim)
{
    return sim == Telephony::SimState::READY || sim == Telephony::SimState::LOADED;
}

Uplink::Kind KindOf(const DeviceState& state, bool isJoined)
{
    if (state.hasOwnWire) {
        return Uplink::Kind::WIRE;
    }
    if (IsOnOwnWifi(state, isJoined)) {
        return Uplink::Kind::WIFI;
    }
    bool hasMobileData = state.uplinkInternet == UplinkInternet::ON;  // the device has no wire and no Wi-Fi
    for (size_t slot = 0; slot < state.sims.size(); ++slot) {
        hasMobileData = hasMobileData || (state.cellularData && CanShareData(state.sims[slot]) && state.radio[slot]);
    }
    return hasMobileData ? Uplink::Kind::MOBILE : Uplink::Kind::NONE;
}

}  // namespace

bool IsOnOwnWifi(const DeviceState& state, bool isJoined)
{
    return !state.ownWifi.empty() && state.wifiEnabled && state.stationPresent && !isJoined;
}

Uplink UplinkOf(const DeviceState& state, bool isJoined)
{
    Uplink uplink;
    uplink.kind = KindOf(state, isJoined);
    uplink.hasInternet = uplink.kind != Uplink::Kind::NONE && state.uplinkInternet != UplinkInternet::OFF;
    if (uplink.kind != Uplink::Kind::NONE) {
        uplink.isMetered = state.uplinkMetered;
    }
    if (uplink.kind == Uplink::Kind::MOBILE) {
        uplink.technology = state.uplinkTechnology;
    }
    if (uplink.kind == Uplink::Kind::MOBILE || uplink.kind == Uplink::Kind::WIFI) {
        uplink.signalPercent = state.uplinkSignal;
    }
    for (const Telephony::SimState sim : state.sims) {
        uplink.isMobileDataOff = uplink.isMobileDataOff || (CanShareData(sim) && !state.cellularData);
    }
    return uplink;
}

}  // namespace Vexo::Simulated
