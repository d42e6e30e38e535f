// AwarenessCenterInterface: where the rest of the service registers for awareness events. Any thread. Results:
// utils/distnet_errors.h. What is behind it: awareness_center_manager.h.
#pragma once

#include <cstdint>
#include <memory>

#include "distributed/services/converged/awareness/awareness_center_callback.h"
#include "distributed/services/converged/awareness/net_info.h"

namespace Vexo::NetManagerStandard {

class AwarenessCenterInterface {
public:
    virtual ~AwarenessCenterInterface() = default;

    // Creates the source of events and watches the abilities that the service depends on. Meant to run once: a second
    // call replaces the source, and its listeners are lost.
    virtual void InitAwarenessCenter() = 0;

    // Both need an InitAwarenessCenter before them; both block while listeners are being called.
    // Listen registers a listener for the events of the mask, or replaces its mask; the listener is kept alive. With
    // isNotifyNow it is told the current states before the call returns. 0, or DISTNET_ERR_AWARENESS_ARGUMENT for a
    // mask below 1 or no listener.
    virtual int32_t Listen(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events,
                           bool isNotifyNow) = 0;
    // 0, or DISTNET_ERR_AWARENESS_ARGUMENT for no listener. No call to the listener runs or starts after it returns.
    virtual int32_t UnListen(const std::shared_ptr<AwarenessCenterCallback>& callback) = 0;

    // Does not block. 0, or DISTNET_ERR_NO_NET_INFO before InitAwarenessCenter.
    virtual int32_t GetCurrentNetInfo(NetInfo& info) = 0;

    static std::shared_ptr<AwarenessCenterInterface> GetInstance();
};

}  // namespace Vexo::NetManagerStandard
