// How a D-Bus call failed: from the error's name (sd-bus-errors(3)) to the code that others decide by. Functions
// without state; any thread; nothing blocks. Who calls: bus.h.
#pragma once

#include <string>

#include "platform/base/result.h"

namespace sdbus {
class Error;
}

namespace Vexo::Linux {

// Whether a call failed because nobody answered it. Then nothing is known of what was asked for, and what was ordered
// may be done or not.
inline bool IsNoAnswer(const Error& error)
{
    return error.code == ErrorCode::TIMED_OUT || error.code == ErrorCode::UNAVAILABLE;
}

// Failures of the bus itself. No answer within the limit:
Failure NoReply(const std::string& what);
// There is no bus now:
Failure NoBus(const std::string& what);
// The name of a failed call's D-Bus error, for people: the rest of the message may repeat what was asked.
std::string BusErrorName(const Error& error);
// What a service answered with. what: said after the error's name and a colon.
Failure FailureOf(const sdbus::Error& error, const std::string& what);

}  // namespace Vexo::Linux
