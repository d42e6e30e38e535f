// The bytes between OpenSSL and a socket. Unlike OpenSSL's own socket BIO it sends with MSG_NOSIGNAL, so that a peer
// that has gone does not raise SIGPIPE in the process. Used by one thread at a time, as the SSL object that owns it.
#pragma once

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <functional>
#include <limits>
#include <string>
#include <string_view>

namespace Vexo::SoftBus {

// What goes out before the first flight of a handshake, which it is given; empty when it cannot be made, and then
// nothing goes out.
using FirstFlightPrefix = std::function<std::string(std::string_view flight)>;

// Lets ssl speak over the non-blocking stream socket fd, which it does not own. A server's begins with alreadyRead,
// what was read from the socket before; a client's first flight is sent behind its prefix. maxWriteBytes: of one call
// of the kernel. False when memory is short.
inline constexpr size_t ANY_WRITE = std::numeric_limits<size_t>::max();
bool AttachSocket(SSL* ssl, int fd, std::string alreadyRead, size_t maxWriteBytes = ANY_WRITE);
bool AttachSocket(SSL* ssl, int fd, FirstFlightPrefix prefix, size_t maxWriteBytes = ANY_WRITE);

}  // namespace Vexo::SoftBus
