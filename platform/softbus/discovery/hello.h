// HELLO, the first frame of each side on every link: what this device says of itself, and how what another says becomes
// known. The reactor's; nothing blocks.
#pragma once

#include <chrono>
#include <string>

#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

// The payload of this device's HELLO, with its clock as it is now.
std::string OwnHello(const ReactorContext& context);

// The other side of that link has said HELLO: its device is known from now on. where: the address that the link was
// dialled at, or the one that it came from. False when the HELLO is damaged; the link has ended then.
bool OnHello(ReactorContext& context, Link& link, const std::string& payload, const PeerAddress& where);

// The device said goodbye, or was tried for that long and none of its addresses led to it.
void MarkAway(ReactorContext& context, const std::string& networkId, std::chrono::steady_clock::duration triedFor);

}  // namespace Vexo::SoftBus
