// HandMadePeer: a device of the account that lives in the test process: real link, real certificate, but what it
// answers is the test's to say. One at a time in a process.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ability/system_ability_manager.h"
#include "platform/base/mutex.h"
#include "platform/collaboration/collaboration_server.h"
#include "platform/softbus/softbus_server.h"
#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {

inline constexpr const char* HOTSPOT_PACKAGE = "vexo.communication.network_connectivity_ext";
inline constexpr const char* HOTSPOT_SESSION = "vexo.communication.network_connectivity_ext.distributed";

class HandMadePeer {
public:
    enum class Lacks { NOTHING, SERVICE, SESSION_SERVER };

    // device: enrolled, its daemon not running. Without SERVICE nobody can wake it; without SESSION_SERVER it is woken,
    // but accepts no session.
    HandMadePeer(const World& world, const Device& device, Lacks lacks = Lacks::NOTHING);
    ~HandMadePeer();
    HandMadePeer(const HandMadePeer&) = delete;
    HandMadePeer& operator=(const HandMadePeer&) = delete;

    const std::string& NetworkId() const { return networkId_; }
    bool Sees(const std::string& networkId) const;

    // What it sends back when a request arrives; empty: nothing.
    void AnswerWith(std::string frame);
    // Opens a session to a device, sends the messages and returns the first that comes back; empty when the session
    // ends or nothing comes within patience.
    std::string Ask(const std::string& networkId, const std::vector<std::string>& messages,
                    std::chrono::milliseconds patience = PATIENCE);

    // What its callbacks know; they may still run when the peer has gone.
    struct State {
        Mutex mutex;
        CondVar changed;
        std::string answer GUARDED_BY(mutex);
        int asked GUARDED_BY(mutex) = 0;  // the session that Ask opened
        bool opened GUARDED_BY(mutex) = false;
        bool ended GUARDED_BY(mutex) = false;
        std::string reply GUARDED_BY(mutex);
    };

private:
    const std::shared_ptr<State> state_ = std::make_shared<State>();
    std::string networkId_;
    sptr<SystemAbilityManager> manager_;
    sptr<SoftBus::SoftBusServer> softBus_;
    sptr<CollaborationFwk::CollaborationServer> collaboration_;
};

// A type-4 frame with the JSON text; declared: what its header says instead of the text's length.
std::string ResponseFrame(const std::string& json, int64_t declared = -1);

}  // namespace Vexo::EndToEnd
