// FakeSoftBus: ability 4700 for tests. It records what the service does and calls back on threads of its own, as told.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/ipc/iremote_object.h"
#include "platform/softbus/softbus_service.h"

namespace Vexo::Tests {

class FakeSoftBus : public IPCObjectStub, public SoftBus::ISoftBusService {
public:
    struct Sent {
        int sessionId;
        std::string bytes;
    };
    // Set before use. onOpen and onSend run on a thread of their own after the call; empty: nothing happens.
    int serverResult = 0;
    int openResult = 7;
    int sendResult = 0;
    std::function<void()> onOpen;
    std::function<void(const Sent&)> onSend;

    int CreateSessionServer(const std::string&, const std::string& sessionName, const ISessionListener& table) override
    {
        const std::lock_guard lock(mutex_);
        servedName = sessionName;
        listener = table;
        return serverResult;
    }
    int RemoveSessionServer(const std::string&, const std::string&) override { return serverResult; }
    int OpenSession(const std::string& mine, const std::string& peers, const std::string& networkId,
                    const SessionAttribute& attr) override
    {
        const std::lock_guard lock(mutex_);
        opened.push_back(mine + "|" + peers + "|" + networkId);
        attribute = attr;
        if (openResult > 0 && onOpen) {
            callbacks_.emplace_back(onOpen);
        }
        return openResult;
    }
    void CloseSession(int sessionId) override
    {
        const std::lock_guard lock(mutex_);
        closed.push_back(sessionId);
    }
    int SendBytes(int sessionId, const void* data, unsigned int len) override
    {
        const std::lock_guard lock(mutex_);
        sent.push_back({sessionId, std::string(static_cast<const char*>(data), len)});
        if (sendResult == 0 && onSend) {
            callbacks_.emplace_back(onSend, sent.back());
        }
        return sendResult;
    }
    int GetPeerNetworkId(int, std::string&) override { return SOFTBUS_NO_SUCH_SESSION; }
    std::vector<SoftBus::Node> Nodes() override { return {}; }
    SoftBus::Node LocalNode() override { return {}; }

    std::vector<Sent> AllSent() const { return Copy(sent); }
    std::vector<int> AllClosed() const { return Copy(closed); }
    std::vector<std::string> AllOpened() const { return Copy(opened); }

    std::string servedName;
    ISessionListener listener{};
    SessionAttribute attribute{};

private:
    template <typename T>
    std::vector<T> Copy(const std::vector<T>& values) const
    {
        const std::lock_guard lock(mutex_);
        return values;
    }

    mutable std::mutex mutex_;
    std::vector<Sent> sent;
    std::vector<int> closed;
    std::vector<std::string> opened;
    std::vector<std::jthread> callbacks_;  // last: joined before what they use goes
};

}  // namespace Vexo::Tests
