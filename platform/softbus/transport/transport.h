// Transport: connects and accepts the byte streams that TLS runs over. TCP is in this folder, Bluetooth in a backend.
// The soft bus tries transports in the order of the link types that the caller of OpenSession names. Functions are
// called on the soft bus's reactor thread and must not block. Callbacks run on that thread, never inside the call that
// started them.
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

// Where a peer can be reached over one transport, in the transport's own notation ("192.0.2.7:40117" for TCP).
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
    size_t maxWriteBytes = std::numeric_limits<size_t>::max();  // the most that the kernel takes in one call
    std::shared_ptr<void> use{};  // released after the stream is closed; for counting streams
};

// Limits for inbound connections that have not proved yet that they belong to the account (link/admission.h): how long
// the proof may take, and how many connections may wait for it.
struct AdmissionLimits {
    std::chrono::milliseconds time{2000};
    size_t connections = 1024;
    size_t ofSource = 128;  // connections from one source (Transport::SourceOf)
    // A separate limit for sources from which a member of the account has connected before. 0: their connections count
    // towards the limit of connections.
    size_t ofMembers = 512;
};

class Transport {
public:
    // Gets the stream, or the error.
    using Connected = std::function<void(Result<Stream>)>;
    using Accepted = std::function<void(Stream stream, const std::string& from)>;

    virtual ~Transport() = default;

    virtual std::string Name() const = 0;           // "tcp"
    virtual bool Carries(LinkType type) const = 0;  // whether it implements that link type
    // Starts to accept connections. Returns the bound address, for peers to connect to ("127.0.0.1:40117"), or an empty
    // text if peers can learn the address only from announcements.
    [[nodiscard]] virtual Result<std::string> Listen(Accepted accepted) = 0;
    // Checks the notation of an address, without connecting.
    [[nodiscard]] virtual Result<void> CheckAddress(const std::string& address) const = 0;
    // Starts to connect. done is called once, within limit; not after the returned handle was destroyed, which cancels
    // the attempt. Errors: UNAVAILABLE or TIMED_OUT if no device answered; any other code if this device could not even
    // try.
    [[nodiscard]] virtual std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit,
                                                        Connected done) = 0;
    // Returns the address at which to connect to a peer. announced: the listening address that the peer reports.
    // seenFrom: the address that was dialled, or that the peer connected from. A peer that listens on all its
    // interfaces does not know which of its addresses can be reached from here.
    virtual std::string Reachable(const std::string& announced, const std::string& /*seenFrom*/) const
    {
        return announced;
    }
    // Whether an address stays valid for the same device. If false, addresses are used only while they are announced,
    // and are not stored.
    virtual bool KeepsAddresses() const { return true; }
    // Returns what identifies the sender when connections from that address are counted, such as its host.
    virtual std::string SourceOf(const std::string& from) const { return from; }
    // Returns the limits for inbound connections without a proof. Each transport has its own count.
    virtual AdmissionLimits LimitsOfAdmission() const { return {}; }
    // Stops accepting. No callback runs from now on. Idempotent.
    virtual void Stop() = 0;
};

// Creates a transport that works on the given reactor. Called once, before the reactor runs.
using TransportFactory = std::function<std::shared_ptr<Transport>(asio::io_context& reactor)>;

}  // namespace Vexo::SoftBus
