#include "platform/softbus/link/link.h"

#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <cerrno>
#include <limits>
#include <utility>

#include "platform/dfx/guard.h"
#include "platform/dfx/trace.h"
#include "platform/softbus/link/socket_bio.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

// Returns true if the LinkGuard handles frames of this kind. Otherwise the owner of the link handles them.
bool IsAccountFrame(FrameKind kind)
{
    return kind == FrameKind::STATE || kind == FrameKind::REMOVED || kind == FrameKind::CERTIFICATE ||
           kind == FrameKind::ACCOUNT_KEY;
}

}  // namespace

std::shared_ptr<Link> Link::MakeClient(asio::io_context& reactor, Stream stream, const Setup& setup,
                                       const std::string& peerNetworkId, Trust::ProvenKey key)
{
    Trust::SslPtr ssl = setup.tls->NewClient(peerNetworkId);
    if (!ssl) {
        return nullptr;
    }
    return std::shared_ptr<Link>(new Link(reactor, std::move(stream), Role::CLIENT, setup, std::move(ssl), key));
}

std::shared_ptr<Link> Link::MakeServer(asio::io_context& reactor, Stream stream, const Setup& setup,
                                       const std::string& firstMessage, Trust::ProvenKey key)
{
    Trust::SslPtr ssl = setup.tls->NewServer();
    if (!ssl || !AttachSocket(ssl.get(), stream.socket.Get(), firstMessage, stream.maxWriteBytes)) {
        return nullptr;
    }
    return std::shared_ptr<Link>(new Link(reactor, std::move(stream), Role::SERVER, setup, std::move(ssl), key));
}

Link::Link(asio::io_context& reactor, Stream stream, Role role, const Setup& setup, Trust::SslPtr ssl,
           Trust::ProvenKey key)
    : reactor_(reactor),
      role_(role),
      key_(key),
      queue_(setup.maxQueuedBytes),
      tls_(setup.tls),
      preamble_(setup.preamble),
      guard_(setup.guard),
      use_(std::move(stream.use)),
      socket_(reactor, stream.socket.Release()),
      maxWriteBytes_(stream.maxWriteBytes),
      deadline_(reactor),
      state_(role == Role::CLIENT ? State::PREAMBLE : State::HANDSHAKE),
      lastReceived_(Clock::System().Now()),
      ssl_(std::move(ssl)),
      lastSent_(lastReceived_)
{
    SSL_set_mode(ssl_.get(),
                 SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    // Makes OpenSSL read the header and the body of a TLS record with one system call.
    SSL_set_read_ahead(ssl_.get(), 1);
}

Link::~Link() = default;

void Link::Start(std::shared_ptr<LinkOwner> owner)
{
    owner_ = std::move(owner);
    SetDeadline(HANDSHAKE_LIMIT);
    StartAsyncTrace(TRACE_TAG_PLATFORM, SpanName::HANDSHAKE, socket_.native_handle());
    asio::post(reactor_, [self = shared_from_this()] { self->OnReadable(); });
}

void Link::Established()
{
    // Stops the timer even if its handler is already queued, because the handler compares the expiry time with the
    // current time. cancel() would not stop a queued handler.
    deadline_.expires_at(SteadyTime::max());
}

void Link::SetDeadline(std::chrono::milliseconds limit)
{
    deadline_.expires_after(limit);
    deadline_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (error || self->deadline_.expiry() > Clock::System().Now()) {
            return;
        }
        if (self->state_ == State::PREAMBLE || self->state_ == State::HANDSHAKE || self->state_ == State::READY) {
            self->End(LinkEnd::TIMED_OUT, "no handshake and first frame within the limit");
        } else {
            self->Release();
        }
    });
}

// --- waiting for the socket ---

void Link::WaitReadable()
{
    if (waitsReadable_ || state_ == State::ENDED) {
        return;
    }
    waitsReadable_ = true;
    socket_.async_wait(asio::posix::descriptor_base::wait_read,
                       [self = shared_from_this()](const asio::error_code& error) {
                           self->waitsReadable_ = false;
                           const auto read = [&self] { self->OnReadable(); };
                           if (!error && !QuviewDFX::RunGuarded(LOG_SOFTBUS, "reading a link", read)) {
                               self->End(LinkEnd::BROKEN, "an internal error of this device");
                           }
                       });
}

