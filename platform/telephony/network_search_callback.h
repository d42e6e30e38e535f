// INetworkSearchCallback: receives the result of a query of the radio state. The callback runs on a platform thread,
// never on the thread that made the query.
#pragma once

#include <cstdint>

#include "platform/ipc/iremote_object.h"

namespace Vexo::Telephony {

class INetworkSearchCallback : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.Telephony.INetworkSearchCallback")

    // isOn: true if the radio is on. errorCode: 0, or another value if the radio state could not be read; isOn then has
    // no meaning.
    virtual void OnGetRadioStateCallback(bool isOn, int32_t errorCode) = 0;
};

class INetworkSearchCallbackStub : public IRemoteStub<INetworkSearchCallback> {};

}  // namespace Vexo::Telephony
