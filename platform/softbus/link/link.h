// Link: one authenticated TLS connection that carries frames. A client's waits for the server's challenge and proves
// with its first message that it is of the account (trust/preamble.h); a server's begins where that proof has been
// checked (admission.h). It does the handshake, checks the peer, cuts what arrives into frames for its owner, writes
// what is queued, and ends as LinkEnd says. Send may be called from any thread; everything else on the reactor
// thread, where the owner is called too. A link keeps itself and its owner alive while the connection lives. What the
// frames are: frame.h; who owns links: sessions.h, greeting.h.
#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"
#include "platform/softbus/link/frame.h"
#include "platform/softbus/link/send_queue.h"
#include "platform/trust/preamble.h"
#include "platform/trust/tls_context.h"

namespace Vexo::SoftBus {

// Limit for the handshake and for the first frame after it.
inline constexpr std::chrono::milliseconds HANDSHAKE_LIMIT{5000};
// How long a link that closes may take to deliver what was accepted before.
inline constexpr std::chrono::milliseconds CLOSE_LIMIT{1000};

enum class LinkEnd {
    CLOSED,     // the peer said that it closes
    BROKEN,     // the connection broke, or the peer went away without a word
    REFUSED,    // TLS failed, the certificate is not good, or a frame breaks the rules
    TIMED_OUT,  // the handshake or the first frame took too long
};

class Link;

// What the account's state says about links, and the frames that carry it (account/state_exchange.h). Called on the
// reactor thread.
class LinkGuard {
public:
    virtual ~LinkGuard() = default;
    // The payload of REMOVED for a device that the account removed; empty for any other.
    virtual std::string RemovalOf(const std::string& networkId) = 0;
    // Handles a REMOVED. Returns why the link ends.
    virtual std::string OnRemoved(const std::string& payload) = 0;
    // Handles a STATE, and calls StateHandled later; a CERTIFICATE; or an ACCOUNT_KEY, and answers it later.
    virtual void OnAccountFrame(const std::shared_ptr<Link>& link, FrameKind kind, std::string payload) = 0;
};

class LinkOwner {
public:
    virtual ~LinkOwner() = default;
    // The handshake is done and the peer is verified. Bytes of the peer may be used from now on.
    virtual void OnReady() {}
    // One frame; CLOSE is handled by the link and does not come here.
    virtual void OnFrame(FrameKind kind, std::string payload) = 0;
    // A state that came on this link has been adopted or refused.
    virtual void OnStateHandled() {}
    // Once, as the last call; not after Close or Abort.
    virtual void OnEnded(LinkEnd end, const std::string& why) = 0;
};

class Link : public std::enable_shared_from_this<Link>, public NoCopyable {
public:
    enum class Role { CLIENT, SERVER };

    // What all links of a device have in common.
    struct Setup {
        std::shared_ptr<Trust::TlsContext> tls;
        std::shared_ptr<const Trust::Preamble> preamble;
        size_t maxQueuedBytes = 0;
        LinkGuard* guard = nullptr;  // outlives the links; null: no state of the account is known
    };

    // Both return null when memory is short. peerNetworkId: the device that must answer; empty: any. firstMessage: the
    // bytes that the client sent after its proof. key: what the client proves with, or has proved.
    static std::shared_ptr<Link> MakeClient(asio::io_context& reactor, Stream stream, const Setup& setup,
                                            const std::string& peerNetworkId,
                                            Trust::ProvenKey key = Trust::ProvenKey::CURRENT);
    static std::shared_ptr<Link> MakeServer(asio::io_context& reactor, Stream stream, const Setup& setup,
                                            const std::string& firstMessage, Trust::ProvenKey key);
    ~Link();

    // Starts the handshake; the owner hears nothing before this returns. HANDSHAKE_LIMIT runs until Established.
    void Start(std::shared_ptr<LinkOwner> owner);
    void SetOwner(std::shared_ptr<LinkOwner> owner) { owner_ = std::move(owner); }
    // Tells the owner, if the link has not ended.
    void StateHandled();
    // The first frame has been accepted: the limit no longer runs.
    void Established();

