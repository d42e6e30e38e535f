// Functions for HELLO, the first frame that each side sends on a link. HELLO describes the device that sends it. A
// device that receives it adds the sender to its known devices. Used on the reactor thread. No call blocks.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/softbus/account/state_exchange.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

// Returns the payload of this device's HELLO, with its current clock, name and account state.
std::string OwnHello(const ReactorContext& context);

// Handles the HELLO of the device at the other end of the link, and adds that device to the known devices. If this
// device is the server of the link, sends this device's HELLO. Sends the account's state if the other device does not
// have it yet. Returns nullopt if the HELLO is damaged; the link has then ended.
// where: the address that was dialled, or the address from which the other device connected.
std::optional<Standing> OnHello(ReactorContext& context, Link& link, const std::string& payload,
                                const PeerAddress& where);

// Marks the device as away. Call when the device has sent GOODBYE, or when a dial reached the device at none of its
// addresses. triedFor: how long the dial took; 0 after GOODBYE.
void MarkAway(ReactorContext& context, const std::string& networkId, std::chrono::steady_clock::duration triedFor);

}  // namespace Vexo::SoftBus
