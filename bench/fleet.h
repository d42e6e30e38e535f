// MakeFleet: an account with many devices, for benchmarks. Only the laptop and the phone can run. The other devices are
// real members of the account: each has a key, and the laptop has admitted it.
#pragma once

#include <cstddef>

#include "tests/end_to_end/world.h"

namespace Vexo::Bench {

// Adds the devices laptop and phone, and further members of the account. known: the number of devices that the laptop
// knows, including the phone. If the account's state cannot hold that many members, adds as many as fit, and prints
// their number on standard error. Writes the laptop's known-devices.json as if the laptop had met the further members.
// This file holds at most MAX_KNOWN_DEVICES devices.
void MakeFleet(EndToEnd::World& world, size_t known);

}  // namespace Vexo::Bench
