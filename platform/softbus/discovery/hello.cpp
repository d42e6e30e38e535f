#include "platform/softbus/discovery/hello.h"

#include <algorithm>

#include "platform/base/check.h"

namespace Vexo::SoftBus {

namespace {

// Returns those addresses of the peer that stay valid (Transport::HasStableAddresses): first the address that was
// dialled, and then the addresses in the peer's HELLO that this device can use.
std::vector<PeerAddress> UsableAddresses(const ReactorContext& context, const Hello& hello, const PeerAddress& where,
                                         bool wasDialled)
{
    std::vector<PeerAddress> addresses;
    const Transport* const dialled = wasDialled ? context.FindTransport(where.transport) : nullptr;
    if (dialled != nullptr && dialled->HasStableAddresses()) {
        addresses.push_back(where);
    }
    for (PeerAddress address : hello.addresses) {
        const Transport* transport = context.FindTransport(address.transport);
        if (transport == nullptr || !transport->HasStableAddresses()) {
            continue;
        }
        if (address.transport == where.transport) {
            address.address = transport->Reachable(address.address, where.address);
        }
        const bool isUsable = transport->CheckAddress(address.address).has_value();
        if (isUsable && std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
            addresses.push_back(address);
        }
    }
    return addresses;
}

}  // namespace

std::string OwnHello(const ReactorContext& context)
{
    Hello hello = context.ownHello;
    hello.clockMs = MillisecondsOf(Clock::System().WallNow());
    hello.deviceName = context.account.NameOf(context.ownNetworkId, hello.deviceName);
    if (const Trust::SignedStatePtr state = context.account.State()) {
        hello.stateNumber = state->State().number;
        hello.stateDigest = state->Digest();
    }
    return EncodeHello(hello);
}

std::optional<Standing> OnHello(ReactorContext& context, Link& link, const std::string& payload,
                                const PeerAddress& where)
{
    DISTNET_ASSERT(context.RunsOnThisThread(), "on the reactor thread");
    Result<Hello> hello = DecodeHello(payload);
    if (!hello) {
        link.Refuse(hello.error().message);
        return std::nullopt;
    }
    const bool wasDialled = link.GetRole() == Link::Role::CLIENT;
    hello.value().addresses = UsableAddresses(context, hello.value(), where, wasDialled);
    context.AddDevice(link.PeerNetworkId(), hello.value(), where.transport);
    if (!wasDialled) {
        link.Send(FrameKind::HELLO, OwnHello(context));
    }
    return context.exchange != nullptr ? context.exchange->OnHello(link, hello.value()) : Standing();
}

void MarkAway(ReactorContext& context, const std::string& networkId, std::chrono::steady_clock::duration triedFor)
{
    DISTNET_ASSERT(context.RunsOnThisThread(), "on the reactor thread");
    context.sightings.MarkUnanswered(networkId);
    context.devices.MarkAway(networkId, triedFor);
    context.UpdateReachability(networkId);
}

}  // namespace Vexo::SoftBus
