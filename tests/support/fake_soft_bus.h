// FakeSoftBus: a fake of the soft bus (ability 4700). A trail records the calls of OpenSession, SendBytes and
// CloseSession as "open <server of this device>|<server of the peer>|<network id>", "send <session id> <bytes>" and
// "close <session id>". The fake runs callbacks on its own threads.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/ipc/iremote_object.h"
#include "platform/softbus/softbus_service.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

class FakeSoftBus : public IPCObjectStub, public SoftBus::ISoftBusService, public Trail<std::string> {
public:
    // Set these members before the fake is used. The functions onOpen and onSend run on their own thread after a
    // successful call. An empty function is not called.
    int serverResult = 0;
    int openResult = 7;
    int sendResult = 0;
    std::function<void()> onOpen;
    std::function<void()> onSend;
    // The arguments of the last CreateSessionServer and OpenSession.
    ISessionListener listener{};
    SessionAttribute attribute{};

    int CreateSessionServer(const std::string&, const std::string&, const ISessionListener& table) override
    {
        listener = table;
        return serverResult;
    }
    int RemoveSessionServer(const std::string&, const std::string&) override { return serverResult; }
    int OpenSession(const std::string& mine, const std::string& peers, const std::string& networkId,
                    const SessionAttribute& attr) override
    {
        attribute = attr;
        return Record("open " + mine + "|" + peers + "|" + networkId, openResult, openResult > 0 ? onOpen : nullptr);
    }
    void CloseSession(int sessionId) override { Record("close " + std::to_string(sessionId), 0, nullptr); }
    int SendBytes(int sessionId, const void* data, unsigned int len) override
    {
        return Record("send " + std::to_string(sessionId) + " " + std::string(static_cast<const char*>(data), len),
                      sendResult, sendResult == 0 ? onSend : nullptr);
    }
    int GetPeerNetworkId(int, std::string&) override { return SOFTBUS_NO_SUCH_SESSION; }
    std::vector<SoftBus::Node> Nodes() override { return {}; }
    SoftBus::Node LocalNode() override { return {}; }

    CallbackThreads callbacks;

private:
    int Record(const std::string& call, int result, const std::function<void()>& after)
    {
        Add(call);
        if (after) {
            callbacks.Run(after);
        }
        return result;
    }
};

}  // namespace Vexo::Tests
