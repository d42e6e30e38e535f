// Decides how many file descriptors the daemon may open, and how many of them its local clients may use. The rest is
// reserved for the link to other devices, D-Bus, logs and state, so that clients cannot keep the daemon from opening a
// file. Called once, at start.
#pragma once

#include <cstddef>

#include "platform/ipc/user_shares.h"

namespace Vexo::Host {

// The descriptors that the daemon needs when all its limits are reached: one for each local client, LINK_DESCRIPTORS
// for the link (sessions, handshakes and connections that are not authenticated yet: docs/link.md), and 512 for
// everything else.
inline constexpr size_t MAX_LOCAL_CLIENTS = 4096;
inline constexpr size_t LINK_DESCRIPTORS = 3072;
inline constexpr size_t OWN_DESCRIPTORS = 512 + LINK_DESCRIPTORS;

// Raises this process's descriptor limit to MAX_LOCAL_CLIENTS + OWN_DESCRIPTORS, or as far as the system allows.
// Returns the number of descriptors that the daemon can use.
size_t RaiseDescriptorLimit();

// Returns how many local connections are allowed in total with this descriptor limit, and how many of them are reserved
// for root and the daemon's own user.
Ipc::ShareLimits SharesWithin(size_t descriptorLimit);

}  // namespace Vexo::Host