    // Queues a frame. Any thread.
    SendQueue::Pushed Send(FrameKind kind, const void* payload, size_t bytes);
    SendQueue::Pushed Send(FrameKind kind, const std::string& payload = {})
    {
        return Send(kind, payload.data(), payload.size());
    }

    // While paused no frame comes, and the end of the connection is not noticed.
    void PauseReading() { paused_ = true; }
    void ResumeReading();
    bool ReadingPaused() const { return paused_; }

    // Delivers what was queued, says CLOSE and ends, within CLOSE_LIMIT. The owner is let go at once.
    void Close();
    // Ends now; what was queued is lost.
    void Abort();
    // The owner found a frame that breaks the rules: logs one line and ends, telling the owner.
    void Refuse(const std::string& why);

    // 32 secret bytes that both ends of this TLS connection have, and nobody else, under that label (RFC 8446, 7.5).
    // Once ready.
    [[nodiscard]] Result<Trust::SecretBytes> ExportSecret(std::string_view label) const;

    Role GetRole() const { return role_; }
    Trust::ProvenKey Key() const { return key_; }
    // What the other side showed, or null; lives as long as the link is not ended.
    X509* PeerCertificate() const { return ssl_ ? SSL_get0_peer_certificate(ssl_.get()) : nullptr; }
    // Whether the link keys have changed since the link began.
    bool IsOfEarlierKeys(const Setup& setup) const { return preamble_ != setup.preamble; }
    // The proof was sent, and the server closed without answering it.
    bool WasProofRefused() const { return wasProofRefused_; }
    const std::string& PeerNetworkId() const { return peerNetworkId_; }  // verified, once ready
    SteadyTime LastReceived() const { return lastReceived_; }
    SteadyTime LastSent() const { return lastSent_; }
    bool SendQueueEmpty() const { return queue_.Empty(); }

private:
    enum class State { PREAMBLE, HANDSHAKE, READY, CLOSING, LINGERING, ENDED };

    static constexpr size_t RECORD_BYTES = 16 * 1024;  // the most that one TLS record carries (RFC 8446, 5.1)
    // What one link may read before the others get their turn.
    static constexpr int RECORDS_PER_TURN = 16;

    // The text for an errno value; 0: the stream ended.
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
    void ReadFailed(int result);
    void WriteSome();
    bool WriteChunk();
    void ShutDownTls();
    void StartLinger();
    void Discard();
    void EndByTls(int sslError, int systemError);
    void End(LinkEnd end, const std::string& why);
    void Release();
    void SetDeadline(std::chrono::milliseconds limit);

    asio::io_context& reactor_;
    const Role role_;
    const Trust::ProvenKey key_;
    SendQueue queue_;
    const std::shared_ptr<Trust::TlsContext> tls_;
    const std::shared_ptr<const Trust::Preamble> preamble_;
    LinkGuard* const guard_;

    // Used on the reactor thread only.
    std::shared_ptr<void> use_;  // before socket_, which is closed first
    asio::posix::stream_descriptor socket_;
    const size_t maxWriteBytes_;
    asio::steady_timer deadline_;
    Trust::SslPtr ssl_;
    std::shared_ptr<LinkOwner> owner_;
    State state_;
    std::string challenge_;
    bool paused_ = false;
    bool waitsReadable_ = false;
    bool waitsWritable_ = false;
    bool firstFrameSeen_ = false;
    bool wasProofRefused_ = false;
    std::set<FrameKind> accountFrames_;  // that came
    std::string peerNetworkId_;
    FrameDecoder decoder_;
    std::string unread_;   // decrypted but not decoded: it arrived before a pause
    std::string writing_;  // taken from the queue
    size_t written_ = 0;   // of writing_
    SteadyTime lastReceived_;
    SteadyTime lastSent_;
};

}  // namespace Vexo::SoftBus
