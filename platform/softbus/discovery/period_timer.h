// PeriodTimer: runs a callback when a token period begins (trust/announcement_tokens.h) and when this machine's clock
// was set. It uses one kernel timer (timerfd_create(2)), so the process does not wake up in between. Used on the
// reactor thread. No call blocks.
#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <functional>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::SoftBus {

class PeriodTimer : public NoCopyable {
public:
    explicit PeriodTimer(asio::io_context& reactor) : timer_(reactor) {}

    // Starts the timer. turned: called on the reactor thread at the beginning of each period and after each change of
    // the clock, until Stop. Call Start once.
    [[nodiscard]] Result<void> Start(std::function<void()> turned);
    void Stop();

private:
    bool Arm();
    void Wait();

    asio::posix::stream_descriptor timer_;
    std::function<void()> turned_;
};

}  // namespace Vexo::SoftBus
