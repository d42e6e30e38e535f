// The failure convention of our own code: a function that can fail returns Result<T>, a tl::expected that holds a value
// or an Error. Code decides by Error::code; Error::message is for a person and for the log. (The system's interfaces
// keep their integer codes: docs/errors.md.) Value types; any thread.
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <tl/expected.hpp>
#include <utility>

namespace Vexo {

enum class ErrorCode : uint8_t {
    INVALID_ARGUMENT,   // a value is not allowed: a caller's, a person's, a configuration's
    MALFORMED,          // bytes are not of their format: a file's, a frame's, an answer's
    NOT_FOUND,          // what was named does not exist
    ALREADY_EXISTS,     // what was to be made exists, or somebody else has it
    PERMISSION_DENIED,  // this process or this user may not
    UNAVAILABLE,        // the other side is not there: a daemon, the bus, a peer
    TIMED_OUT,          // the other side did not answer within the limit
    REFUSED,            // the other side answered with a failure of its own
    UNTRUSTED,          // a certificate, key or proof does not hold
    CANCELLED,          // somebody here does not want the result any more
    EXPIRED,            // it is outside its time of validity by this device's clock
    SYSTEM,             // the operating system or a library failed: disk, descriptors, memory
};

struct Error {
    ErrorCode code;
    std::string message;  // one sentence: what is wrong with what, and what is allowed; never a secret
};

template <typename T>
using Result = tl::expected<T, Error>;

// What a function that returns a Result returns when it fails.
using Failure = tl::unexpected<Error>;

inline Failure Fail(ErrorCode code, std::string message)
{
    return Failure(Error{code, std::move(message)});
}

// What an errno(3) of a system call stands for.
constexpr ErrorCode ErrorCodeOf(int number)
{
    switch (number) {
        case ENOENT:
        case ENOTDIR:
        case ENODEV:
        case ENXIO:
            return ErrorCode::NOT_FOUND;
        case EACCES:
        case EPERM:
            return ErrorCode::PERMISSION_DENIED;
        case EEXIST:
        case EADDRINUSE:
            return ErrorCode::ALREADY_EXISTS;
        case ECONNREFUSED:
        case EHOSTUNREACH:
        case ENETUNREACH:
            return ErrorCode::UNAVAILABLE;
        case ETIMEDOUT:
            return ErrorCode::TIMED_OUT;
        default:
            return ErrorCode::SYSTEM;
    }
}

}  // namespace Vexo
