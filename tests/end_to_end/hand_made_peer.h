// HandMadePeer: a device of the account that runs inside the test process. It uses the real link and a real
// certificate, but the test decides what the device answers. A process may have only one HandMadePeer at a time.
#pragma once

#include <string>
#include <vector>

#include "platform/ability/system_ability_manager.h"
#include "platform/collaboration/collaboration_server.h"
#include "tests/end_to_end/world.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/response_frame.h"

namespace Vexo::EndToEnd {

inline constexpr const char* HOTSPOT_PACKAGE = "vexo.communication.network_connectivity_ext";
inline constexpr const char* HOTSPOT_SESSION = "vexo.communication.network_connectivity_ext.distributed";

class HandMadePeer {
public:
    enum class Lacks { NOTHING, SERVICE, SESSION_SERVER };

    // device: an enrolled device whose daemon does not run. With Lacks::SERVICE, other devices cannot start the service
    // of this peer. With Lacks::SESSION_SERVER, other devices can start the service, but the peer accepts no session.
    HandMadePeer(const World& world, const Device& device, Lacks lacks = Lacks::NOTHING);
    ~HandMadePeer();
    HandMadePeer(const HandMadePeer&) = delete;
    HandMadePeer& operator=(const HandMadePeer&) = delete;

    const std::string& NetworkId() const { return networkId_; }
    bool Sees(const std::string& networkId) const;

    // Sets the frame with which this peer answers each message. Before this call, it answers nothing.
    void AnswerWith(const std::string& frame);
    // Opens a session to a device. Returns the id of the session.
    int Open(const std::string& networkId);
    // Opens a session to a device and sends the messages. Returns the first answer. If `waits` is false, returns an
    // empty text at once.
    std::string Ask(const std::string& networkId, const std::vector<std::string>& messages, bool waits = true);
    // Opens a session to a device, sends the message and waits until the device closes the session.
    void SendUntilClosed(const std::string& networkId, const std::string& message);

private:
    using PeerListener = SoftBus::Tests::Listener<2>;

    SoftBus::Tests::Recorder& events_ = PeerListener::Events();
    std::string networkId_;
    sptr<SystemAbilityManager> manager_;
    sptr<SoftBus::SoftBusServer> softBus_;
    sptr<CollaborationFwk::CollaborationServer> collaboration_;
};

using Tests::ResponseFrame;

}  // namespace Vexo::EndToEnd
