// Recording: one recording of the daemon's spans, as distnetctl starts, stops and fetches it. Used from the main
// thread; each call blocks for the daemon's answer.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "client/distnet_client.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// The recording's number, or 0 with the outcome that says why there is none. It ends by itself after limit; a detached
// one outlives this program.
uint32_t StartRecording(Client::DistNetClient& client, std::chrono::milliseconds limit, bool detached,
                        Outcome& failure);

// Stops it (0: the oldest detached one) and fetches all of its trace. False with the outcome that says why not.
bool FetchRecording(Client::DistNetClient& client, uint32_t recording, Host::TracePiece& trace, Outcome& failure);

}  // namespace Vexo::Ctl
