// InboundLinks: handles the connections that other devices open to this device. Each connection passes four steps:
// 1. The client proves that it has the account's link key (admission.h).
// 2. The TLS handshake succeeds. 3. The client sends HELLO. 4. The client sends a second frame: OPEN opens a session,
// GOODBYE says that the client stops, CLOSE ends the connection. A device that is not a member of the account is
// disconnected after HELLO, unless that device sends a newer account state that lists the device as a member. In step
// 1, a client may instead prove that it has a ticket to join the account. That connection is passed to Invitations
// (enrolment/invitations.h). The number of connections in steps 1 to 4 and the time for each step are limited. Used on
// the reactor thread. No call blocks.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "platform/base/nocopyable.h"
#include "platform/softbus/enrolment/invitations.h"
#include "platform/softbus/link/admission.h"
#include "platform/softbus/reactor_context.h"
#include "platform/softbus/sessions/sessions.h"

namespace Vexo::SoftBus {

// The maximum number of connections that have passed step 1 (the client's proof) and wait for the client's second
// frame: in total, and from one source (Transport::SourceOf). Connections beyond a limit are closed.
inline constexpr size_t MAX_HANDSHAKES = 256;
inline constexpr size_t MAX_HANDSHAKES_OF_SOURCE = 128;

class InboundLinks : public NoCopyable {
public:
    InboundLinks(ReactorContext& context, Sessions& sessions, Invitations& invitations);
    ~InboundLinks();

    // Call for each stream that a transport has accepted. from: the address of the other device.
    void Accepted(Stream stream, const PeerAddress& from);
    void Stop();

private:
    class Greeter;
    friend class Greeter;

    std::optional<Trust::ProvenKey> KeyOfProof(std::string_view proof, std::string_view challenge,
                                               std::string_view firstMessage);
    void Proven(Stream stream, Trust::ProvenKey key, const std::string& firstMessage, const PeerAddress& from);
    Admission& AdmissionOf(const PeerAddress& from);
    size_t CountOf(const std::string& source);
    std::string SourceOf(const PeerAddress& from) const;

    ReactorContext& context_;
    Sessions& sessions_;
    Invitations& invitations_;
    std::map<std::string, Admission> admissions_;  // key: the name of the transport
    std::set<std::shared_ptr<Greeter>> greeters_;
    // Refused links, with their sources. A refused link counts towards the limits until its TLS alert is sent and the
    // link is destroyed.
    std::list<std::pair<std::string, std::weak_ptr<Link>>> refused_;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
