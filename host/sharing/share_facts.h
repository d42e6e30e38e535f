// Builds the DeviceFacts that this device sends to a device that may want to use its network. Any thread may call the
// function, which keeps no state and does not block.
#pragma once

#include "interfaces/online_answers.h"
#include "platform/network/network_monitor.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

// refusal: the result of SharePolicy::Check for the asking device. The members networkId and at stay empty, because the
// receiver fills them in.
DeviceFacts MakeFacts(const Network::Uplink& uplink, const Network::Battery& battery, SharingObstacle obstacle,
                      SoftBus::PeerRefusal refusal);

}  // namespace Vexo::Host
