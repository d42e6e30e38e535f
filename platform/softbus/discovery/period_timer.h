// PeriodTimer: tells when a token period begins (trust/announcement_tokens.h) and when somebody has set this machine's
// clock, by one descriptor of the kernel (timerfd_create(2)), so that nothing wakes up in between. Used on the reactor
// thread.
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

    // Calls turned on the reactor at each turn until Stop. Once.
    [[nodiscard]] Result<void> Start(std::function<void()> turned);
    void Stop();

private:
    bool Arm();
    void Wait();

    asio::posix::stream_descriptor timer_;
    std::function<void()> turned_;
};

}  // namespace Vexo::SoftBus
