// DistNetService: ability 1163, the service itself. One object for the life of the process; it registers itself when
// the library is loaded. The host calls OnStart and OnStop; requests arrive on IPC workers through
// distnet_service_stub.h, and each operation runs its body (…Async) on the task runtime and blocks until it is done.
// Results: distnet_errors.h. Files: distnet_service.cpp life cycle, distnet_service_network.cpp start and stop,
// distnet_service_query.cpp queries.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cjson/cJSON.h>

#include "distributed/services/service/distnet_service_stub.h"
#include "distributed/services/utils/ffrt_utils.h"
#include "platform/ability/system_ability.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"
#include "platform/telephony/network_search_callback.h"

namespace Vexo::NetManagerStandard {

class ConvergedDecisionManager;
struct EventInfo;

#ifdef DISTNET_TEST_BUILD
inline std::atomic<std::chrono::milliseconds> RADIO_STATE_WAIT{std::chrono::seconds(180)};
#else
inline constexpr std::chrono::seconds RADIO_STATE_WAIT{180};  // from a radio state query to its answer
#endif

class DistNetService : public SystemAbility, public DistNetServiceStub, public NoCopyable {
public:
    static DistNetService& GetInstance();

    std::string GetClassName() override { return "DistNetService"; }
    void OnStart() override;
    void OnStop() override;

    // In any state. state: the ability's (SystemAbilityState); left as it was when another client still holds the
    // service or it could not be unloaded. The release by the last client unloads the ability.
    int32_t StartService(uint32_t& state) override;
    int32_t ReleaseService(uint32_t& state) override;
    int32_t StartServiceAsync(uint32_t& state);
    int32_t ReleaseServiceAsync(uint32_t& state);

    // Gets this device online through the peer's hotspot; one start at a time. Blocks for the whole exchange, at most
    // some 20 s. DISTNET_ERR_GENERAL when the service does not run or the peer is of another account,
    // DISTNET_ERR_COLLABORATION_START, or DISTNET_ERR_LINK. Each attempt is reported in system events.
    int32_t StartDistributedNetwork(int32_t, int32_t, const std::string& networkId) override;
    int32_t StartDistributedNetworkAsync(int32_t, int32_t, const std::string& networkId);
    int32_t SoftBusStartDisNet(const std::string& networkId);
    // The same exchange over the collaboration's own data channel (link/collaboration.h). No request of the remote
    // interface leads here, so only code in the service's own process can call it. Blocks for at most some 25 s.
    int32_t CollaborationStartDisNet(const std::string& networkId);
    // Always 0; closes nothing: the peer's hotspot closes by its own rules.
    int32_t StopDistributedNetwork(int32_t, int32_t, const std::string& networkId) override;

    // The trusted devices that are online. DISTNET_ERR_GENERAL when the service does not run, DISTNET_ERR_NO_DEVICE for
    // none.
    int32_t GetAvailableDeviceList(std::vector<DmDeviceInfo>& deviceList) override;
    int32_t GetAvailableDeviceListAsync(std::vector<DmDeviceInfo>& deviceList);
    // A JSON object with a member for each known item; one that could not be found out is empty or false, and reported
    // in a fault event. Blocks for at most twice RADIO_STATE_WAIT. DISTNET_ERR_GENERAL when the service does not run.
    int32_t GetRemoteDeviceInfo(std::vector<std::string> items, std::string& result) override;
    int32_t GetRemoteDeviceInfoAsync(std::vector<std::string> items, std::string& result);

    // Each adds one member to root. 0, or DISTNET_ERR_GENERAL.
    int32_t SupportSmartHotSpot(cJSON* root);
    int32_t GetHotspotName(cJSON* root);
    int32_t GetCurrentBssid(cJSON* root);

    // Whether the radio of a SIM slot is on; false too when it cannot be found out within RADIO_STATE_WAIT. Blocks that
    // long.
    bool IsRadioOn(int32_t slotId);

    // Events of distnet_event_handler.h. The first two and TryToLinkDirect only log; always 0.
    int32_t HandleRequestPathTimeout();
    int32_t TryToLinkFromSoftBus();
    int32_t TryToLinkDirect();
    // Releases the network path.
    void HandleStopDistributedNetwork();

    // Logs; always 0. The third argument is ignored.
    int32_t ReportError(int32_t code, const std::string& msg, bool);
    // What events say of a failed hotspot exchange. The texts go by code: a peer that could not open its hotspot (-97)
    // is reported as a save error.
    std::string ErrCodeTransToMsg(int32_t errCode, int32_t& eventCode);

private:
    friend class GetRadioStateCallback;
    friend NeverDestroyed<DistNetService>;

    static constexpr int32_t STATE_STOPPED = 0;
    static constexpr int32_t STATE_RUNNING = 1;

    DistNetService();
    ~DistNetService() override = default;

    // Publishes the remote interface once and starts the decision manager's own start as a task.
    bool Init();
    std::shared_ptr<ConvergedDecisionManager> DecisionManager();
    // Sends the fault event for a failed exchange on that session; DISTNET_ERR_LINK.
    int32_t ReportHotspotFailure(EventInfo& info, int32_t sessionId, int32_t result);
    // Runs body on the task runtime and blocks. Its result, or DISTNET_ERR_GENERAL when the runtime did not run it.
    static int32_t RunSynchronously(const std::function<int32_t()>& body);

    std::atomic<bool> isInitialized_{false};
    std::atomic<int32_t> runningState_{0};  // 0 stopped, 1 running
    std::shared_ptr<ConvergedDecisionManager> decisionManager_ GUARDED_BY(decisionManagerMutex_);
    FFRTUtils::Mutex taskMutex_;
    FFRTUtils::ConditionVariable taskCondition_;
    Mutex startNetworkMutex_;  // held for a whole start
    Mutex remoteInfoMutex_;    // held for a whole capability answer
    CondVar radioCondition_;
    Mutex radioMutex_;  // held for a whole radio query, except while it waits
    bool isRadioOn_ GUARDED_BY(radioMutex_) = false;
    bool isRadioStateReceived_ GUARDED_BY(radioMutex_) = false;
    Mutex decisionManagerMutex_;
};

// Takes the answer to a radio state query, on a platform thread. Does not own the service, which may be null.
class GetRadioStateCallback : public Telephony::INetworkSearchCallbackStub {
public:
    explicit GetRadioStateCallback(DistNetService* service) : service_(service) {}
    // An errorCode other than 0 counts as a radio that is off.
    void OnGetRadioStateCallback(bool isOn, int32_t errorCode) override;

private:
    DistNetService* const service_;
};

}  // namespace Vexo::NetManagerStandard
