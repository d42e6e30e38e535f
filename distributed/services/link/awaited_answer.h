// AwaitedAnswer: decides which answer to a start-hotspot request is accepted. Every device of the account can send an
// answer over its own session. AwaitedAnswer accepts only the first answer, and only on the session over which the
// waiting request was sent. Any thread may call the class. soft_bus_adapter.h and collaboration.h have one
// AwaitedAnswer each. Reason: docs/decisions/0001-late-answers.md.
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
    // One start-hotspot request. Create this object before the message is sent, because the answer can arrive before
    // the send function returns. The object holds turnMutex_ and hotspotMutex_ until it is destroyed, but WaitForResult
    // releases hotspotMutex_ while it waits. The constructor blocks while another Request exists. Claim and Post block
    // while a Request exists and is not in WaitForResult.
    class SCOPED_CAPABILITY Request : public NoCopyable {
    public:
        Request(AwaitedAnswer& awaited, int sessionId) ACQUIRE(awaited.turnMutex_, awaited.hotspotMutex_);
        // After destruction, no answer is accepted for this request.
        ~Request() RELEASE();

    private:
        AwaitedAnswer& awaited_;
        const MutexLock turn_;
        const MutexLock lock_;
    };

    // Must be called on the thread that created the Request. Blocks until the result of this request is posted. Returns
    // no value if no result was posted in time. limit: the longest time to block.
    std::optional<int32_t> WaitForResult(std::chrono::milliseconds limit) REQUIRES(hotspotMutex_);

    // Claim must be called when an answer has arrived on the session. Returns true if a request waits on this session
    // and the answer is the first one. The caller must then act on the answer and call Post once. Returns false
    // (logged) for every other answer. The caller must ignore such an answer.
    bool Claim(int sessionId) EXCLUDES(hotspotMutex_);

    // Gives the result to the request that waits on the session. Before that, calls the function end, which closes the
    // session, while hotspotMutex_ is locked. If the request that claimed the answer has ended already, the result is
    // dropped. In that case end is called only if no newer request waits on the same session.
    void Post(int sessionId, int32_t result, const std::function<void()>& end) EXCLUDES(hotspotMutex_);

private:
    enum class Stage { IDLE, ASKED, CLAIMED };

    Mutex turnMutex_;     // held during a whole request, and locked before hotspotMutex_
    Mutex hotspotMutex_;  // held during a whole request, except in WaitForResult
    CondVar hotspotCondition_;
    Stage stage_ GUARDED_BY(hotspotMutex_) = Stage::IDLE;
    int sessionId_ GUARDED_BY(hotspotMutex_) = 0;  // the session of the current request
    bool isHotspotResultReady_ GUARDED_BY(hotspotMutex_) = false;
    int32_t hotspotResult_ GUARDED_BY(hotspotMutex_) = 0;
    // Sessions on which an answer was claimed, but the request ended before Post was called.
    std::set<int> unpostedSessions_ GUARDED_BY(hotspotMutex_);
};

}  // namespace Vexo::NetManagerStandard
