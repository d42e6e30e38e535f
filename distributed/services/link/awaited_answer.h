// AwaitedAnswer: decides which start-hotspot answer counts on one channel. Every device of the account can send an
// answer over a session of its own; only the first one on the session of the request that waits may be acted on. Any
// thread. Each channel has one: soft_bus_adapter.h, collaboration.h. Why: docs/decisions/0001-late-answers.md.
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
    // One request, made before its message is sent, because the answer can arrive before sending returns. It holds both
    // locks while it lives. One at a time: the constructor blocks while another request lives. Claim and Post block
    // while a request lives and does not wait for its result.
    class SCOPED_CAPABILITY Request : public NoCopyable {
    public:
        Request(AwaitedAnswer& awaited, int sessionId) ACQUIRE(awaited.turnMutex_, awaited.hotspotMutex_);
        // From now on no answer counts for it.
        ~Request() RELEASE();

    private:
        AwaitedAnswer& awaited_;
        const MutexLock turn_;
        const MutexLock lock_;
    };

    // By the thread whose request lives: blocks until its result is posted, for at most limit; empty when it was not.
    std::optional<int32_t> WaitForResult(std::chrono::milliseconds limit) REQUIRES(hotspotMutex_);

    // True when a request waits on that session and this is its first answer: the caller acts on the answer and then
    // calls Post, once. False, after logging it, for every other answer: the caller drops it.
    bool Claim(int sessionId) EXCLUDES(hotspotMutex_);

    // Calls end, which ends the session, with the lock held, and gives the result to the request that waits on it. The
    // result is dropped when that request has ended; end is left out when a newer request waits on the same session.
    void Post(int sessionId, int32_t result, const std::function<void()>& end) EXCLUDES(hotspotMutex_);

private:
    enum class Stage { IDLE, ASKED, CLAIMED };

    Mutex turnMutex_;     // held for a whole request; before hotspotMutex_
    Mutex hotspotMutex_;  // held for a whole request, except while it waits
    CondVar hotspotCondition_;
    Stage stage_ GUARDED_BY(hotspotMutex_) = Stage::IDLE;
    int sessionId_ GUARDED_BY(hotspotMutex_) = 0;  // of the request
    bool isHotspotResultReady_ GUARDED_BY(hotspotMutex_) = false;
    int32_t hotspotResult_ GUARDED_BY(hotspotMutex_) = 0;
    // Sessions whose claimed answer is not posted yet though its request has ended.
    std::set<int> handledTooLong_ GUARDED_BY(hotspotMutex_);
};

}  // namespace Vexo::NetManagerStandard
