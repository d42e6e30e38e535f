// AwarenessCenterInterface: registers listeners for awareness events (changes of screen, battery and connectivity).
// Thread-safe. Result codes: utils/distnet_errors.h. Implementation: awareness_center_manager.h.
#pragma once

#include <cstdint>
#include <memory>

#include "distributed/services/converged/awareness/awareness_center_callback.h"
#include "distributed/services/converged/awareness/net_info.h"

namespace Vexo::NetManagerStandard {

class AwarenessCenterInterface {
public:
    virtual ~AwarenessCenterInterface() = default;

    // Creates the source of events and starts to watch the abilities (platform services) on which this service depends.
    // Call it only once, because a second call replaces the source and loses the registered listeners.
    virtual void InitAwarenessCenter() = 0;

    // Call Listen and UnListen only after InitAwarenessCenter. Both block while the source of events calls a listener.

    // Registers a listener for the events of the mask and keeps a reference to the listener. If the listener is already
    // registered, replaces its mask. If isNotifyNow is true, the listener receives the current states before this call
    // returns. Returns 0, or DISTNET_ERR_AWARENESS_ARGUMENT if the mask is below 1 or callback is null.
    virtual int32_t Listen(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events,
                           bool isNotifyNow) = 0;
    // Removes the listener. After the call returns, the listener is not called any more. Returns 0, or
    // DISTNET_ERR_AWARENESS_ARGUMENT if callback is null.
    virtual int32_t UnListen(const std::shared_ptr<AwarenessCenterCallback>& callback) = 0;

    // Sets info to the current connection states. Does not block. Returns 0, or DISTNET_ERR_NO_NET_INFO before
    // InitAwarenessCenter.
    virtual int32_t GetCurrentNetInfo(NetInfo& info) = 0;

    static std::shared_ptr<AwarenessCenterInterface> GetInstance();
};

}  // namespace Vexo::NetManagerStandard
