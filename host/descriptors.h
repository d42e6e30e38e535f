// How many file descriptors the daemon may have open, and how many of them its local clients may use. The rest is
// reserved for the link, D-Bus, logs and state, so that clients cannot keep the daemon from opening a file. Called
// once, at start.
#pragma once

#include <cstddef>

#include "platform/ipc/user_shares.h"

namespace Vexo::Host {

// The descriptors that the daemon needs when all its limits are reached: one for each local client, those of the link
// (sessions, handshakes and connections without a proof: docs/link.md), and 512 for everything else.
inline constexpr size_t MAX_LOCAL_CLIENTS = 4096;
inline constexpr size_t LINK_DESCRIPTORS = 3072;
inline constexpr size_t OWN_DESCRIPTORS = 512 + LINK_DESCRIPTORS;

// Raises this process's limit to the sum of the above, as far as the system allows. Returns the number of descriptors
// that the daemon may count on.
size_t RaiseDescriptorLimit();

// How many local connections this limit allows in all, and how many of them are reserved for root.
Ipc::ShareLimits SharesWithin(size_t descriptorLimit);

}  // namespace Vexo::Host
