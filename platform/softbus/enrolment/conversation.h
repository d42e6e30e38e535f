// Conversation: one link of an enrolment by ticket; what the holder's side (ticket_holder.h) and the joiner's side
// (join_attempt.cpp) have in common. It keeps the link alive while people compare numbers, and ends it when the other
// side falls silent. Used on the reactor thread. No call blocks.
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
    // Ends it without another call of OnLost: delivers what was sent (Close), or at once (Abort).
    void Close();
    void Abort();
    // Sends the last frame. The other side closes when it has it, however slow the link is, within LAST_FRAME_LIMIT.
    void SendLast(FrameKind kind, const std::string& payload);

protected:
    virtual void OnJoinFrame(FrameKind kind, const std::string& payload) = 0;
    // The link has ended, by the other side or by its silence. The last call.
    virtual void OnLost(const std::string& why) = 0;

    // The first frame was accepted: no limit runs from now on but that for silence.
    void KeepAlive();
    Link& GetLink() { return *link_; }
    // The number that both devices show; an error ends the conversation.
    [[nodiscard]] Result<std::string> NumberOf(const std::string& holderNonce, const std::string& request) const;

private:
    void Wait();

    const std::shared_ptr<Link> link_;
    asio::steady_timer timer_;
    SteadyTime end_ = SteadyTime::max();  // after the last frame
    bool hasEnded_ = false;
};

}  // namespace Vexo::SoftBus
