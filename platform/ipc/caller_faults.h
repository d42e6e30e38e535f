// CallerFaults: logs the faults of a server's clients, at most one line a minute for each user and kind of fault.
// Thread-safe. No call blocks.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "platform/base/nocopyable.h"
#include "platform/dfx/log_limit.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Ipc {

class CallerFaults : public NoCopyable {
public:
    void BadDatagram(const CallerIdentity& caller, const char* fault, size_t size);
    // Call when the caller's connection is closed because a reply could not be sent.
    void FailedReply(const CallerIdentity& caller, const char* why);
    // Call when a new connection is refused.
    void TurnedAway(uid_t user, const char* why);
    // Call when no descriptor is left. The log line names no client, because all clients are affected.
    void OutOfDescriptors();

private:
    QuviewDFX::LogLimit<uid_t> badDatagrams_;
    QuviewDFX::LogLimit<uid_t> failedReplies_;
    QuviewDFX::LogLimit<uid_t> turnedAway_;
    QuviewDFX::LogLimit<uid_t> outOfDescriptors_;
};

}  // namespace Vexo::Ipc
