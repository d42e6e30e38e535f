// How functions report failure: a function that can fail returns Result<T>, which is a tl::expected that contains a
// value or an Error. Callers decide by Error::code. Error::message is for people and for the log. (The interfaces that
// the service implements and uses return integer codes instead: docs/errors.md.) Any thread may use a Result or an
// Error of its own.
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <tl/expected.hpp>
#include <utility>

namespace Vexo {

enum class ErrorCode : uint8_t {
    INVALID_ARGUMENT,   // a caller, a person or a configuration gave a value that is not allowed
    MALFORMED,          // the bytes of a file, a frame or an answer are not in the expected format
    NOT_FOUND,          // the named object does not exist
    ALREADY_EXISTS,     // the object to create exists already, or its name or address is in use
    PERMISSION_DENIED,  // this process or this user lacks the permission
    UNAVAILABLE,        // the other side cannot be reached: a daemon, the bus, a peer
    TIMED_OUT,          // the other side did not answer in time
    REFUSED,            // the other side answered, but reported a failure
    UNTRUSTED,          // a certificate, a key, a signature or a peer cannot be trusted
    CANCELLED,          // the caller no longer wants the result
    EXPIRED,            // the validity period is over or has not begun, according to this device's clock
    SYSTEM,             // the operating system or a library failed: disk, descriptors, memory
};

struct Error {
    ErrorCode code;
    std::string message;  // one sentence: the object, its problem and what is allowed; never contains a secret
};

template <typename T>
using Result = tl::expected<T, Error>;

// The return value of a function that failed. Converts to every Result<T>.
using Failure = tl::unexpected<Error>;

inline Failure Fail(ErrorCode code, std::string message)
{
    return Failure(Error{code, std::move(message)});
}

// Returns the ErrorCode for the errno(3) of a system call.
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
