// Starts and stops recordings of the daemon's trace spans, and reads the recorded trace from the daemon. Main thread
// only. Each call blocks until the daemon answers.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "client/distnet_client.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// Starts a recording and returns its number. limit: the longest duration of the recording. detached: whether
// FetchRecording can find the recording without its number. If the call fails, returns 0, and the parameter failure
// receives the outcome with which the command must end.
uint32_t StartRecording(Client::DistNetClient& client, std::chrono::milliseconds limit, bool detached,
                        Outcome& failure);

// Stops a recording and reads its complete trace. recording: its number, or 0 for the oldest detached recording. If
// this fails, returns false, and the parameter failure receives the outcome with which the command must end.
bool FetchRecording(Client::DistNetClient& client, uint32_t recording, Host::TracePiece& trace, Outcome& failure);

}  // namespace Vexo::Ctl
