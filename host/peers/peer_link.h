// PeerLink: this daemon's sessions with the daemons of other devices of the account, for the requests of
// peer_messages.h. A session is opened when something is asked, is used again, and is closed by the asking side when it
// was idle for PEER_SESSION_IDLE. The host makes one, through which both sides talk; it goes by the soft bus registered
// as 4700, which may come and go. Any thread.
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
// An Ask over a session that was opened before waits this long for the answer, then opens another: the network that the
// first one runs over may be gone. A Serve that takes longer is asked twice.
inline constexpr std::chrono::milliseconds PEER_KEPT_SESSION_LIMIT{1'500};
// Of one device at a time; more are dropped.
inline constexpr size_t MAX_SERVED_REQUESTS = 4;

class PeerLink : public NoCopyable {
public:
    // Answers a request of another device of the account, which has opened the session. Called on a thread of the
    // pool, several at once; may block, but the other side waits for at most some seconds. One that runs may outlast
    // End and the object; its answer is lost then.
    using Serve = std::function<PeerAnswer(const std::string& networkId, const PeerRequest& request)>;

    // One in a process at a time.
    static std::shared_ptr<PeerLink> Make(Serve serve, Tasks::Timers& timers = Tasks::Timers::System());
    virtual ~PeerLink() = default;

    // The soft bus (4700) is registered now: serves other devices. Call after each time that it was registered, and End
    // before it goes. The error says what the soft bus refused.
    [[nodiscard]] virtual Result<void> Begin() = 0;
    // Ends all sessions and requests. Begin starts anew. Idempotent.
    virtual void End() = 0;

    // Asks the device and waits for its answer; blocks until the deadline, or until cancellation. Opens a session, if
    // need be over Bluetooth, which takes up to 9 s. The error says why there is no answer, for a person:
    //   NOT_FOUND    no device of the account has that id
    //   UNAVAILABLE  it is not reached over any way
    //   REFUSED      it refused the session, as one does whose daemon knows no such sessions; or the answer was damaged
    //   TIMED_OUT    the deadline passed     CANCELLED  cancelled
    // cancellation: null: none.
    [[nodiscard]] virtual Result<PeerAnswer> Ask(const std::string& networkId, const PeerRequest& request,
                                                 SteadyTime deadline, Cancellation* cancellation) = 0;
};

}  // namespace Vexo::Host
