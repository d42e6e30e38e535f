// The bytes between OpenSSL and a socket. Unlike OpenSSL's own socket BIO it sends with MSG_NOSIGNAL, so that a peer
// that has gone does not raise SIGPIPE in the process. Used by one thread at a time, as the SSL object that owns it.
#pragma once

#include <openssl/bio.h>
#include <openssl/ssl.h>

namespace Vexo::SoftBus {

// Lets ssl speak over the non-blocking stream socket fd, which it does not own. False when memory is short.
bool AttachSocket(SSL* ssl, int fd);

}  // namespace Vexo::SoftBus
