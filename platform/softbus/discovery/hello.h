// HELLO, the first frame that each side sends on a link: it describes the sending device, and makes it known to the
// receiving one. Used on the reactor thread. No call blocks.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/softbus/account/state_exchange.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

// The payload of this device's HELLO, with its clock, name and state as they are now.
std::string OwnHello(const ReactorContext& context);

// Handles the HELLO of the device at the other end of the link: that device is known from now on. On a server's link,
// answers with this device's own. Sends the account's state if the other side lacks it. where: the address that was
// dialled, or the one that the connection came from. Returns nullopt if the HELLO is damaged; the link has ended then.
std::optional<Standing> OnHello(ReactorContext& context, Link& link, const std::string& payload,
                                const PeerAddress& where);

// Call when the device sent GOODBYE, or when a dial that took triedFor reached it at none of its addresses.
void MarkAway(ReactorContext& context, const std::string& networkId, std::chrono::steady_clock::duration triedFor);

}  // namespace Vexo::SoftBus
