// AwaitedAnswer: decides which start-hotspot answer is accepted on one channel. Every device of the account can send an
// answer over its own session; only the first answer on the session of the waiting request is accepted. Any thread.
// Each channel has one AwaitedAnswer: soft_bus_adapter.h, collaboration.h. Reason: docs/decisions/0001-late-answers.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::NetManagerStandard {

class AwaitedAnswer : public NoCopyable {
public:
    // One request. Create it before its message is sent, because the answer can arrive before sending returns. It holds
    // both locks until it is destroyed, except hotspotMutex_ during WaitForResult. The constructor blocks while another
    // Request exists. Claim and Post block while a Request exists and is not in WaitForResult.
    class SCOPED_CAPABILITY Request : public NoCopyable {
    public:
        Request(AwaitedAnswer& awaited, int sessionId) ACQUIRE(awaited.turnMutex_, awaited.hotspotMutex_);
        // From now on no answer is accepted for this request.
        ~Request() RELEASE();

    private:
        AwaitedAnswer& awaited_;
        const MutexLock turn_;
        const MutexLock lock_;
    };

    // Called by the thread that owns the Request. Blocks until its result is posted, for at most limit. Returns no
    // value if no result was posted.
    std::optional<int32_t> WaitForResult(std::chrono::milliseconds limit) REQUIRES(hotspotMutex_);

    // Returns true if a request waits on that session and this is its first answer: the caller must act on the answer
    // and then call Post once. Returns false (logged) for every other answer, which the caller must ignore.
    bool Claim(int sessionId) EXCLUDES(hotspotMutex_);

    // Calls end, which must close the session, with hotspotMutex_ held, and then gives result to the request that waits
    // on the session. If the request that claimed the answer has ended, the result is dropped; end is then called only
    // if no newer request waits on the same session.
    void Post(int sessionId, int32_t result, const std::function<void()>& end) EXCLUDES(hotspotMutex_);

private:
    enum class Stage { IDLE, ASKED, CLAIMED };

    Mutex turnMutex_;     // held during a whole request; locked before hotspotMutex_
    Mutex hotspotMutex_;  // held during a whole request, except in WaitForResult
    CondVar hotspotCondition_;
    Stage stage_ GUARDED_BY(hotspotMutex_) = Stage::IDLE;
    int sessionId_ GUARDED_BY(hotspotMutex_) = 0;  // session of the current request
    bool isHotspotResultReady_ GUARDED_BY(hotspotMutex_) = false;
    int32_t hotspotResult_ GUARDED_BY(hotspotMutex_) = 0;
    // Sessions whose answer was claimed, but not posted before the request ended.
    std::set<int> handledTooLong_ GUARDED_BY(hotspotMutex_);
};

}  // namespace Vexo::NetManagerStandard
