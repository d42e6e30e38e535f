// PeerLink: this daemon's sessions with the daemons of other devices of the account. The sessions carry the requests of
// peer_messages.h. Ask opens a session if none is open. The asking side closes the session after PEER_SESSION_IDLE
// without requests. The process has one PeerLink, which both sends and serves requests. It uses the soft bus that is
// registered as ability 4700, which may be registered and removed repeatedly. Any thread may use it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/online/cancellation.h"
#include "host/peers/peer_messages.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/tasks/timers.h"

namespace Vexo::Host {

inline constexpr const char* PEER_PACKAGE = "vexo.distnet";
inline constexpr const char* PEER_SESSION = "vexo.distnet.daemon";
inline constexpr std::chrono::seconds PEER_SESSION_IDLE{10};
// How long the function Ask waits for an answer over a session that was already open. Then Ask opens another session,
// because the network under the first session may be gone. If the other device takes longer to serve the request, it
// receives the request twice.
inline constexpr std::chrono::milliseconds PEER_KEPT_SESSION_LIMIT{1'500};
// How many requests of one device are served at a time. Further requests of that device are dropped.
inline constexpr size_t MAX_SERVED_REQUESTS = 4;

class PeerLink : public NoCopyable {
public:
    // Answers a request of another device of the account. Called on threads of the pool, several at once. May block,
    // but the other side waits for a few seconds only. A running call may outlive End and the PeerLink; its answer is
    // then dropped.
    using Serve = std::function<PeerAnswer(const std::string& networkId, const PeerRequest& request)>;

    // Creates the process's only PeerLink.
    static std::shared_ptr<PeerLink> Make(Serve serve, Tasks::Timers& timers = Tasks::Timers::System());
    virtual ~PeerLink() = default;

    // Starts serving other devices. Call each time after the soft bus (4700) was registered; call End before it is
    // removed. The error says what the soft bus refused.
    [[nodiscard]] virtual Result<void> Begin() = 0;
    // Closes all sessions and makes all running calls of Ask fail. Begin may be called again. Idempotent.
    virtual void End() = 0;

    // Sends the request to the device and waits for its answer. Blocks until the answer arrives, the deadline passes,
    // or the Cancellation is cancelled (null: no cancellation). Opens a session if none is open; over Bluetooth this
    // takes up to 9 s. The error's text is for a person. The error's code says why there is no answer:
    //   NOT_FOUND    no device of the account has this id
    //   UNAVAILABLE  the device was not reached over any transport
    //   REFUSED      the device refused the session (its daemon may be too old), or its answer was damaged
    //   TIMED_OUT    the deadline passed
    //   CANCELLED    the cancellation was cancelled
    [[nodiscard]] virtual Result<PeerAnswer> Ask(const std::string& networkId, const PeerRequest& request,
                                                 SteadyTime deadline, Cancellation* cancellation) = 0;
};

}  // namespace Vexo::Host
