#include "platform/softbus/link/socket_bio.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

namespace Vexo::SoftBus {

namespace {

struct SocketState {
    int fd = -1;
    size_t maxWriteBytes = 0;
    std::string alreadyRead;   // OpenSSL reads these bytes before the bytes of the socket
    FirstFlightPrefix prefix;  // null after the first flight is complete
    std::string firstFlight;   // the bytes of the first flight that were not sent yet
};

SocketState& StateOf(BIO* bio)
{
    return *static_cast<SocketState*>(BIO_get_data(bio));
}

bool MayRetry(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

ssize_t Send(BIO* bio, std::string_view bytes)
{
    const SocketState& state = StateOf(bio);
    const ssize_t sent = ::send(state.fd, bytes.data(), std::min(bytes.size(), state.maxWriteBytes), MSG_NOSIGNAL);
    if (sent < 0 && MayRetry(errno)) {
        BIO_set_retry_write(bio);
    }
    return sent;
}

// Sends the prefix and the first flight, or the rest of them. Returns 1 if all bytes were sent, otherwise -1.
int Flush(BIO* bio)
{
    SocketState& state = StateOf(bio);
    if (state.prefix && !state.firstFlight.empty()) {
        const std::string prefix = std::exchange(state.prefix, nullptr)(state.firstFlight);
        if (prefix.empty()) {
            return -1;
        }
        state.firstFlight.insert(0, prefix);
    }
    while (!state.prefix && !state.firstFlight.empty()) {
        const ssize_t sent = Send(bio, state.firstFlight);
        if (sent < 0) {
            return -1;
        }
        state.firstFlight.erase(0, static_cast<size_t>(sent));
    }
    return 1;
}

int SocketWrite(BIO* bio, const char* data, int length)
{
    BIO_clear_retry_flags(bio);
    SocketState& state = StateOf(bio);
    if (state.prefix) {
        state.firstFlight.append(data, static_cast<size_t>(length));
        return length;
    }
    return Flush(bio) == 1 ? static_cast<int>(Send(bio, {data, static_cast<size_t>(length)})) : -1;
}

int SocketRead(BIO* bio, char* data, int length)
{
    BIO_clear_retry_flags(bio);
    SocketState& state = StateOf(bio);
    if (!state.alreadyRead.empty()) {
        const size_t got = state.alreadyRead.copy(data, static_cast<size_t>(length));
        state.alreadyRead.erase(0, got);
        return static_cast<int>(got);
    }
    const ssize_t got = ::recv(state.fd, data, static_cast<size_t>(length), 0);
    if (got == 0) {
        BIO_set_flags(bio, BIO_FLAGS_IN_EOF);
    } else if (got < 0 && MayRetry(errno)) {
        BIO_set_retry_read(bio);
    }
    return static_cast<int>(got);
}

long SocketControl(BIO* bio, int command, long, void*)
{
    switch (command) {
        case BIO_CTRL_FLUSH:
            BIO_clear_retry_flags(bio);
            return Flush(bio);
        case BIO_CTRL_EOF:
            return BIO_test_flags(bio, BIO_FLAGS_IN_EOF) != 0 ? 1 : 0;
        default:
            return 0;
    }
}

int Destroy(BIO* bio)
{
    const std::unique_ptr<SocketState> owned(static_cast<SocketState*>(BIO_get_data(bio)));
    BIO_set_data(bio, nullptr);
    return 1;
}

struct MethodDeleter {
    void operator()(BIO_METHOD* method) const noexcept { BIO_meth_free(method); }
};

const BIO_METHOD* SocketMethod()
{
    static const std::unique_ptr<BIO_METHOD, MethodDeleter> method = [] {
        std::unique_ptr<BIO_METHOD, MethodDeleter> made(
            BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "soft bus socket"));
        if (made) {
            BIO_meth_set_write(made.get(), SocketWrite);
            BIO_meth_set_read(made.get(), SocketRead);
            BIO_meth_set_ctrl(made.get(), SocketControl);
            BIO_meth_set_destroy(made.get(), Destroy);
        }
        return made;
    }();
    return method.get();
}

bool Attach(SSL* ssl, SocketState state)
{
    const BIO_METHOD* method = SocketMethod();
    BIO* bio = method != nullptr ? BIO_new(method) : nullptr;
    if (bio == nullptr) {
        return false;
    }
    BIO_set_data(bio, std::make_unique<SocketState>(std::move(state)).release());
    BIO_set_init(bio, 1);
    SSL_set_bio(ssl, bio, bio);
    return true;
}

}  // namespace

bool AttachSocket(SSL* ssl, int fd, std::string alreadyRead, size_t maxWriteBytes)
{
    return Attach(ssl, {fd, maxWriteBytes, std::move(alreadyRead), nullptr, {}});
}

bool AttachSocket(SSL* ssl, int fd, FirstFlightPrefix prefix, size_t maxWriteBytes)
{
    return Attach(ssl, {fd, maxWriteBytes, {}, std::move(prefix), {}});
}

}  // namespace Vexo::SoftBus
