// AwaitedAnswer: decides which start-hotspot answer counts on one channel. Every device of the account can send an
// answer over a session of its own; only the first one on the session of the request that waits may be acted on. Any
// thread. Each channel has one: soft_bus_adapter.h, collaboration.h. Why: docs/decisions/0001-late-answers.md.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <set>

#include "platform/base/nocopyable.h"

namespace Vexo::NetManagerStandard {

class AwaitedAnswer : public NoCopyable {
public:
    // One request, made before its message is sent, because the answer can arrive before sending returns. One at a
    // time: the constructor blocks while another request lives. Claim and Post block while a request lives and does not
    // wait for its result.
    class Request : public NoCopyable {
    public:
        Request(AwaitedAnswer& awaited, int sessionId);
        // From now on no answer counts for it.
        ~Request();

        // Blocks until the result is posted, for at most limit; empty when it was not.
        std::optional<int32_t> WaitForResult(std::chrono::milliseconds limit);

    private:
        AwaitedAnswer& awaited_;
        const std::lock_guard<std::mutex> turn_;
        std::unique_lock<std::mutex> lock_;
    };

    // True when a request waits on that session and this is its first answer: the caller acts on the answer and then
    // calls Post, once. False, after logging it, for every other answer: the caller drops it.
    bool Claim(int sessionId);

    // Calls end, which ends the session, with the lock held, and gives the result to the request that waits on it. The
    // result is dropped when that request has ended; end is left out when a newer request waits on the same session.
    void Post(int sessionId, int32_t result, const std::function<void()>& end);

private:
    enum class Stage { IDLE, ASKED, CLAIMED };

    std::mutex turnMutex_;     // held for a whole request; before hotspotMutex_
    std::mutex hotspotMutex_;  // held for a whole request, except while it waits; guards all below
    std::condition_variable hotspotCondition_;
    Stage stage_ = Stage::IDLE;
    int sessionId_ = 0;  // of the request
    bool isHotspotResultReady_ = false;
    int32_t hotspotResult_ = 0;
    std::set<int> handledTooLong_;  // sessions whose claimed answer is not posted yet though its request has ended
};

}  // namespace Vexo::NetManagerStandard
