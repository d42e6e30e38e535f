// Starts, stops and fetches recordings of the daemon's trace spans. Main thread only; each call blocks for the daemon's
// answer.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "client/distnet_client.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// Starts a recording. The daemon stops it after limit at the latest; a detached recording continues after this program
// has ended. Returns the number of the recording, or 0 on failure; failure is then the outcome to finish with.
uint32_t StartRecording(Client::DistNetClient& client, std::chrono::milliseconds limit, bool detached,
                        Outcome& failure);

// Stops the recording with this number (0: the oldest detached one) and fetches its whole trace. Returns false on
// failure; failure is then the outcome to finish with.
bool FetchRecording(Client::DistNetClient& client, uint32_t recording, Host::TracePiece& trace, Outcome& failure);

}  // namespace Vexo::Ctl
