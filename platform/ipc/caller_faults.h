// CallerFaults: the log lines about what clients of a server do wrong, one a minute of each kind for each user. Any
// thread; does not block.
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
    void TurnedAway(uid_t user, const char* why);
    // No client is named: the lack concerns all of them.
    void OutOfDescriptors();

private:
    QuviewDFX::LogLimit<uid_t> badDatagrams_;
    QuviewDFX::LogLimit<uid_t> failedReplies_;
    QuviewDFX::LogLimit<uid_t> turnedAway_;
    QuviewDFX::LogLimit<uid_t> outOfDescriptors_;
};

}  // namespace Vexo::Ipc
