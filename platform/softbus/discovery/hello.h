// HELLO, the first frame that each side sends on a link: it describes the sending device, and makes it known to the
// receiving one. Used on the reactor thread. No call blocks.
#pragma once

#include <chrono>
#include <string>

#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

// The payload of this device's HELLO, with its clock as it is now.
std::string OwnHello(const ReactorContext& context);

// Handles the HELLO of the device at the other end of the link: that device is known from now on. where: the address
// that was dialled, or the one that the connection came from. Returns false if the HELLO is damaged; the link has ended
// then.
bool OnHello(ReactorContext& context, Link& link, const std::string& payload, const PeerAddress& where);

// Call when the device said GOODBYE, or when a dial that took triedFor reached it at none of its addresses.
void MarkAway(ReactorContext& context, const std::string& networkId, std::chrono::steady_clock::duration triedFor);

}  // namespace Vexo::SoftBus
