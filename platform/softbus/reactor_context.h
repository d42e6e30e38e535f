// ReactorContext: the state that the discovery and the sessions of one soft bus share. Used on the reactor thread.
// Exceptions: account, devices, sightings and tries have their own locks, and any thread may read values that never
// change.
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
    // Shared, because callbacks that outlive the soft bus use it too.
    const std::shared_ptr<asio::io_context> reactor = std::make_shared<asio::io_context>(1);
    Link::Setup linkSetup;
    std::vector<std::shared_ptr<Transport>> transports;
    std::string ownNetworkId;
    Hello ownHello;
    size_t peerShare = 0;                // how many sessions one peer may have open to this device
    PeerPolicy* policy = nullptr;        // null: every member may open every session
    std::set<std::string> openSessions;  // session servers for which the policy is not asked
    std::function<void()> onlineChanged;
    // Makes the announcement channels listen more intensively while the returned handle lives
    // (AnnouncementChannel::Seek). Returns null if no channel can. The function object is empty until all channels have
    // started.
    std::function<std::shared_ptr<void>()> seek;
    AccountView account;
    StateExchange* exchange = nullptr;  // null: the account's state is not exchanged
    KnownDevices devices{Clock::System(), &account};
    Sightings sightings;
    Tries tries;
    std::set<std::shared_ptr<Dial>> dials;  // the running ones

    // Whether the calling thread runs the reactor; for assertions.
    bool RunsOnThisThread() const { return reactor->get_executor().running_in_this_thread(); }

    // Records the HELLO of a verified device. Updates the reachability of that device, and of devices that are
    // forgotten because there are too many.
    void AddDevice(const std::string& networkId, const Hello& hello, const std::string& transport);
    // Whether the device announces itself now and is known, or had recent contact (KnownDevices). Any thread.
    bool IsReachable(const std::string& networkId) const;
    // Call after anything that may have changed IsReachable: logs a change, and calls onlineChanged.
    void UpdateReachability(const std::string& networkId);
    // Calls UpdateReachability for every device.
    void UpdateAllReachability();

    // Whether any transport of these link types finds devices only by seeking (link/dial.h). Empty: checks all
    // transports.
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
