#include "platform/base/clock.h"

#include "platform/base/never_destroyed.h"

namespace Vexo {
namespace {

class SystemClock : public Clock {
public:
    SteadyTime Now() const override { return std::chrono::steady_clock::now(); }
    WallTime WallNow() const override { return std::chrono::system_clock::now(); }
};

}  // namespace

const Clock& Clock::System()
{
    static NeverDestroyed<SystemClock> clock;
    return clock.value;
}

}  // namespace Vexo
