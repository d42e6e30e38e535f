// InboundLinks: what connects to this device, until it has shown who it is and what it wants: the handshake, then a
// first frame that makes it a presence connection (HELLO) or a session (OPEN). Strangers cost little: few handshakes
// run at once, each for a limited time, and more connections than can wait are closed. The reactor's; nothing blocks.
#pragma once

#include <deque>
#include <memory>
#include <set>

#include "platform/base/nocopyable.h"
#include "platform/softbus/presence.h"
#include "platform/softbus/reactor_context.h"
#include "platform/softbus/sessions.h"

namespace Vexo::SoftBus {

inline constexpr size_t MAX_HANDSHAKES = 64;
inline constexpr size_t MAX_WAITING_STREAMS = 1024;

class InboundLinks : public NoCopyable {
public:
    InboundLinks(ReactorContext& context, Presence& presence, Sessions& sessions)
        : context_(context), presence_(presence), sessions_(sessions)
    {
    }
    ~InboundLinks();

    // A stream that a transport accepted from that address.
    void Accepted(UniqueFd stream, PeerAddress from);
    void Stop();

private:
    class Greeter;
    friend class Greeter;
    struct Waiting {
        UniqueFd stream;
        PeerAddress from;
    };

    void Start(UniqueFd stream, const PeerAddress& from);
    void Finished(const std::shared_ptr<Greeter>& greeter);

    ReactorContext& context_;
    Presence& presence_;
    Sessions& sessions_;
    std::set<std::shared_ptr<Greeter>> greeters_;
    std::deque<Waiting> waiting_;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