void Link::WaitWritable()
{
    if (waitsWritable_ || state_ == State::ENDED) {
        return;
    }
    waitsWritable_ = true;
    socket_.async_wait(asio::posix::descriptor_base::wait_write,
                       [self = shared_from_this()](const asio::error_code& error) {
                           self->waitsWritable_ = false;
                           if (error) {
                               return;
                           }
                           if (self->state_ == State::HANDSHAKE) {
                               self->Handshake();
                           } else {
                               self->WriteSome();
                           }
                       });
}

void Link::OnReadable()
{
    switch (state_) {
        case State::PREAMBLE:
            ReadChallenge();
            break;
        case State::HANDSHAKE:
            Handshake();
            break;
        case State::READY:
            ReadSome();
            break;
        case State::CLOSING:
        case State::LINGERING:
            Discard();
            break;
        case State::ENDED:
            break;
    }
}

// Returns true if OpenSSL only has to wait for the socket. The caller then repeats its OpenSSL call when the socket is
// ready.
bool Link::MustWait(int sslError)
{
    if (sslError == SSL_ERROR_WANT_READ) {
        WaitReadable();
    } else if (sslError == SSL_ERROR_WANT_WRITE) {
        WaitWritable();
    } else {
        return false;
    }
    return true;
}

// --- preamble and handshake ---

void Link::ReadChallenge()
{
    std::array<char, Trust::CHALLENGE_BYTES> buffer{};
    const ssize_t got = ::recv(socket_.native_handle(), buffer.data(), Trust::CHALLENGE_BYTES - challenge_.size(), 0);
    if (got <= 0 && !(got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))) {
        End(LinkEnd::BROKEN, SystemError(got == 0 ? 0 : errno));
        return;
    }
    challenge_.append(buffer.data(), static_cast<size_t>(std::max<ssize_t>(got, 0)));
    if (challenge_.size() < Trust::CHALLENGE_BYTES) {
        WaitReadable();
        return;
    }
    const auto prefix = [preamble = preamble_, challenge = challenge_, key = key_](std::string_view flight) {
        return key == Trust::ProvenKey::PREVIOUS ? preamble->ProveWithPrevious(challenge, flight)
                                                 : preamble->Prove(challenge, flight);
    };
    const bool isAttached = [&] {
        const MutexLock lock(tlsMutex_);
        return AttachSocket(ssl_.get(), socket_.native_handle(), prefix, maxWriteBytes_);
    }();
    if (!isAttached) {
        End(LinkEnd::BROKEN, "not enough memory");
        return;
    }
    state_ = State::HANDSHAKE;
    Handshake();
}

void Link::Handshake()
{
    if (state_ != State::HANDSHAKE) {
        return;
    }
    MutexLock lock(tlsMutex_);
    ERR_clear_error();
    errno = 0;
    const int result = role_ == Role::CLIENT ? SSL_connect(ssl_.get()) : SSL_accept(ssl_.get());
    TlsFailure failure = FailureOf(result);
    if (failure.sslError == SSL_ERROR_SYSCALL && BIO_should_write(SSL_get_rbio(ssl_.get())) != 0) {
        // OpenSSL sends the first flight of the handshake by a flush. If that flush must be repeated, OpenSSL 3.0
        // reports SSL_ERROR_SYSCALL instead of SSL_ERROR_WANT_WRITE.
        failure.sslError = SSL_ERROR_WANT_WRITE;
    }
    lock.Unlock();
    if (result == 1) {
        HandshakeDone();
    } else if (!MustWait(failure.sslError)) {
        EndByTls(failure);
    }
}

void Link::HandshakeDone()
{
    Result<std::string> peer = [this] {
        const MutexLock lock(tlsMutex_);
        Result<std::string> verified = tls_->VerifiedPeer(ssl_.get());
        isReadyToWrite_ = verified.has_value();
        return verified;
    }();
    if (!peer) {
        End(LinkEnd::REFUSED, peer.error().message);
        return;
    }
    FinishAsyncTrace(TRACE_TAG_PLATFORM, SpanName::HANDSHAKE, socket_.native_handle());
    peerNetworkId_ = std::move(peer.value());
    state_ = State::READY;
    lastReceived_ = Clock::System().Now();
    lastSent_ = lastReceived_;
    if (RefuseRemoved()) {
        return;
    }
    {
        const MutexLock lock(tlsMutex_);
        tls_->RememberPeer(ssl_.get(), peerNetworkId_);
    }
    const std::shared_ptr<LinkOwner> owner = owner_;
    owner->OnReady();
    if (state_ == State::READY || state_ == State::CLOSING) {
        WriteSome();
    }
    if (state_ == State::READY) {
        ReadSome();
    }
}

