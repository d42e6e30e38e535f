// Creates and reads the errors of failed D-Bus calls. The name of a D-Bus error (sd-bus-errors(3)) becomes the
// ErrorCode that callers check. The functions have no state. Any thread may use them, and no call blocks. Used by
// bus.h.
#pragma once

#include <string>

#include "platform/base/result.h"

namespace sdbus {
class Error;
}

namespace Vexo::Linux {

// Whether a call failed because the service sent no reply: the time limit passed, the bus is disconnected, or the
// service does not run. The service may still have carried out the requested operation.
inline bool IsNoAnswer(const Error& error)
{
    return error.code == ErrorCode::TIMED_OUT || error.code == ErrorCode::UNAVAILABLE;
}

// Returns the failure of a call that was not answered in time. what: the text that follows the error's name and a
// colon.
Failure NoReply(const std::string& what);
// Returns the failure of a call while the bus is disconnected. what: the text that follows the error's name and a
// colon.
Failure NoBus(const std::string& what);
// Returns the failure of a call that the service answered with an error. what: the text that follows the error's name
// and a colon.
Failure FailureOf(const sdbus::Error& error, const std::string& what);
// Returns the name of the D-Bus error, for logs and messages. The rest of error.message is left out, because it may
// repeat the arguments of the call.
std::string BusErrorName(const Error& error);

}  // namespace Vexo::Linux
