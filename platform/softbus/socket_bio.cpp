#include "platform/softbus/socket_bio.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <memory>

namespace Vexo::SoftBus {

namespace {

// The descriptor rides in the BIO's data pointer: there is nothing else to keep, so nothing to allocate.
int FdOf(BIO* bio)
{
    return static_cast<int>(reinterpret_cast<intptr_t>(BIO_get_data(bio)));
}

bool MayRetry(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

int SocketWrite(BIO* bio, const char* data, int length)
{
    BIO_clear_retry_flags(bio);
    const ssize_t sent = ::send(FdOf(bio), data, static_cast<size_t>(length), MSG_NOSIGNAL);
    if (sent < 0 && MayRetry(errno)) {
        BIO_set_retry_write(bio);
    }
    return static_cast<int>(sent);
}

int SocketRead(BIO* bio, char* data, int length)
{
    BIO_clear_retry_flags(bio);
    const ssize_t got = ::recv(FdOf(bio), data, static_cast<size_t>(length), 0);
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
            return 1;
        case BIO_CTRL_EOF:
            return BIO_test_flags(bio, BIO_FLAGS_IN_EOF) != 0 ? 1 : 0;
        default:
            return 0;
    }
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
        }
        return made;
    }();
    return method.get();
}

}  // namespace

bool AttachSocket(SSL* ssl, int fd)
{
    const BIO_METHOD* method = SocketMethod();
    BIO* bio = method != nullptr ? BIO_new(method) : nullptr;
    if (bio == nullptr) {
        return false;
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): it is only ever turned back into the number
    BIO_set_data(bio, reinterpret_cast<void*>(static_cast<intptr_t>(fd)));
    BIO_set_init(bio, 1);
    SSL_set_bio(ssl, bio, bio);
    return true;
}

}  // namespace Vexo::SoftBus
