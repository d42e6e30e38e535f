// Invitations: the tickets of a soft bus (ticket_holder.h). Only one ticket is open at a time, and only the newest is
// announced. The others are kept to answer devices that still try to join with them. Any thread may call Open. Withdraw
// blocks, and must not be called on the reactor thread. The other functions are called on the reactor thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/enrolment/invitation.h"
#include "platform/softbus/enrolment/ticket_holder.h"
#include "platform/softbus/reactor_context.h"

namespace Vexo::SoftBus {

class Invitations : public NoCopyable {
public:
    // timers must outlive the object.
    Invitations(const ReactorContext& context, Tasks::Timers& timers) : context_(context), timers_(timers) {}

    // Creates a ticket and opens its invitation. Errors: those of SoftBusServer::Invite.
    // address: stored in the ticket; empty: joiners find this device by its announcements.
    // make: creates the channels that announce this device.
    [[nodiscard]] Result<std::shared_ptr<Invitation>> Open(InvitationOptions options, const std::string& account,
                                                           const std::string& address, std::function<Channels()> make)
        EXCLUDES(mutex_);

    // Returns true if the proof in the first message of a new connection was made with one of the tickets. If the
    // result is true, the next call must be Accept for that connection.
    bool IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage) EXCLUDES(mutex_);
    void Accept(Stream stream, const std::string& firstMessage);
    // Call when a token period begins. Announces this device with the new token of the newest ticket.
    void Announce() EXCLUDES(mutex_);
    // Ends all announcements, and blocks until that is done. Open fails from now on.
    void Withdraw() EXCLUDES(mutex_);
    void Stop() EXCLUDES(mutex_);

private:
    using HolderPtr = std::shared_ptr<TicketHolder>;

    [[nodiscard]] Result<HolderPtr> MakeHolder(InvitationOptions options, const std::string& account,
                                               const std::string& address, std::function<Channels()> make) const;
    std::vector<HolderPtr> Holders() const EXCLUDES(mutex_);

    const ReactorContext& context_;
    Tasks::Timers& timers_;
    HolderPtr proven_;  // the ticket that IsProof recognised last; null after Accept
    mutable Mutex mutex_;
    std::vector<HolderPtr> holders_ GUARDED_BY(mutex_);  // the newest is last
    bool isStopped_ GUARDED_BY(mutex_) = false;
};

// Returns the IPv4 address and port that a ticket contains, so that devices on the LAN can connect. Returns an empty
// text if this device has no such address. listening: the TCP address on which this device listens.
std::string AddressForTicket(const std::string& listening);

}  // namespace Vexo::SoftBus
