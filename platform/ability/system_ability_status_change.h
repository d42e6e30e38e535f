// SystemAbilityStatusChangeStub: hears of abilities that appear and disappear. Called on a thread of the platform, in
// order for one listener, never on the thread that registered or subscribed and under no lock.
#pragma once

#include <cstdint>
#include <string>

#include "platform/ipc/iremote_object.h"

namespace Vexo {

class ISystemAbilityStatusChange : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.ISystemAbilityStatusChange")

    // deviceId is empty: abilities of this device.
    virtual void OnAddSystemAbility(int32_t systemAbilityId, const std::string& deviceId) = 0;
    virtual void OnRemoveSystemAbility(int32_t systemAbilityId, const std::string& deviceId) = 0;
};

class SystemAbilityStatusChangeStub : public IRemoteStub<ISystemAbilityStatusChange> {};

}  // namespace Vexo
