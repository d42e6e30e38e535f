// INetworkSearchCallback: the asynchronous answer to a radio state query. Called on a platform thread, never on the
// asking one.
#pragma once

#include <cstdint>

#include "platform/ipc/iremote_object.h"

namespace Vexo::Telephony {

class INetworkSearchCallback : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.Telephony.INetworkSearchCallback")

    // errorCode other than 0: the radio could not be asked, and isOn means nothing.
    virtual void OnGetRadioStateCallback(bool isOn, int32_t errorCode) = 0;
};

class INetworkSearchCallbackStub : public IRemoteStub<INetworkSearchCallback> {};

}  // namespace Vexo::Telephony