Result<Trust::SecretBytes> Link::ExportSecret(std::string_view label) const
{
    Trust::SecretBytes secret{};
    const MutexLock lock(tlsMutex_);
    if (!ssl_ || SSL_export_keying_material(ssl_.get(), secret.data(), secret.size(), label.data(), label.size(),
                                            nullptr, 0, 0) != 1) {
        return Fail(ErrorCode::SYSTEM, "cannot derive a secret from the TLS connection");
    }
    return secret;
}

X509* Link::PeerCertificate() const
{
    const MutexLock lock(tlsMutex_);
    return ssl_ ? SSL_get0_peer_certificate(ssl_.get()) : nullptr;
}

// --- reading ---

void Link::ResumeReading()
{
    if (!paused_) {
        return;
    }
    paused_ = false;
    lastReceived_ = Clock::System().Now();
    ReadLater();
}

void Link::ReadLater()
{
    asio::post(reactor_, [self = shared_from_this()] {
        if (self->state_ == State::READY) {
            self->ReadSome();
        }
    });
}

void Link::ReadSome()
{
    std::array<char, RECORD_BYTES> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): OpenSSL fills it
    if (!DecodeUnread()) {
        return;
    }
    for (int record = 0; record < RECORDS_PER_TURN; ++record) {
        MutexLock lock(tlsMutex_);
        ERR_clear_error();
        errno = 0;
        const int got = SSL_read(ssl_.get(), buffer.data(), static_cast<int>(buffer.size()));
        const TlsFailure failure = FailureOf(got);
        lock.Unlock();
        if (got <= 0) {
            ReadFailed(failure);
            return;
        }
        lastReceived_ = Clock::System().Now();
        if (!Decode({buffer.data(), static_cast<size_t>(got)})) {
            return;
        }
    }
    ReadLater();
}

// Decodes the bytes in unread_. Returns false if the link is paused, closing or ended, and must not read more.
bool Link::DecodeUnread()
{
    if (paused_ || state_ != State::READY) {
        return false;
    }
    if (unread_.empty()) {
        return true;
    }
    const std::string input = std::move(unread_);
    unread_.clear();
    return Decode(input);
}

bool Link::Decode(std::string_view input)
{
    while (!input.empty()) {
        Frame frame;
        const FrameDecoder::Status status = decoder_.Next(input, frame);
        if (status == FrameDecoder::Status::MORE) {
            break;
        }
        if (status == FrameDecoder::Status::BROKEN) {
            Refuse(decoder_.Problem());
            return false;
        }
        const bool isFirst = !std::exchange(firstFrameSeen_, true);
        if (frame.kind == FrameKind::CLOSE) {
            End(LinkEnd::CLOSED, "closed by the peer");
            return false;
        }
        const bool isAccounts = IsAccountFrame(frame.kind);
        if (guard_ != nullptr && isAccounts) {
            if (!OnAccountFrame(frame, isFirst)) {
                return false;
            }
            continue;
        }
        const std::shared_ptr<LinkOwner> owner = owner_;
        owner->OnFrame(frame.kind, std::move(frame.payload));
        if (state_ != State::READY) {
            return false;
        }
        if (paused_) {
            unread_.assign(input);
            return false;
        }
    }
    return true;
}

// Handles a frame about the account, with the help of the LinkGuard. Returns false if the link has ended.
bool Link::OnAccountFrame(Frame& frame, bool isFirst)
{
    if (frame.kind == FrameKind::REMOVED) {
        End(LinkEnd::REFUSED, guard_->OnRemoved(frame.payload));
    } else if (isFirst) {
        Refuse("its first frame is not HELLO");
    } else if (!accountFrames_.insert(frame.kind).second) {
        Refuse("a second STATE, CERTIFICATE or ACCOUNT_KEY");
    } else {
        guard_->OnAccountFrame(shared_from_this(), frame.kind, std::move(frame.payload));
    }
    return state_ == State::READY;
}

