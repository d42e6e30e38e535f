// DaemonCalls: makes the D-Bus calls of an announcement channel to its daemon (Avahi or BlueZ). Each call has a time
// limit. After Stop, only clean-up calls (CallForCleanUp) are made, and they share one time limit. Used on the
// channel's strand. Only Stop and IsStopped may be called on any thread.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "backends/linux/bus.h"
#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Linux {

class DaemonCalls : public NoCopyable {
public:
    // callLimit: the time limit of one call. endLimit: the common time limit of all calls to CallForCleanUp after Stop,
    // counted from the first of these calls.
    DaemonCalls(std::shared_ptr<Bus> bus, std::chrono::milliseconds callLimit, std::chrono::milliseconds endLimit)
        : bus_(std::move(bus)), callLimit_(callLimit), endLimit_(endLimit)
    {
    }

    // After Stop, Call fails at once.
    void Stop() { isStopped_ = true; }
    bool IsStopped() const { return isStopped_; }
    Bus& Connection() { return *bus_; }

    // Calls the method and blocks for the reply, at most for callLimit.
    template <typename Reply = void, typename... Arguments>
    [[nodiscard]] Result<Reply> Call(const BusObject& object, const std::string& method, const Arguments&... arguments)
    {
        if (isStopped_) {
            return Fail(ErrorCode::UNAVAILABLE, "the channel has stopped");
        }
        return bus_->Call<Reply>(object, method, callLimit_, arguments...);
    }

    // Calls a method that frees a resource of the daemon, and blocks for the reply. Before Stop, the time limit is
    // callLimit. After Stop, the time limit is the rest of endLimit. If no time is left, the message is still sent, but
    // the wait for the reply lasts only 1 ms.
    template <typename... Arguments>
    [[nodiscard]] Result<void> CallForCleanUp(const BusObject& object, const std::string& method,
                                              const Arguments&... arguments)
    {
        auto limit = callLimit_;
        if (isStopped_) {
            const auto now = Clock::System().Now();
            if (endDeadline_ == SteadyTime()) {
                endDeadline_ = now + endLimit_;
            }
            limit = std::max(std::chrono::milliseconds(1),
                             std::chrono::duration_cast<std::chrono::milliseconds>(endDeadline_ - now));
        }
        return bus_->Call(object, method, limit, arguments...);
    }

private:
    const std::shared_ptr<Bus> bus_;
    const std::chrono::milliseconds callLimit_;
    const std::chrono::milliseconds endLimit_;
    std::atomic<bool> isStopped_{false};
    SteadyTime endDeadline_;
};

}  // namespace Vexo::Linux
