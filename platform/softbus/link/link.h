// Link: one authenticated TLS connection that carries frames.
// - The link of a client waits for the server's challenge. With its first message it proves that it has the account's
//   link key (trust/preamble.h). The link of a server starts after that proof has been checked (admission.h).
// - A link does the TLS handshake and checks the peer's certificate. It passes each received frame to its owner
//   (LinkOwner), and sends queued frames.
// Send may be called on any thread: outside of the reactor thread it writes the frame itself if it can. All other
// functions are called on the reactor thread, and the owner's functions too. A link keeps itself and its owner alive
// while the connection exists. Frames: frame.h. Owners: sessions.h, greeting.h.
#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"
#include "platform/softbus/link/frame.h"
#include "platform/softbus/link/send_queue.h"
#include "platform/trust/preamble.h"
#include "platform/trust/tls_context.h"

namespace Vexo::SoftBus {

// The time limit for the handshake and the first received frame together.
inline constexpr std::chrono::milliseconds HANDSHAKE_LIMIT{5000};
// The time limit for sending the queued frames when a link is closed.
inline constexpr std::chrono::milliseconds CLOSE_LIMIT{1000};

enum class LinkEnd {
    CLOSED,     // the peer closed the link
    BROKEN,     // the connection was lost
    REFUSED,    // TLS failed, a certificate was not accepted, or a frame was invalid
    TIMED_OUT,  // the handshake or the first frame took too long
};

class Link;

// Applies the account's state to links: it refuses devices that were removed from the account, and handles the frames
// about the account. StateExchange (account/state_exchange.h) implements it. Called on the reactor thread.
class LinkGuard {
public:
    virtual ~LinkGuard() = default;
    // Returns the payload of a REMOVED frame if the account has removed the device with that network id. Otherwise
    // returns an empty string.
    virtual std::string RemovalOf(const std::string& networkId) = 0;
    // Handles a received REMOVED frame. Returns the reason why the link ends, as text for a person.
    virtual std::string OnRemoved(const std::string& payload) = 0;
    // Handles a received STATE, CERTIFICATE or ACCOUNT_KEY frame asynchronously, and then calls link->StateHandled().
    // Sends KEY_STORED after an ACCOUNT_KEY was stored.
    virtual void OnAccountFrame(const std::shared_ptr<Link>& link, FrameKind kind, std::string payload) = 0;
};

class LinkOwner {
public:
    virtual ~LinkOwner() = default;
    // Called before the first OnFrame, when the handshake is done and the peer's certificate is verified.
    virtual void OnReady() {}
    // Called for each received frame, except CLOSE and the frames that the LinkGuard handles.
    virtual void OnFrame(FrameKind kind, std::string payload) = 0;
    // Called when the LinkGuard has finished asynchronous work for this link, such as the adoption of a STATE.
    virtual void OnStateHandled() {}
    // Called when the link has ended. No function of the owner is called after OnEnded. Not called after Close or
    // Abort.
    virtual void OnEnded(LinkEnd end, const std::string& why) = 0;
};

class Link : public std::enable_shared_from_this<Link>, public NoCopyable {
public:
    enum class Role { CLIENT, SERVER };

    // The settings that all links of a device share.
    struct Setup {
        std::shared_ptr<Trust::TlsContext> tls;
        std::shared_ptr<const Trust::Preamble> preamble;
        size_t maxQueuedBytes = 0;
        LinkGuard* guard = nullptr;  // must outlive the links; null: the account's state is not used
    };

    // Create the link of a client and the link of a server. Both return null if memory is short.
    // - peerNetworkId: the network id that the server must have. Empty: any.
    // - firstMessage: the TLS message that the client sent after its proof.
    // - key: the key with which the client will make its proof (MakeClient) or has made it (MakeServer).
    static std::shared_ptr<Link> MakeClient(asio::io_context& reactor, Stream stream, const Setup& setup,
                                            const std::string& peerNetworkId,
                                            Trust::ProvenKey key = Trust::ProvenKey::CURRENT);
    static std::shared_ptr<Link> MakeServer(asio::io_context& reactor, Stream stream, const Setup& setup,
                                            const std::string& firstMessage, Trust::ProvenKey key);
    ~Link();

    // Starts the handshake. The owner is not called before Start has returned. If Established is not called within
    // HANDSHAKE_LIMIT, the link ends with TIMED_OUT.
    void Start(std::shared_ptr<LinkOwner> owner);
    void SetOwner(std::shared_ptr<LinkOwner> owner) { owner_ = std::move(owner); }
    // Calls OnStateHandled of the owner, unless the link has ended.
    void StateHandled();
    // Call when the first frame was accepted. From now on HANDSHAKE_LIMIT does not apply.
    void Established();

    // Writes a frame to the socket, or queues the frame if the socket is full, another thread uses the connection, the
    // handshake is not done or the caller runs on the reactor thread. Thread-safe; does not wait for the socket. The
    // result is the one of SendQueue::Push.
    SendQueue::Pushed Send(FrameKind kind, const void* payload, size_t bytes);
    SendQueue::Pushed Send(FrameKind kind, const std::string& payload = {})
    {
        return Send(kind, payload.data(), payload.size());
    }

    // While reading is paused, the owner gets no frame, and the link does not notice that the connection has ended.
    void PauseReading() { paused_ = true; }
    void ResumeReading();
    bool ReadingPaused() const { return paused_; }

