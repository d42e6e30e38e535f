// How many descriptors the daemon may have open, and how many of them its local clients may take: the rest is for the
// link, D-Bus, logs and state, so that clients cannot keep the daemon from opening a file. At start, one thread.
#pragma once

#include <cstddef>

#include "platform/ipc/user_shares.h"

namespace Vexo::Host {

// What the limits promise: every local client; all that the link may hold (sessions, handshakes, connections without a
// proof: docs/link.md); and the daemon's other descriptors.
inline constexpr size_t MAX_LOCAL_CLIENTS = 4096;
inline constexpr size_t LINK_DESCRIPTORS = 3072;
inline constexpr size_t OWN_DESCRIPTORS = 512 + LINK_DESCRIPTORS;

// Raises this process's limit to what they promise, as far as the system lets it. The limit that holds then.
size_t RaiseDescriptorLimit();

// The connections of everybody, and those of them kept for root, within that limit.
Ipc::ShareLimits SharesWithin(size_t descriptorLimit);

}  // namespace Vexo::Host
