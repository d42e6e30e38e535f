// Conversation: one link between the two devices of an enrolment by ticket (docs/enrolment.md). It implements what the
// holder's side (ticket_holder.h) and the joiner's side (join_attempt.cpp) have in common. The holder is the device
// that created the ticket, the joiner is the new device. A conversation keeps the link alive while people compare
// numbers, and ends the link when the other side is silent. Used on the reactor thread. No call blocks.
#pragma once

#include <asio/steady_timer.hpp>
#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/softbus/link/link.h"

namespace Vexo::SoftBus {

inline constexpr std::chrono::seconds LAST_FRAME_LIMIT{30};

class Conversation : public LinkOwner, public std::enable_shared_from_this<Conversation>, public NoCopyable {
public:
    Conversation(asio::io_context& reactor, std::shared_ptr<Link> link) : link_(std::move(link)), timer_(reactor) {}

    void OnFrame(FrameKind kind, std::string payload) final;
    void OnEnded(LinkEnd end, const std::string& why) final;
    // End the conversation without a call of OnLost. Close sends the queued frames first. Abort drops them.
    void Close();
    void Abort();
    // Sends the last frame of the conversation. Keeps the link open until the other side closes it, for at most
    // LAST_FRAME_LIMIT, so that the frame also arrives over a slow link.
    void SendLast(FrameKind kind, const std::string& payload);

protected:
    virtual void OnJoinFrame(FrameKind kind, const std::string& payload) = 0;
    // Called when the link has ended without Close or Abort, for any reason. No other call follows.
    virtual void OnLost(const std::string& why) = 0;

    // Call when the first frame was accepted. From now on only silence of the other side ends the link.
    void KeepAlive();
    Link& GetLink() { return *link_; }
    // Computes the number that both devices show. If that fails, the caller must end the conversation.
    [[nodiscard]] Result<std::string> NumberOf(const std::string& holderNonce, const std::string& request) const;

private:
    void Wait();

    const std::shared_ptr<Link> link_;
    asio::steady_timer timer_;
    SteadyTime end_ = SteadyTime::max();  // when the link is closed after SendLast
    bool hasEnded_ = false;
};

}  // namespace Vexo::SoftBus