    // Sends the queued frames and CLOSE, and then ends the link. This takes at most CLOSE_LIMIT. Releases the owner at
    // once, without a call of OnEnded. Before the handshake is done, Close does what Abort does.
    void Close();
    // Ends the link at once. Queued frames are lost. Releases the owner without a call of OnEnded.
    void Abort();
    // Call when a received frame is invalid. Logs the reason, ends the link and calls OnEnded of the owner with
    // REFUSED.
    void Refuse(const std::string& why);

    // Returns 32 secret bytes that depend on the label and on this TLS connection (RFC 8446, 7.5). Only the two ends of
    // the connection can compute them. Call after OnReady.
    [[nodiscard]] Result<Trust::SecretBytes> ExportSecret(std::string_view label) const;

    Role GetRole() const { return role_; }
    Trust::ProvenKey Key() const { return key_; }
    // Returns the certificate that the other side sent. Returns null if there is none. The certificate is valid until
    // the link ends.
    X509* PeerCertificate() const;
    // Returns true if the account's link keys have changed since the link was created.
    bool IsOfEarlierKeys(const Setup& setup) const { return preamble_ != setup.preamble; }
    // Returns true if the server closed the connection without an answer to this client's proof.
    bool WasProofRefused() const { return wasProofRefused_; }
    const std::string& PeerNetworkId() const { return peerNetworkId_; }  // verified; empty before OnReady
    SteadyTime LastReceived() const { return lastReceived_; }
    SteadyTime LastSent() const { return lastSent_; }
    bool SendQueueEmpty() const { return queue_.Empty(); }

private:
    enum class State { PREAMBLE, HANDSHAKE, READY, CLOSING, LINGERING, ENDED };

    // Why a call of OpenSSL did not succeed.
    struct TlsFailure {
        int sslError = 0;     // SSL_get_error(3)
        int systemError = 0;  // errno
    };
    enum class Progress {
        ALL_WRITTEN,  // the queue is empty
        MORE_QUEUED,
        FAILED,
    };

    static constexpr size_t RECORD_BYTES = 16 * 1024;  // the most that one TLS record carries (RFC 8446, 5.1)
    // How many TLS records a link may read before other links get their turn.
    static constexpr int RECORDS_PER_TURN = 16;

    // Returns the text for an errno value. The value 0 means that the stream has ended.
    static std::string SystemError(int error);

    Link(asio::io_context& reactor, Stream stream, Role role, const Setup& setup, Trust::SslPtr ssl,
         Trust::ProvenKey key);

    void ReadChallenge();
    void Handshake();
    void HandshakeDone();
    void WaitReadable();
    void WaitWritable();
    void OnReadable();
    bool MustWait(int sslError);
    void ReadSome();
    void ReadLater();
    bool DecodeUnread();
    bool Decode(std::string_view input);
    bool OnAccountFrame(Frame& frame, bool isFirst);
    bool RefuseRemoved();
    void ReadFailed(const TlsFailure& failure);
    bool WriteNow();
    void WriteSome();
    Progress WriteChunks(int most, TlsFailure& failure) REQUIRES(tlsMutex_);
    TlsFailure FailureOf(int result) const REQUIRES(tlsMutex_);
    void ShutDownTls();
    void StartLinger();
    void Discard();
    void EndByTls(const TlsFailure& failure);
    void End(LinkEnd end, const std::string& why);
    void ReleaseTls();
    void Release();
    void SetDeadline(std::chrono::milliseconds limit);

    asio::io_context& reactor_;
    const Role role_;
    const Trust::ProvenKey key_;
    SendQueue queue_;
    const std::shared_ptr<Trust::TlsContext> tls_;
    const std::shared_ptr<const Trust::Preamble> preamble_;
    LinkGuard* const guard_;

    // The members from here to lastReceived_ are used on the reactor thread only.
    std::shared_ptr<void> use_;  // Stream::use; declared before socket_, so released after socket_
    asio::posix::stream_descriptor socket_;
    const size_t maxWriteBytes_;
    asio::steady_timer deadline_;
    std::shared_ptr<LinkOwner> owner_;
    State state_;
    std::string challenge_;
    bool paused_ = false;
    bool waitsReadable_ = false;
    bool waitsWritable_ = false;
    bool firstFrameSeen_ = false;
    bool wasProofRefused_ = false;
    std::set<FrameKind> accountFrames_;  // the kinds of account frames that were received so far
    std::string peerNetworkId_;
    FrameDecoder decoder_;
    std::string unread_;  // decrypted bytes that are not decoded yet because reading was paused
    SteadyTime lastReceived_;

    // OpenSSL does not allow two threads to use one connection at the same time. The mutex is held only during calls
    // that do not block, and no function of the owner is called while it is held.
    mutable Mutex tlsMutex_;
    Trust::SslPtr ssl_ GUARDED_BY(tlsMutex_);            // null after the link has ended
    bool isReadyToWrite_ GUARDED_BY(tlsMutex_) = false;  // the handshake is done, and the link has not ended
    std::string writing_ GUARDED_BY(tlsMutex_);          // the bytes that were taken from the queue
    size_t written_ GUARDED_BY(tlsMutex_) = 0;           // how many bytes of writing_ are written
    std::atomic<SteadyTime> lastSent_;
};

}  // namespace Vexo::SoftBus
