// Transport: provides the byte streams that TLS runs over: a TCP transport here, others (Bluetooth) in backends. The
// soft bus tries transports in the order of the link types that an opener names. Called on the soft bus's reactor
// thread; must not block. Completions run on that thread too, never inside the call.
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
    std::shared_ptr<void> use{};  // destroyed once the stream is closed: by it, a transport counts its streams
};

// How many connections of others may be between accept and proof at a time, and how long (link/admission.h).
struct AdmissionLimits {
    std::chrono::milliseconds time{2000};
    size_t connections = 1024;
    size_t ofSource = 128;  // Transport::SourceOf
    // Connections from sources that a member of the account has connected from are counted apart, up to this number. 0:
    // they are counted with the others.
    size_t ofMembers = 512;
};

class Transport {
public:
    // The stream, or why there is none.
    using Connected = std::function<void(Result<Stream>)>;
    using Accepted = std::function<void(Stream stream, const std::string& from)>;

    virtual ~Transport() = default;

    virtual std::string Name() const = 0;           // "tcp"
    virtual bool Carries(LinkType type) const = 0;  // whether it is a way of that link type
    // Starts accepting; the bound address that peers use comes back ("127.0.0.1:40117"), or an empty text when peers
    // can only find it by what this device announces.
    [[nodiscard]] virtual Result<std::string> Listen(Accepted accepted) = 0;
    // Checks the notation of an address, for configuration.
    [[nodiscard]] virtual Result<void> CheckAddress(const std::string& address) const = 0;
    // Ends when the result is destroyed; then, and after done was called, nothing more comes of it. An error is
    // UNAVAILABLE or TIMED_OUT where nobody answered, and another code where this device could not even try.
    [[nodiscard]] virtual std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit,
                                                        Connected done) = 0;
    // The address to use for a peer that says it listens at announced and whose connection came from seenFrom: a peer
    // that listens on all its interfaces does not know which of its addresses leads to it.
    virtual std::string Reachable(const std::string& announced, const std::string& /*seenFrom*/) const
    {
        return announced;
    }
    // Whether an address still leads to the same device tomorrow. One that does not is tried while it is announced,
    // and not kept.
    virtual bool KeepsAddresses() const { return true; }
    // What shares of this device are counted by, for a connection that came from there: the host of an address.
    virtual std::string SourceOf(const std::string& from) const { return from; }
    // The limits of connections over this transport; they are counted apart from those of others.
    virtual AdmissionLimits LimitsOfAdmission() const { return {}; }
    // No accepting and no completion from now on. Idempotent.
    virtual void Stop() = 0;
};

// Makes a transport whose sockets and completions are the reactor's. Called once, before the reactor runs.
using TransportFactory = std::function<std::shared_ptr<Transport>(asio::io_context& reactor)>;

}  // namespace Vexo::SoftBus
