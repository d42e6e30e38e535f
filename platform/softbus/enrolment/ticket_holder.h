// TicketHolder: one ticket on the device that created it (the holder). It knows which device asks to join and what the
// person decided. It answers the joiners (devices that connect with the ticket) until Trust::TICKET_ANSWER_TIME has
// passed. Any thread may call Make, Status, Answer, Close and IsOpen. The other functions are called on the reactor
// thread. No call blocks. Next: invitations.h (all tickets of a soft bus), conversation.h (the link to one joiner),
// docs/enrolment.md.
#pragma once

#include <asio/io_context.hpp>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/enrolment/invitation.h"
#include "platform/softbus/enrolment/join_frames.h"
#include "platform/softbus/enrolment/ticket_announcer.h"
#include "platform/softbus/link/link.h"
#include "platform/tasks/timers.h"
#include "platform/trust/ticket.h"

namespace Vexo::SoftBus {

// The maximum number of nonces that the holder sends for one ticket. With each nonce, a man in the middle has one
// chance that both devices show the same number. An honest joiner needs one or two nonces.
inline constexpr int MAX_JOIN_TRIES = 20;
// The maximum number of open links for one ticket.
inline constexpr size_t MAX_JOIN_LINKS = 8;
inline constexpr std::chrono::hours MAX_JOIN_CLOCK_DIFFERENCE{24};

class TicketHolder : public std::enable_shared_from_this<TicketHolder>, public NoCopyable {
public:
    struct Setup {
        Trust::Ticket ticket;
        std::string holderName;
        std::string account;
        std::shared_ptr<asio::io_context> reactor;
        std::shared_ptr<TicketAnnouncer> announcer;
    };

    // timers must outlive the object. Fails if OpenSSL fails.
    [[nodiscard]] static Result<std::shared_ptr<TicketHolder>> Make(Setup setup, InvitationOptions options,
                                                                    Tasks::Timers& timers);

    InvitationStatus Status() const EXCLUDES(mutex_);
    Result<void> Answer(const std::string& networkId, bool admit) EXCLUDES(mutex_);
    void Close() EXCLUDES(mutex_);
    // Returns true if the phase is WAITING or ASKING, Close was not called and the soft bus has not stopped.
    bool IsOpen() const EXCLUDES(mutex_);
    TicketAnnouncer& Announcer() { return *setup_.announcer; }

    bool IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage) const;
    // Call for a new connection whose client has proved that it has this ticket.
    void Accept(Stream stream, const std::string& firstMessage);
    // Closes all links. No callback is posted from now on.
    void Stop() EXCLUDES(mutex_);

private:
    class Talk;
    friend class Talk;
    using TalkPtr = std::shared_ptr<Talk>;

    TicketHolder(Setup setup, InvitationOptions options, Tasks::Timers& timers);

    void StartTimers();
    template <typename WorkOnReactor>
    void Post(WorkOnReactor work) EXCLUDES(mutex_);
    // Changes the status and posts InvitationOptions::changed to the strand. change: a function that receives the
    // status and modifies it.
    template <typename Change>
    void Update(Change change) EXCLUDES(mutex_);
    void End(JoinFailure result, const std::string& why);
    bool HasEnded() const EXCLUDES(mutex_);  // the phase is ADMITTED or ENDED

    // Returns the answer with which a joiner is rejected at once. Returns nullopt if the joiner may continue. key: the
    // network id of the joiner; empty before JOIN_REQUEST has arrived.
    std::optional<JoinAnswer> RefusalOf(const std::string& key) const EXCLUDES(mutex_);
    void OnCommit(const TalkPtr& talk);
    void OnRequest(const TalkPtr& talk);
    void AskPerson(const TalkPtr& talk);
    void Admit(const TalkPtr& talk);
    void OnAdmitted(const Result<std::string>& answer, const std::string& freeName);
    void EndIfDue();
    void OnJoinerLost(const TalkPtr& talk, const std::string& why);
    void Refuse(const TalkPtr& talk, JoinFailure result, const std::string& text);

    const Setup setup_;
    const InvitationOptions options_;
    Tasks::Timers& timers_;
    const SteadyTime expires_;  // a time of Timers::BootNow
    Link::Setup linkSetup_;     // constant after Make

    // The members from here to isForgotten_ are used on the reactor thread only.
    std::set<TalkPtr> talks_;
    TalkPtr asking_;  // the joiner that waits for the person's decision or for the end of Admit
    bool isAdmitting_ = false;
    std::string admittedKey_;  // the network id of the joiner that became a member
    int tries_ = 0;
    bool isForgotten_ = false;

    mutable Mutex mutex_;
    InvitationStatus status_ GUARDED_BY(mutex_);
    bool isAnswered_ GUARDED_BY(mutex_) = false;
    bool isClosed_ GUARDED_BY(mutex_) = false;  // Close was called
    bool isStopped_ GUARDED_BY(mutex_) = false;
    Tasks::Timer expiry_;
    Tasks::Timer end_;
    Tasks::Strand strand_;  // runs the callbacks
};

}  // namespace Vexo::SoftBus
