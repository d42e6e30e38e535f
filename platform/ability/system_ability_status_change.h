// SystemAbilityStatusChangeStub: a listener that is notified when an ability is added to or removed from the registry.
// The callbacks run on a platform thread, without a lock held, and never on the thread that registers or subscribes.
// Each listener gets its callbacks in the order of the changes.
#pragma once

#include <cstdint>
#include <string>

#include "platform/ipc/iremote_object.h"

namespace Vexo {

class ISystemAbilityStatusChange : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.ISystemAbilityStatusChange")

    // deviceId: always empty, because the ability is on this device.
    virtual void OnAddSystemAbility(int32_t systemAbilityId, const std::string& deviceId) = 0;
    virtual void OnRemoveSystemAbility(int32_t systemAbilityId, const std::string& deviceId) = 0;
};

class SystemAbilityStatusChangeStub : public IRemoteStub<ISystemAbilityStatusChange> {};

}  // namespace Vexo
