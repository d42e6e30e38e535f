// Failures of D-Bus calls: translates the name of a D-Bus error (sd-bus-errors(3)) to the ErrorCode that callers check.
// Functions without state. Any thread may use them. No call blocks. Used by bus.h.
#pragma once

#include <string>

#include "platform/base/result.h"

namespace sdbus {
class Error;
}

namespace Vexo::Linux {

// Whether a call failed because no reply arrived. The caller then knows nothing about the state of the service: an
// operation that it requested may have been carried out or not.
inline bool IsNoAnswer(const Error& error)
{
    return error.code == ErrorCode::TIMED_OUT || error.code == ErrorCode::UNAVAILABLE;
}

// The failure of a call that was not answered in time. what: the text after the error's name and a colon.
Failure NoReply(const std::string& what);
// The failure of a call while the bus is disconnected. what: as in NoReply.
Failure NoBus(const std::string& what);
// The failure of a call that the service answered with an error. what: as in NoReply.
Failure FailureOf(const sdbus::Error& error, const std::string& what);
// Returns only the name of the D-Bus error, for logs and messages: the rest of error.message may repeat the arguments
// of the call.
std::string BusErrorName(const Error& error);

}  // namespace Vexo::Linux
