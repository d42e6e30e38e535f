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
    // Its connection is closed.
    void FailedReply(const CallerIdentity& caller, const char* why);
    void TurnedAway(uid_t user, const char* why);
    // Whoever they are.
    void OutOfDescriptors();

private:
    QuviewDFX::LogLimit<uid_t> badDatagrams_;
    QuviewDFX::LogLimit<uid_t> failedReplies_;
    QuviewDFX::LogLimit<uid_t> turnedAway_;
    QuviewDFX::LogLimit<uid_t> outOfDescriptors_;
};

}  // namespace Vexo::Ipc
