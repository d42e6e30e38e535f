// Transport: makes and accepts connections (byte streams) on which TLS runs. TCP is in this folder, Bluetooth in a
// backend. The caller of OpenSession lists link types, and the soft bus tries the transports in that order. Functions
// are called on the reactor thread of the soft bus and must not block. Callbacks run on that thread too, but never
// inside the function that got the callback.
#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/softbus/softbus_types.h"

namespace Vexo::SoftBus {

// Where a peer can be reached over one transport. address is in the transport's own notation, such as "192.0.2.7:40117"
// for TCP.
struct PeerAddress {
    std::string transport;  // Transport::Name()
    std::string address;

    bool operator==(const PeerAddress&) const = default;
    bool operator<(const PeerAddress& other) const
    {
        return std::tie(transport, address) < std::tie(other.transport, other.address);
    }
};

// A connected, non-blocking stream socket.
struct Stream {
    UniqueFd socket{};
    size_t maxWriteBytes = std::numeric_limits<size_t>::max();  // the maximum for one write system call
    std::shared_ptr<void> use{};  // counts open streams; released after the stream is closed
};

// Limits for inbound connections whose client has not proved yet that it has the account's link key (link/admission.h).
// AdmissionLimits::time is the longest time until the proof. The other members limit the number of such connections.
struct AdmissionLimits {
    std::chrono::milliseconds time{2000};
    size_t connections = 1024;
    size_t ofSource = 128;  // connections from one source (Transport::SourceOf)
    // The maximum number of connections that have no proof yet and come from a source from which a member of the
    // account has connected before. If ofMembers is 0, AdmissionLimits::connections limits the connections from all
    // sources, otherwise only those from other sources.
    size_t ofMembers = 512;
};

class Transport {
public:
    // Receives the connected stream, or the error of Connect.
    using Connected = std::function<void(Result<Stream>)>;
    using Accepted = std::function<void(Stream stream, const std::string& from)>;

    virtual ~Transport() = default;

    virtual std::string Name() const = 0;                    // such as "tcp"
    virtual bool SupportsLinkType(LinkType type) const = 0;  // whether the transport implements that link type
    // Starts to accept connections. Returns the bound address to which peers can connect, such as "127.0.0.1:40117".
    // Returns an empty text if peers can learn the address only from announcements.
    [[nodiscard]] virtual Result<std::string> Listen(Accepted accepted) = 0;
    // Checks the notation of an address, without connecting.
    [[nodiscard]] virtual Result<void> CheckAddress(const std::string& address) const = 0;
    // Starts to connect. done: called once, at the end of the time limit at the latest. If the returned handle is
    // destroyed earlier, the attempt is cancelled and done is not called. Errors: UNAVAILABLE or TIMED_OUT if no device
    // answered; any other code if this device could not even try.
    [[nodiscard]] virtual std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit,
                                                        Connected done) = 0;
    // Returns the address at which this device can connect to a peer. A peer that listens on all its interfaces does
    // not know which of the peer's addresses this device can reach.
    // announced: the address that the peer reports in its HELLO.
    // seenFrom: the address that this device dialled, or from which the peer connected.
    virtual std::string Reachable(const std::string& announced, const std::string& /*seenFrom*/) const
    {
        return announced;
    }
    // Returns true if an address stays valid for the same device. If false, the soft bus uses an address only while it
    // is announced, and does not store it.
    virtual bool HasStableAddresses() const { return true; }
    // Returns the name of the source to which a connection from that address belongs, such as its host. Connections are
    // counted by source.
    virtual std::string SourceOf(const std::string& from) const { return from; }
    // Returns the limits for inbound connections without a proof (AdmissionLimits). Each transport has its own count.
    virtual AdmissionLimits LimitsOfAdmission() const { return {}; }
    // Stops accepting connections. No callback runs from now on. Idempotent.
    virtual void Stop() = 0;
};

// Creates a transport that uses the given reactor. Called once, before the reactor runs.
using TransportFactory = std::function<std::shared_ptr<Transport>(asio::io_context& reactor)>;

}  // namespace Vexo::SoftBus