void Link::StateHandled()
{
    const std::shared_ptr<LinkOwner> owner = owner_;
    if (state_ == State::READY && owner) {
        owner->OnStateHandled();
    }
}

// If the account has removed the peer, sends the peer only the REMOVED frame and closes the link. Returns true if the
// account has removed the peer.
bool Link::RefuseRemoved()
{
    const std::string removal = guard_ != nullptr ? guard_->RemovalOf(peerNetworkId_) : "";
    if (removal.empty()) {
        return false;
    }
    const std::shared_ptr<LinkOwner> owner = owner_;
    Send(FrameKind::REMOVED, removal);
    Close();
    owner->OnEnded(LinkEnd::REFUSED, "the account removed that device");
    return true;
}

// Says why an OpenSSL function failed. `result`: the value that it returned. Call before errno changes.
Link::TlsFailure Link::FailureOf(int result) const
{
    const int systemError = errno;
    return {SSL_get_error(ssl_.get(), result), systemError};
}

void Link::ReadFailed(const TlsFailure& failure)
{
    if (!MustWait(failure.sslError)) {
        EndByTls(failure);
    } else if (failure.sslError == SSL_ERROR_WANT_WRITE) {
        WaitReadable();
    }
}

// --- writing ---

SendQueue::Pushed Link::Send(FrameKind kind, const void* payload, size_t bytes)
{
    const SendQueue::Pushed pushed = queue_.Push(kind, payload, bytes);
    if (pushed == SendQueue::Pushed::QUEUED_WAKE && !WriteNow()) {
        asio::post(reactor_, [self = shared_from_this()] { self->WriteSome(); });
    }
    return pushed;
}

// Writes the queued frames on this thread. Returns false if the reactor thread must write them, or the rest of them.
bool Link::WriteNow()
{
    // A function that runs on the reactor thread often sends several frames. WriteSome writes them together.
    if (reactor_.get_executor().running_in_this_thread() || !tlsMutex_.try_lock()) {
        return false;
    }
    TlsFailure failure;
    const bool isDone = isReadyToWrite_ && WriteChunks(1, failure) == Progress::ALL_WRITTEN;
    tlsMutex_.unlock();
    return isDone;
}

void Link::WriteSome()
{
    if (state_ != State::READY && state_ != State::CLOSING) {
        return;
    }
    MutexLock lock(tlsMutex_);
    TlsFailure failure;
    const Progress progress = WriteChunks(std::numeric_limits<int>::max(), failure);
    lock.Unlock();
    if (progress == Progress::ALL_WRITTEN) {
        if (state_ == State::CLOSING) {
            ShutDownTls();
        }
    } else if (MustWait(failure.sslError)) {
        return;
    } else if (state_ == State::READY) {
        // Only stop sending. The link must still read the bytes that the peer sent before the connection broke, now or
        // when reading resumes. The read after these bytes detects the broken connection.
        queue_.Close();
        lock.Lock();
        writing_ = {};
        written_ = 0;
        lock.Unlock();
        ReadLater();
    } else {
        End(LinkEnd::BROKEN, SystemError(failure.systemError));
    }
}

// Writes chunks from the queue to the socket. most: the maximum number of chunks. failure: set if the result is FAILED.
Link::Progress Link::WriteChunks(int most, TlsFailure& failure)
{
    for (int chunks = 0;;) {
        if (written_ == writing_.size()) {
            written_ = 0;
            writing_ = {};
            if (!queue_.Take(writing_)) {
                return Progress::ALL_WRITTEN;
            }
            if (chunks++ == most) {
                return Progress::MORE_QUEUED;
            }
        }
        ERR_clear_error();
        errno = 0;
        const int sent =
            SSL_write(ssl_.get(), writing_.data() + written_, static_cast<int>(writing_.size() - written_));
        if (sent <= 0) {
            failure = FailureOf(sent);
            return Progress::FAILED;
        }
        written_ += static_cast<size_t>(sent);
        queue_.Sent(static_cast<size_t>(sent));
        lastSent_ = Clock::System().Now();
    }
}

}  // namespace Vexo::SoftBus
