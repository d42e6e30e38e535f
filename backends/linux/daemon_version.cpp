#include "backends/linux/daemon_version.h"

#include <thread>

namespace Vexo::Linux {
namespace {

constexpr std::chrono::milliseconds ASK_AGAIN{50};

// The name is taken, but the object or its interface is not there yet.
bool IsEarly(const std::string& error)
{
    return error.starts_with("org.freedesktop.DBus.Error.Unknown") ||
           error.starts_with("org.freedesktop.DBus.Error.InvalidArgs");
}

}  // namespace

Result<std::string> AwaitVersion(Bus& bus, const BusObject& object, const std::string& property)
{
    const auto deadline = std::chrono::steady_clock::now() + BUS_CALL_LIMIT;
    for (;;) {
        Result<std::string> version = bus.GetProperty<std::string>(object, property);
        if (version || !IsEarly(version.Message()) || std::chrono::steady_clock::now() >= deadline) {
            return version;
        }
        std::this_thread::sleep_for(ASK_AGAIN);
    }
}

}  // namespace Vexo::Linux
