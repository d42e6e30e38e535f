// The ways in which a link ends: by Close, by Abort, by the peer, or by an error.
#include <openssl/err.h>
#include <sys/socket.h>

#include <array>
#include <asio/post.hpp>
#include <cerrno>
#include <cstring>

#include "platform/base/text.h"
#include "platform/dfx/trace.h"
#include "platform/softbus/link/link.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

std::string Link::SystemError(int error)
{
    return error == 0 ? "the peer went away" : std::strerror(error);
}

void Link::Close()
{
    if (state_ == State::PREAMBLE || state_ == State::HANDSHAKE) {
        Abort();
        return;
    }
    if (state_ != State::READY) {
        return;
    }
    state_ = State::CLOSING;
    owner_.reset();
    SetDeadline(CLOSE_LIMIT);
    queue_.PushLast(FrameKind::CLOSE);
    asio::post(reactor_, [self = shared_from_this()] {
        self->WriteSome();
        // Continue to read while the last bytes are written, so that a peer that is still sending is not blocked.
        self->WaitReadable();
    });
}

// Call when all queued frames were written to the socket. Sends close_notify, after which nothing may be sent.
void Link::ShutDownTls()
{
    MutexLock lock(tlsMutex_);
    ERR_clear_error();
    const int result = SSL_shutdown(ssl_.get());
    const TlsFailure failure = FailureOf(result);
    lock.Unlock();
    if (result < 0 && failure.sslError == SSL_ERROR_WANT_WRITE) {
        WaitWritable();
        return;
    }
    StartLinger();
}

// Shuts down sending, and then reads until the peer has closed its side too. If this side closed the socket with unread
// bytes in it, the kernel would reset the connection, and the peer would lose bytes that the peer has not read yet.
void Link::StartLinger()
{
    state_ = State::LINGERING;
    ::shutdown(socket_.native_handle(), SHUT_WR);
    Discard();
}

void Link::Discard()
{
    std::array<char, RECORD_BYTES> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): the kernel fills it
    for (int record = 0; record < RECORDS_PER_TURN; ++record) {
        const ssize_t got = ::recv(socket_.native_handle(), buffer.data(), buffer.size(), 0);
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
            break;
        }
        if (got <= 0) {
            // In the state CLOSING, the peer may have shut down only its sending side. Queued frames must still be
            // sent.
            if (got < 0 || state_ == State::LINGERING) {
                Release();
            }
            return;
        }
    }
    WaitReadable();
}

void Link::Abort()
{
    owner_.reset();
    Release();
}

void Link::EndByTls(const TlsFailure& failure)
{
    MutexLock lock(tlsMutex_);
    const bool hasSentHelloOnly = role_ == Role::CLIENT && SSL_get_state(ssl_.get()) == TLS_ST_CW_CLNT_HELLO;
    const bool isCut = ERR_GET_REASON(ERR_peek_error()) == SSL_R_UNEXPECTED_EOF_WHILE_READING;
    const std::string description = tls_->DescribeFailure(ssl_.get());  // empties OpenSSL's queue of errors
    lock.Unlock();
    if (failure.sslError == SSL_ERROR_ZERO_RETURN) {
        End(LinkEnd::CLOSED, "closed by the peer");
    } else if (state_ == State::HANDSHAKE && hasSentHelloOnly) {
        wasProofRefused_ = true;
        End(LinkEnd::REFUSED,
            "it closed the connection instead of answering this device's proof: it belongs to another account, was "
            "enrolled again, is stopping or has no room");
    } else if (failure.sslError != SSL_ERROR_SSL) {
        End(LinkEnd::BROKEN, SystemError(failure.systemError));
    } else if (isCut) {
        End(LinkEnd::BROKEN, SystemError(0));
    } else {
        // In TLS 1.3 a client learns only after its handshake that the server did not accept its certificate. So an
        // error before the first received frame counts as a refusal.
        End(firstFrameSeen_ ? LinkEnd::BROKEN : LinkEnd::REFUSED, description);
    }
}

void Link::Refuse(const std::string& why)
{
    QuviewDFX::LogWarn(LOG_SOFTBUS, "link with %{public}s ended: %{public}s", ShortId(peerNetworkId_), why);
    End(LinkEnd::REFUSED, why);
}

void Link::End(LinkEnd end, const std::string& why)
{
    const std::shared_ptr<LinkOwner> owner = std::move(owner_);
    owner_.reset();
    if (end == LinkEnd::REFUSED && state_ != State::ENDED) {
        // OpenSSL may have sent a TLS alert with the reason. Keep the connection open until the peer has closed its
        // side, so that the peer receives the alert.
        queue_.Close();
        ReleaseTls();
        SetDeadline(CLOSE_LIMIT);
        StartLinger();
    } else {
        Release();
    }
    if (owner) {
        owner->OnEnded(end, why);
    }
}

void Link::Release()
{
    if (state_ == State::ENDED) {
        return;
    }
    FinishAsyncTrace(TRACE_TAG_PLATFORM, SpanName::HANDSHAKE, socket_.native_handle());
    state_ = State::ENDED;
    queue_.Close();
    Established();
    ReleaseTls();  // before the socket is closed, so that no thread writes to the closed descriptor
    asio::error_code ignored;
    socket_.close(ignored);
    use_.reset();
    unread_ = {};
}

void Link::ReleaseTls()
{
    const MutexLock lock(tlsMutex_);
    isReadyToWrite_ = false;
    ssl_.reset();
    writing_ = {};
    written_ = 0;
}

}  // namespace Vexo::SoftBus
