// What this device says of itself to another one that could use its network. A function without state; any thread. No
// call blocks.
#pragma once

#include "interfaces/online_answers.h"
#include "platform/network/network_monitor.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

// refusal: the owner's, of the device that asks. networkId and at stay empty: the other device fills them in.
DeviceFacts MakeFacts(const Network::Uplink& uplink, const Network::Battery& battery, SharingObstacle obstacle,
                      SoftBus::PeerRefusal refusal);

}  // namespace Vexo::Host
