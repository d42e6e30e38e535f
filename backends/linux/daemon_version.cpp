#include "backends/linux/daemon_version.h"

#include <memory>

#include "platform/base/awaited.h"

namespace Vexo::Linux {
namespace {

constexpr std::chrono::milliseconds RETRY_PERIOD{50};

// Whether the error shows that the daemon has acquired its bus name, but has not exported the object or its interface
// yet.
bool IsNotExportedYet(const Error& error)
{
    return error.code == ErrorCode::NOT_FOUND || error.code == ErrorCode::INVALID_ARGUMENT;
}

}  // namespace

Result<std::string> AwaitVersion(Bus& bus, const BusObject& object, const std::string& property, Tasks::Timers& timers)
{
    const SteadyTime deadline = timers.Now() + BUS_CALL_LIMIT;
    for (;;) {
        Result<std::string> version = bus.GetProperty<std::string>(object, property);
        if (version || !IsNotExportedYet(version.error()) || timers.Now() >= deadline) {
            return version;
        }
        const auto again = std::make_shared<Awaited<bool>>();
        const Tasks::Timer timer = timers.RunAfter(RETRY_PERIOD, [again] { again->Set(true); });
        again->WaitFor(BUS_CALL_LIMIT);
    }
}

}  // namespace Vexo::Linux
