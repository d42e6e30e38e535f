// A BIO (the byte stream interface of OpenSSL) for a socket. OpenSSL's own socket BIO may raise SIGPIPE when the
// connection is closed. This BIO does not, because it sends with MSG_NOSIGNAL. A BIO belongs to an SSL object. Both are
// used by one thread at a time.
#pragma once

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <functional>
#include <limits>
#include <string>
#include <string_view>

namespace Vexo::SoftBus {

// Returns the bytes to send before the first flight of a handshake (the messages that the client sends before it first
// waits for an answer). If the function returns an empty string, nothing is sent and the handshake fails.
using FirstFlightPrefix = std::function<std::string(std::string_view flight)>;

inline constexpr size_t ANY_WRITE = std::numeric_limits<size_t>::max();
// Make ssl use the socket fd, a non-blocking stream socket. The caller keeps the socket and closes it. Both functions
// return false if memory is short.
// - alreadyRead: bytes that a server has already read from the socket. OpenSSL gets them first.
// - prefix: makes the bytes that a client sends before its first flight.
// - maxWriteBytes: the maximum number of bytes for one send system call.
bool AttachSocket(SSL* ssl, int fd, std::string alreadyRead, size_t maxWriteBytes = ANY_WRITE);
bool AttachSocket(SSL* ssl, int fd, FirstFlightPrefix prefix, size_t maxWriteBytes = ANY_WRITE);

}  // namespace Vexo::SoftBus
