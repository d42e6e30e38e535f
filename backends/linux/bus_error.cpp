#include "backends/linux/bus_error.h"

#include <sdbus-c++/Error.h>

#include <string_view>

namespace Vexo::Linux {
namespace {

// Maps the name of a D-Bus error (sd-bus-errors(3)) to an ErrorCode. name: the error's name without the prefix that all
// these names have.
struct BusErrorCode {
    const char* name;
    ErrorCode code;
};
constexpr std::string_view BUS_ERROR = "org.freedesktop.DBus.Error.";
constexpr BusErrorCode BUS_ERROR_CODES[] = {
    {"NoReply", ErrorCode::TIMED_OUT},
    {"Timeout", ErrorCode::TIMED_OUT},
    {"TimedOut", ErrorCode::TIMED_OUT},
    {"Disconnected", ErrorCode::UNAVAILABLE},
    {"NoServer", ErrorCode::UNAVAILABLE},
    {"ServiceUnknown", ErrorCode::UNAVAILABLE},
    {"NameHasNoOwner", ErrorCode::UNAVAILABLE},
    {"UnknownObject", ErrorCode::NOT_FOUND},
    {"UnknownInterface", ErrorCode::NOT_FOUND},
    {"UnknownMethod", ErrorCode::NOT_FOUND},
    {"UnknownProperty", ErrorCode::NOT_FOUND},
    {"InvalidArgs", ErrorCode::INVALID_ARGUMENT},
    {"AccessDenied", ErrorCode::PERMISSION_DENIED},
    {"AuthFailed", ErrorCode::PERMISSION_DENIED},
    {"InteractiveAuthorizationRequired", ErrorCode::PERMISSION_DENIED},
};

}  // namespace

Failure FailureOf(const sdbus::Error& error, const std::string& what)
{
    const std::string& name = error.getName();
    ErrorCode code = ErrorCode::REFUSED;
    for (const BusErrorCode& known : BUS_ERROR_CODES) {
        if (name.starts_with(BUS_ERROR) && name.substr(BUS_ERROR.size()) == known.name) {
            code = known.code;
        }
    }
    return Fail(code, name + ": " + what);
}

Failure NoReply(const std::string& what)
{
    return Fail(ErrorCode::TIMED_OUT, std::string(BUS_ERROR) + "NoReply: " + what);
}

Failure NoBus(const std::string& what)
{
    return Fail(ErrorCode::UNAVAILABLE, std::string(BUS_ERROR) + "Disconnected: " + what);
}

std::string BusErrorName(const Error& error)
{
    return error.message.substr(0, error.message.find(':'));
}

}  // namespace Vexo::Linux
