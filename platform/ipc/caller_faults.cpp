#include "platform/ipc/caller_faults.h"

#include <cstdint>

#include "platform/dfx/log.h"

namespace Vexo::Ipc {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Ipc"};
constexpr uid_t ANY_USER = 0;

}  // namespace

void CallerFaults::BadDatagram(const CallerIdentity& caller, const char* fault, size_t size)
{
    if (const auto leftOut = badDatagrams_.Admit(caller.uid)) {
        QuviewDFX::LogError(LABEL,
                            "bad datagram of %{public}lu bytes from process %{public}d, user %{public}u: "
                            "%{public}s%{public}s",
                            uint64_t{size}, caller.pid, caller.uid, fault, *leftOut);
    }
}

void CallerFaults::FailedReply(const CallerIdentity& caller, const char* why)
{
    if (const auto leftOut = failedReplies_.Admit(caller.uid)) {
        QuviewDFX::LogError(LABEL, "closing the connection of process %{public}d: %{public}s%{public}s", caller.pid,
                            why, *leftOut);
    }
}

void CallerFaults::TurnedAway(uid_t user, const char* why)
{
    if (const auto leftOut = turnedAway_.Admit(user)) {
        QuviewDFX::LogError(LABEL, "clients of user %{public}u are turned away: %{public}s%{public}s", user, why,
                            *leftOut);
    }
}

void CallerFaults::OutOfDescriptors()
{
    if (const auto leftOut = outOfDescriptors_.Admit(ANY_USER)) {
        QuviewDFX::LogError(LABEL, "clients are turned away: out of descriptors%{public}s", *leftOut);
    }
}

}  // namespace Vexo::Ipc
