// The bytes between OpenSSL and a socket. Unlike OpenSSL's own socket BIO it sends with MSG_NOSIGNAL, so that a peer
// that has gone does not raise SIGPIPE in the process. Used by one thread at a time, as the SSL object that owns it.
#pragma once

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <functional>
#include <string>
#include <string_view>

namespace Vexo::SoftBus {

// What goes out before the first flight of a handshake, which it is given; empty when it cannot be made, and then
// nothing goes out.
using FirstFlightPrefix = std::function<std::string(std::string_view flight)>;

// Lets ssl speak over the non-blocking stream socket fd, which it does not own. A server's begins with alreadyRead,
// what was read from the socket before; a client's first flight is sent behind its prefix. False when memory is short.
bool AttachSocket(SSL* ssl, int fd, std::string alreadyRead);
bool AttachSocket(SSL* ssl, int fd, FirstFlightPrefix prefix);

}  // namespace Vexo::SoftBus
