// Link: one authenticated TLS connection that carries frames.
// - A client's link waits for the server's challenge, and proves with its first message that it belongs to the account
//   (trust/preamble.h). A server's link starts after that proof has been checked (admission.h).
// - A link does the handshake, checks the peer, splits received bytes into frames for its owner, and writes queued
//   frames.
// Send may be called on any thread, everything else on the reactor thread, on which the owner is called too. A link
// keeps itself and its owner alive while the connection exists. Frames: frame.h. Owners: sessions.h, greeting.h.
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

// The time limit for the handshake and the first frame together.
inline constexpr std::chrono::milliseconds HANDSHAKE_LIMIT{5000};
// The time limit for sending queued frames when a link is closed.
inline constexpr std::chrono::milliseconds CLOSE_LIMIT{1000};

enum class LinkEnd {
    CLOSED,     // the peer closed the link
    BROKEN,     // the connection was lost
    REFUSED,    // TLS failed, a certificate was not accepted, or a frame was invalid
    TIMED_OUT,  // the handshake or the first frame took too long
};

class Link;

// Applies the account's state to links: refuses removed devices, and handles the frames about the account.
// StateExchange (account/state_exchange.h) implements it. Called on the reactor thread.
class LinkGuard {
public:
    virtual ~LinkGuard() = default;
    // Returns the payload of REMOVED if the account removed that device, otherwise an empty string.
    virtual std::string RemovalOf(const std::string& networkId) = 0;
    // Handles a received REMOVED. Returns why the link ends, for a person.
    virtual std::string OnRemoved(const std::string& payload) = 0;
    // Handles a received STATE, CERTIFICATE or ACCOUNT_KEY asynchronously, and then calls link->StateHandled(). An
    // ACCOUNT_KEY that was stored is answered with KEY_STORED.
    virtual void OnAccountFrame(const std::shared_ptr<Link>& link, FrameKind kind, std::string payload) = 0;
};

class LinkOwner {
public:
    virtual ~LinkOwner() = default;
    // The handshake is done and the peer is verified. Called before the first OnFrame.
    virtual void OnReady() {}
    // Called for each received frame, except CLOSE and the frames that the LinkGuard handles.
    virtual void OnFrame(FrameKind kind, std::string payload) = 0;
    // The guard has finished asynchronous work for this link: a received STATE, for example, has been adopted or
    // refused.
    virtual void OnStateHandled() {}
    // The link has ended. Called at most once, as the last call; not called after Close or Abort.
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

    // Both return null if memory is short.
    // - peerNetworkId: the network id that the server must have; empty: any.
    // - firstMessage: the TLS message that the client sent after its proof.
    // - key: the key with which the client makes, or has made, its proof.
    static std::shared_ptr<Link> MakeClient(asio::io_context& reactor, Stream stream, const Setup& setup,
                                            const std::string& peerNetworkId,
                                            Trust::ProvenKey key = Trust::ProvenKey::CURRENT);
    static std::shared_ptr<Link> MakeServer(asio::io_context& reactor, Stream stream, const Setup& setup,
                                            const std::string& firstMessage, Trust::ProvenKey key);
    ~Link();

    // Starts the handshake. The owner is not called before Start has returned. The link ends with TIMED_OUT if
    // Established is not called within HANDSHAKE_LIMIT.
    void Start(std::shared_ptr<LinkOwner> owner);
    void SetOwner(std::shared_ptr<LinkOwner> owner) { owner_ = std::move(owner); }
    // Calls the owner's OnStateHandled, unless the link has ended.
    void StateHandled();
    // Call when the first frame was accepted: HANDSHAKE_LIMIT does not apply any more.
    void Established();

    // Queues a frame. Any thread; does not block.
    SendQueue::Pushed Send(FrameKind kind, const void* payload, size_t bytes);
    SendQueue::Pushed Send(FrameKind kind, const std::string& payload = {})
    {
        return Send(kind, payload.data(), payload.size());
    }

    // While reading is paused, the owner gets no frame, and the end of the connection is not noticed.
    void PauseReading() { paused_ = true; }
    void ResumeReading();
    bool ReadingPaused() const { return paused_; }

    // Sends the queued frames and CLOSE, and ends within CLOSE_LIMIT. Releases the owner at once, without calling it.
    void Close();
    // Ends at once; queued frames are lost. Releases the owner without calling it.
    void Abort();
    // Call when a frame is invalid: logs why, ends the link and calls the owner's OnEnded with REFUSED.
    void Refuse(const std::string& why);

    // Returns 32 secret bytes for that label, which only the two ends of this TLS connection can compute (RFC 8446,
    // 7.5). Call after OnReady.
    [[nodiscard]] Result<Trust::SecretBytes> ExportSecret(std::string_view label) const;

    Role GetRole() const { return role_; }
    Trust::ProvenKey Key() const { return key_; }
    // Returns the certificate that the other side sent, or null. It is valid until the link ends.
    X509* PeerCertificate() const { return ssl_ ? SSL_get0_peer_certificate(ssl_.get()) : nullptr; }
    // Whether the link keys have changed since the link was created.
    bool IsOfEarlierKeys(const Setup& setup) const { return preamble_ != setup.preamble; }
    // Whether the server closed the connection without answering this client's proof.
    bool WasProofRefused() const { return wasProofRefused_; }
    const std::string& PeerNetworkId() const { return peerNetworkId_; }  // verified; empty before OnReady
    SteadyTime LastReceived() const { return lastReceived_; }
    SteadyTime LastSent() const { return lastSent_; }
    bool SendQueueEmpty() const { return queue_.Empty(); }

private:
    enum class State { PREAMBLE, HANDSHAKE, READY, CLOSING, LINGERING, ENDED };

    static constexpr size_t RECORD_BYTES = 16 * 1024;  // the most that one TLS record carries (RFC 8446, 5.1)
    // How many TLS records a link reads before it lets other links read.
    static constexpr int RECORDS_PER_TURN = 16;

    // Returns the text for an errno value; 0 means that the stream ended.
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
    std::shared_ptr<void> use_;  // declared before socket_: released after the socket is closed
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
    std::set<FrameKind> accountFrames_;  // the kinds received so far
    std::string peerNetworkId_;
    FrameDecoder decoder_;
    std::string unread_;   // decrypted, not yet decoded because reading was paused
    std::string writing_;  // taken from the queue
    size_t written_ = 0;   // the part of writing_ that is written
    SteadyTime lastReceived_;
    SteadyTime lastSent_;
};

}  // namespace Vexo::SoftBus
