// Builds the DeviceFacts that this device sends to a device that may want to use its network. Functions without state;
// any thread. No call blocks.
#pragma once

#include "interfaces/online_answers.h"
#include "platform/network/network_monitor.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

// refusal: the owner's decision about the asking device. networkId and at stay empty; the receiver fills them in.
DeviceFacts MakeFacts(const Network::Uplink& uplink, const Network::Battery& battery, SharingObstacle obstacle,
                      SoftBus::PeerRefusal refusal);

}  // namespace Vexo::Host
