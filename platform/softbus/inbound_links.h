// InboundLinks: connections that other devices open to this one. Each passes four steps: the proof that it belongs to
// the account (admission.h), the TLS handshake, HELLO, and a second frame: OPEN opens a session, GOODBYE says that the
// device stops, CLOSE ends the greeting. A device that is no member gets no further than HELLO, unless it brings a
// state that says otherwise. A connection that proves a ticket instead is handed to the invitations. The number of
// connections in these steps and the time for each are limited. Used on the reactor thread. No call blocks.
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

// How many connections may be between proof and second frame at a time, in all and from one source. One more than the
// limit is closed.
inline constexpr size_t MAX_HANDSHAKES = 256;
inline constexpr size_t MAX_HANDSHAKES_OF_SOURCE = 128;

class InboundLinks : public NoCopyable {
public:
    InboundLinks(ReactorContext& context, Sessions& sessions, Invitations& invitations);
    ~InboundLinks();

    // A stream that a transport accepted from that address.
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
    std::map<std::string, Admission> admissions_;  // by transport
    std::set<std::shared_ptr<Greeter>> greeters_;
    // Links that were refused, by source: they count until their last alert has gone out.
    std::list<std::pair<std::string, std::weak_ptr<Link>>> refused_;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
