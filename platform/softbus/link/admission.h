// Admission: holds each connection that another device opens to this device, until the client has proved that it has
// the account's link key or a ticket (trust/preamble.h). Any other client only gets a challenge, and then the
// connection is closed. No TLS object is created for such a client. The number of connections is limited, in total and
// for each source (AdmissionLimits). Each transport has its own Admission object, so that strangers on one transport do
// not use up the limits of another. For each source at most one refusal per minute is logged. Used on the reactor
// thread. No call blocks.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"
#include "platform/dfx/log_limit.h"
#include "platform/softbus/transport/transport.h"
#include "platform/trust/preamble.h"

namespace Vexo::SoftBus {

// The maximum number of sources (Transport::SourceOf) that are remembered because a member of the account has connected
// from there.
inline constexpr size_t MAX_MEMBER_SOURCES = 256;
// The maximum size in bytes of the TLS record that contains the ClientHello, including the record header.
inline constexpr size_t MAX_FIRST_MESSAGE = 4096;

class Admission : public NoCopyable {
public:
    // Returns the key with which the client made its proof. Returns nullopt if that key is not accepted.
    using KeyOfProof = std::function<std::optional<Trust::ProvenKey>(std::string_view proof, std::string_view challenge,
                                                                     std::string_view firstMessage)>;
    // Called when a client has proved that it has the key. firstMessage: the client's first TLS message, which was
    // already read from the stream.
    using Proven =
        std::function<void(Stream stream, Trust::ProvenKey key, std::string firstMessage, const PeerAddress& from)>;

    Admission(asio::io_context& reactor, KeyOfProof keyOfProof, const AdmissionLimits& limits, Proven proven)
        : reactor_(reactor),
          keyOfProof_(std::move(keyOfProof)),
          limits_(limits),
          proven_(std::move(proven)),
          deadlines_(reactor)
    {
    }
    ~Admission();

    // Call for each stream that the transport has accepted. source: the name by which connections are counted
    // (Transport::SourceOf).
    void Accept(Stream stream, const PeerAddress& from, const std::string& source);
    // Call when a member of the account has connected from that source. Later connections from that source count
    // towards AdmissionLimits::ofMembers.
    void AddMemberSource(const std::string& source);
    // Logs that a connection from that source was refused, unless a refusal was logged in the last minute.
    void LogRefusal(const std::string& source, const std::string& why);
    void Stop();

private:
    class Candidate;
    friend class Candidate;
    using CandidatePtr = std::shared_ptr<Candidate>;
    using Candidates = std::map<uint64_t, CandidatePtr>;  // in the order of arrival

    void WatchDeadlines(SteadyTime first);
    // Closes old connections to make space for a new one: the oldest connection of the source if the source has its
    // maximum number of connections, and the oldest connection of the map "room" if the map is full. room: strangers_
    // or members_, the map that will get the new connection. limit: the maximum number of connections in this map.
    void MakeRoom(const std::string& source, const Candidates& room, size_t limit);
    void Refuse(const CandidatePtr& candidate, const std::string& why);
    void Forget(const CandidatePtr& candidate);

    asio::io_context& reactor_;
    const KeyOfProof keyOfProof_;
    const AdmissionLimits limits_;
    const Proven proven_;
    Candidates all_;
    Candidates strangers_;                       // the connections of all_ that are not in members_
    Candidates members_;                         // the connections of all_ whose source is in memberSources_
    std::map<std::string, Candidates> sources_;  // the connections of all_, by source
    uint64_t accepted_ = 0;
    std::list<std::string> memberSources_;  // the source with the latest connection is first
    QuviewDFX::LogLimit<std::string> refusals_;
    asio::steady_timer deadlines_;
    bool watchesDeadlines_ = false;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
