#include "backends/linux/daemon_version.h"

#include <thread>

namespace Vexo::Linux {
namespace {

constexpr std::chrono::milliseconds ASK_AGAIN{50};

// The name is taken, but the object or its interface is not there yet.
bool IsEarly(const Error& error)
{
    return error.code == ErrorCode::NOT_FOUND || error.code == ErrorCode::INVALID_ARGUMENT;
}

}  // namespace

Result<std::string> AwaitVersion(Bus& bus, const BusObject& object, const std::string& property)
{
    const auto deadline = std::chrono::steady_clock::now() + BUS_CALL_LIMIT;
    for (;;) {
        Result<std::string> version = bus.GetProperty<std::string>(object, property);
        if (version || !IsEarly(version.error()) || std::chrono::steady_clock::now() >= deadline) {
            return version;
        }
        std::this_thread::sleep_for(ASK_AGAIN);
    }
}

}  // namespace Vexo::Linux
