// INetworkSearchCallback: receives the result of a radio state query. Called on a platform thread, never on the thread
// that made the query.
#pragma once

#include <cstdint>

#include "platform/ipc/iremote_object.h"

namespace Vexo::Telephony {

class INetworkSearchCallback : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.Telephony.INetworkSearchCallback")

    // If errorCode is not 0, the radio state could not be read and isOn has no meaning.
    virtual void OnGetRadioStateCallback(bool isOn, int32_t errorCode) = 0;
};

class INetworkSearchCallbackStub : public IRemoteStub<INetworkSearchCallback> {};

}  // namespace Vexo::Telephony
