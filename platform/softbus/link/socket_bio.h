// A BIO (OpenSSL's byte stream) over a socket. Unlike OpenSSL's own socket BIO it sends with MSG_NOSIGNAL, so that a
// closed connection does not raise SIGPIPE in the process. Used by one thread at a time, as the SSL object that owns
// it.
#pragma once

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <functional>
#include <limits>
#include <string>
#include <string_view>

namespace Vexo::SoftBus {

// Returns the bytes to send before the first flight of a handshake (the messages up to the first wait for an answer).
// If it returns an empty string, nothing is sent and the handshake fails.
using FirstFlightPrefix = std::function<std::string(std::string_view flight)>;

inline constexpr size_t ANY_WRITE = std::numeric_limits<size_t>::max();
// Makes ssl use the non-blocking stream socket fd, which the caller keeps and closes. Both return false if memory is
// short.
// - alreadyRead: bytes that a server has read from the socket before; ssl gets them first.
// - prefix: makes the bytes that a client sends before its first flight.
// - maxWriteBytes: the maximum for one send system call.
bool AttachSocket(SSL* ssl, int fd, std::string alreadyRead, size_t maxWriteBytes = ANY_WRITE);
bool AttachSocket(SSL* ssl, int fd, FirstFlightPrefix prefix, size_t maxWriteBytes = ANY_WRITE);

}  // namespace Vexo::SoftBus
