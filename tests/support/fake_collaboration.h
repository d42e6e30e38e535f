// FakeCollaboration: a fake of the collaboration framework (ability 70635). It records each call of the service in a
// trail: "register 7", "unregister 7", "send 7 bytes" or "stop 7", where 7 is the session id. It runs callbacks on its
// own threads.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/collaboration/collaboration_ability.h"
#include "platform/ipc/iremote_object.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

class FakeCollaboration : public IPCObjectStub,
                          public CollaborationFwk::ICollaborationService,
                          public Trail<std::string> {
public:
    // Set these members before the fake is used. The peer becomes ready to receive as soon as the service registers its
    // data callback.
    int32_t registerResult = 0;
    int32_t sendResult = 0;
    std::function<void()> onSend;  // runs after each successful send

    CollaborationFwk::StartResult StartCollaboration(int32_t, const sptr<CollaborationFwk::TargetInfo>&) override
    {
        return {0, 7};
    }
    int32_t StopCollaboration(int32_t sessionId) override { return Record("stop", sessionId, 0, nullptr); }
    int32_t GetCollaborationStartInfos(int32_t, std::vector<sptr<CollaborationFwk::StartInfo>>&) override { return 0; }
    int32_t RegisterCollaborationDataCallback(int32_t sessionId,
                                              const sptr<CollaborationFwk::DataCallback>& registered) override
    {
        return Record("register", sessionId, registerResult,
                      [registered, sessionId] { registered->OnDataReceiverReady(sessionId); });
    }
    int32_t UnRegisterCollaborationDataCallback(int32_t sessionId) override
    {
        return Record("unregister", sessionId, 0, nullptr);
    }
    int32_t SendCollaborationData(int32_t sessionId, const void* data, uint32_t size) override
    {
        return Record("send", sessionId, sendResult, onSend, " " + std::string(static_cast<const char*>(data), size));
    }

    CallbackThreads callbacks;

private:
    int32_t Record(const std::string& call, int32_t sessionId, int32_t result, const std::function<void()>& after,
                   const std::string& bytes = "")
    {
        Add(call + " " + std::to_string(sessionId) + bytes);
        if (after && result == 0) {
            callbacks.Run(after);
        }
        return result;
    }
};

}  // namespace Vexo::Tests
