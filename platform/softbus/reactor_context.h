// ReactorContext: the state that the discovery and the sessions of one soft bus share. Used on the reactor thread, with
// two exceptions. The members account, devices, sightings and tries have their own locks, so any thread may use them.
// Any thread may read members that never change.
#pragma once

#include <asio/io_context.hpp>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/softbus/account/account_view.h"
#include "platform/softbus/discovery/known_devices.h"
#include "platform/softbus/discovery/sightings.h"
#include "platform/softbus/discovery/tries.h"
#include "platform/softbus/link/link.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::SoftBus {

class Dial;
class PeerPolicy;
class StateExchange;

struct ReactorContext : public NoCopyable {
    // A shared_ptr, because some callbacks outlive the soft bus and still use the reactor.
    const std::shared_ptr<asio::io_context> reactor = std::make_shared<asio::io_context>(1);
    Link::Setup linkSetup;
    std::vector<std::shared_ptr<Transport>> transports;
    std::string ownNetworkId;
    Hello ownHello;
    size_t peerShare = 0;                // how many sessions one peer may have open to this device
    bool limitsMessages = true;          // whether MESSAGE_BURST applies (sessions.h)
    PeerPolicy* policy = nullptr;        // null: every member may open every session
    std::set<std::string> openSessions;  // session servers for which the policy is not asked
    std::function<void()> onlineChanged;
    // Makes the announcement channels listen more intensively, for as long as the returned handle exists
    // (AnnouncementChannel::Seek). Returns null if Seek of every channel returns null. This std::function is empty
    // until all channels have started.
    std::function<std::shared_ptr<void>()> seek;
    AccountView account;
    StateExchange* exchange = nullptr;  // null: this device does not exchange the account's state
    KnownDevices devices{Clock::System(), &account};
    Sightings sightings;
    Tries tries;
    std::set<std::shared_ptr<Dial>> dials;  // the running dials

    // Returns true if the calling thread runs the reactor. Used in assertions.
    bool RunsOnThisThread() const { return reactor->get_executor().running_in_this_thread(); }

    // Records the HELLO of a device whose certificate was verified, and updates the reachability of that device. If too
    // many devices are known, some are forgotten, and their reachability is updated too.
    void AddDevice(const std::string& networkId, const Hello& hello, const std::string& transport);
    // Returns true if the device is known and announces itself now, or if this device had recent contact with that
    // device (KnownDevices). Thread-safe.
    bool IsReachable(const std::string& networkId) const;
    // Call after each change that may affect the result of IsReachable. Logs a change of the result, and calls
    // onlineChanged.
    void UpdateReachability(const std::string& networkId);
    void UpdateAllReachability();

    // Returns true if at least one transport of these link types finds devices only while a channel seeks
    // (link/dial.h). If linkTypes is empty, checks all transports.
    bool CanSeek(const std::vector<int32_t>& linkTypes) const;

    // Returns null if no transport has this name.
    Transport* FindTransport(const std::string& name) const;

    std::shared_ptr<Link> MakeClientLink(Stream stream, const std::string& peerNetworkId, Trust::ProvenKey key) const
    {
        return Link::MakeClient(*reactor, std::move(stream), linkSetup, peerNetworkId, key);
    }
    std::shared_ptr<Link> MakeServerLink(Stream stream, const std::string& firstMessage, Trust::ProvenKey key) const
    {
        return Link::MakeServer(*reactor, std::move(stream), linkSetup, firstMessage, key);
    }

private:
    std::set<std::string> reportedReachable_;
};

}  // namespace Vexo::SoftBus
