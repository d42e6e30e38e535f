#include "platform/softbus/discovery/period_timer.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/base/clock.h"
#include "platform/softbus/softbus_log.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::SoftBus {

Result<void> PeriodTimer::Start(std::function<void()> turned)
{
    turned_ = std::move(turned);
    const int timer = ::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (timer < 0) {
        return Fail(ErrorCode::SYSTEM, std::string("no timer for announcements: ") + std::strerror(errno));
    }
    timer_.assign(timer);
    if (!Arm()) {
        return Fail(ErrorCode::SYSTEM, std::string("the timer for announcements: ") + std::strerror(errno));
    }
    Wait();
    return {};
}

// Sets the timer to the start of the next token period. The timer also expires when the clock is set. Returns false on
// failure.
bool PeriodTimer::Arm()
{
    const auto now = Clock::System().WallNow().time_since_epoch();
    const auto next = now - now % Trust::TOKEN_PERIOD + Trust::TOKEN_PERIOD;
    itimerspec when{};
    when.it_value.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(next).count();
    return ::timerfd_settime(timer_.native_handle(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &when, nullptr) ==
               0 ||
           errno == ECANCELED;  // the clock was set, but the timer runs anyway
}

void PeriodTimer::Wait()
{
    timer_.async_wait(asio::posix::descriptor_base::wait_read, [this](const asio::error_code& error) {
        if (error || !timer_.is_open()) {
            return;
        }
        uint64_t turns = 0;
        // If the clock was set, the read fails with ECANCELED. That is handled like the start of a period.
        [[maybe_unused]] const ssize_t got = ::read(timer_.native_handle(), &turns, sizeof(turns));
        if (!Arm()) {
            QuviewDFX::LogError(
                LOG_SOFTBUS,
                "cannot set the announcement timer; this device's announcement expires within 30 minutes: %{public}s",
                std::strerror(errno));
            return;
        }
        Wait();
        turned_();
    });
}

void PeriodTimer::Stop()
{
    asio::error_code ignored;
    timer_.close(ignored);
}

}  // namespace Vexo::SoftBus
