// ReactorContext: the state of a soft bus that discovery and sessions share. Used on the reactor thread, except for the
// known devices, the sightings and the account view, which lock themselves, and the values that never change.
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
    // Callbacks that outlive the soft bus hold it too.
    const std::shared_ptr<asio::io_context> reactor = std::make_shared<asio::io_context>(1);
    Link::Setup linkSetup;
    std::vector<std::shared_ptr<Transport>> transports;
    std::string ownNetworkId;
    Hello ownHello;
    size_t peerShare = 0;                // sessions that one peer may have opened
    PeerPolicy* policy = nullptr;        // null: every member may open every session
    std::set<std::string> openSessions;  // names of session servers that the policy is not asked about
    std::function<void()> onlineChanged;
    // Makes the channels listen more intensively while the handle lives (AnnouncementChannel::Seek); null if none can.
    // Empty until all channels have started.
    std::function<std::shared_ptr<void>()> seek;
    AccountView account;
    StateExchange* exchange = nullptr;  // null: the account's state is not exchanged
    KnownDevices devices{Clock::System(), &account};
    Sightings sightings;
    Tries tries;
    std::set<std::shared_ptr<Dial>> dials;  // under way

    // For contracts: whether the calling thread runs the reactor.
    bool RunsOnThisThread() const { return reactor->get_executor().running_in_this_thread(); }

    // Records the HELLO of a verified device, and reports reachability that changes, also of devices that are forgotten
    // because there are too many.
    void AddDevice(const std::string& networkId, const Hello& hello, const std::string& transport);
    // Known and announced now, or with recent contact. Any thread.
    bool IsReachable(const std::string& networkId) const;
    // Call after anything that may have changed IsReachable: logs a change, and calls onlineChanged.
    void UpdateReachability(const std::string& networkId);
    // The same for all devices.
    void UpdateAllReachability();

    // Whether a transport of these link types finds devices only by seeking (Dial); no types: any transport.
    bool CanSeek(const std::vector<int32_t>& linkTypes) const;

    // Returns null if no transport has the name.
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
