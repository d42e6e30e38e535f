// FakeCollaboration: ability 70635 for tests. It answers each start with the code it was told.
#pragma once

#include <functional>
#include <string>

#include "platform/collaboration/collaboration_ability.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Tests {

class FakeCollaboration : public IPCObjectStub, public CollaborationFwk::ICollaborationService {
public:
    int32_t startCode = 0;
    std::function<void()> onStart = [] {};
    std::string target;  // "ability of the caller|network id|ability there" of the last start

    CollaborationFwk::StartResult StartCollaboration(int32_t id, const sptr<CollaborationFwk::TargetInfo>& to) override
    {
        onStart();
        target = std::to_string(id) + "|" + to->GetNetworkId() + "|" + std::to_string(to->GetSystemAbilityId());
        return {startCode, startCode == 0 ? 1 : 0};
    }
    int32_t StopCollaboration(int32_t) override { return 0; }
    int32_t GetCollaborationStartInfos(int32_t, std::vector<sptr<CollaborationFwk::StartInfo>>&) override { return 0; }
};

}  // namespace Vexo::Tests
