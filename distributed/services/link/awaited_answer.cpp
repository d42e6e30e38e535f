#include "distributed/services/link/awaited_answer.h"

#include "distributed/services/utils/net_mgr_log_wrapper.h"

namespace Vexo::NetManagerStandard {

AwaitedAnswer::Request::Request(AwaitedAnswer& awaited, int sessionId)
    : awaited_(awaited), turn_(awaited.turnMutex_), lock_(awaited.hotspotMutex_)
{
    awaited_.stage_ = Stage::ASKED;
    awaited_.sessionId_ = sessionId;
    awaited_.isHotspotResultReady_ = false;
}

AwaitedAnswer::Request::~Request()
{
    if (awaited_.stage_ == Stage::CLAIMED && !awaited_.isHotspotResultReady_) {
        awaited_.unpostedSessions_.insert(awaited_.sessionId_);
    }
    awaited_.stage_ = Stage::IDLE;
}

std::optional<int32_t> AwaitedAnswer::WaitForResult(std::chrono::milliseconds limit)
{
    const bool isReady = hotspotCondition_.WaitFor(hotspotMutex_, limit,
                                                   [this]() REQUIRES(hotspotMutex_) { return isHotspotResultReady_; });
    return isReady ? std::optional(hotspotResult_) : std::nullopt;
}

bool AwaitedAnswer::Claim(int sessionId)
{
    const MutexLock lock(hotspotMutex_);
    if (stage_ != Stage::ASKED || sessionId_ != sessionId) {
        NETMGR_EXT_LOGE(" hotspot answer dropped: no request waits for it, sessionId = %{public}d", sessionId);
        return false;
    }
    stage_ = Stage::CLAIMED;
    return true;
}

void AwaitedAnswer::Post(int sessionId, int32_t result, const std::function<void()>& end)
{
    const MutexLock lock(hotspotMutex_);
    const bool isTooLate = unpostedSessions_.erase(sessionId) > 0;
    const bool isAwaited = stage_ != Stage::IDLE && sessionId_ == sessionId && !isHotspotResultReady_;
    if (isTooLate && isAwaited) {
        return;
    }
    end();
    if (isAwaited) {
        stage_ = Stage::CLAIMED;
        isHotspotResultReady_ = true;
        hotspotResult_ = result;
        hotspotCondition_.NotifyAll();
    }
}

}  // namespace Vexo::NetManagerStandard
