// DistNetService: ability 1163, the service itself. The process has one object of this class, which is never destroyed.
// This object registers itself when the library is loaded. The host calls OnStart and OnStop. Requests arrive on IPC
// worker threads through distnet_service_stub.h. If an operation X has a function XAsync, the operation runs XAsync on
// the task runtime and blocks until XAsync returns. Result codes: distnet_errors.h. Files:
// distnet_service.cpp (life cycle), distnet_service_network.cpp (start and stop), distnet_service_query.cpp (queries).
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
inline constexpr std::chrono::seconds RADIO_STATE_WAIT{180};  // longest wait for the answer to a radio state query
#endif

class DistNetService : public SystemAbility, public DistNetServiceStub, public NoCopyable {
public:
    static DistNetService& GetInstance();

    std::string GetClassName() override { return "DistNetService"; }
    void OnStart() override;
    void OnStop() override;

    // StartService and ReleaseService can be called whether or not the service runs. They set state to the ability's
    // state (SystemAbilityState). ReleaseService unloads the ability when the last client releases the service. While
    // another client holds the service, ReleaseService returns 0 and does not set state. If unloading fails,
    // ReleaseService returns DISTNET_ERR_GENERAL and does not set state.
    int32_t StartService(uint32_t& state) override;
    int32_t ReleaseService(uint32_t& state) override;
    int32_t StartServiceAsync(uint32_t& state);
    int32_t ReleaseServiceAsync(uint32_t& state);

    // Asks the peer to open its hotspot, and starts to connect to the hotspot. Only one start runs at a time. Blocks
    // for at most about 23 s, and longer while another start runs. Returns 0 if this device has started to connect;
    // DISTNET_ERR_GENERAL if the service is not running or the peer is not a known device of this account;
    // DISTNET_ERR_COLLABORATION_START; or DISTNET_ERR_LINK. System events report each attempt.
    int32_t StartDistributedNetwork(int32_t, int32_t, const std::string& networkId) override;
    int32_t StartDistributedNetworkAsync(int32_t, int32_t, const std::string& networkId);
    int32_t SoftBusStartDisNet(const std::string& networkId);
    // Asks the peer to open its hotspot, and starts to connect, like StartDistributedNetwork. Uses the data channel of
    // a collaboration (link/collaboration.h) instead of a soft bus session. The remote interface has no request for
    // this function, so only code in the service's process can call it. Blocks for at most about 30 s.
    int32_t CollaborationStartDisNet(const std::string& networkId);
    // StopDistributedNetwork only logs and returns 0. The peer closes its hotspot by its own rules.
    int32_t StopDistributedNetwork(int32_t, int32_t, const std::string& networkId) override;

    // Fills deviceList with every known device of the account, the reachable devices first. Returns 0;
    // DISTNET_ERR_GENERAL if the service is not running; DISTNET_ERR_NO_DEVICE if the list is empty.
    int32_t GetAvailableDeviceList(std::vector<DmDeviceInfo>& deviceList) override;
    int32_t GetAvailableDeviceListAsync(std::vector<DmDeviceInfo>& deviceList);
    // Sets result to a JSON object with a member for each requested item that the service knows. If the value of an
    // item cannot be read, the member is empty or false. For some items, a fault event reports the failure. Blocks for
    // at most twice RADIO_STATE_WAIT. Returns 0, or DISTNET_ERR_GENERAL if the service is not running.
    int32_t GetRemoteDeviceInfo(std::vector<std::string> items, std::string& result) override;
    int32_t GetRemoteDeviceInfoAsync(std::vector<std::string> items, std::string& result);

    // Each of the following functions adds one capability item to root, as a JSON member. Returns 0 or
    // DISTNET_ERR_GENERAL.
    int32_t SupportSmartHotSpot(cJSON* root);
    int32_t GetHotspotName(cJSON* root);
    int32_t GetCurrentBssid(cJSON* root);

    // Returns true if the radio of a SIM slot is on. Blocks until the answer arrives, for at most RADIO_STATE_WAIT.
    // Returns false also if the query fails or times out.
    bool IsRadioOn(int32_t slotId);

    // Runs when EVENT_REQUEST_PATH_TIMEOUT (distnet_event_handler.h) arrives. Calls TryToLinkFromSoftBus and returns 0.
    int32_t HandleRequestPathTimeout();
    // TryToLinkFromSoftBus and TryToLinkDirect only log and return 0.
    int32_t TryToLinkFromSoftBus();
    int32_t TryToLinkDirect();
    // Runs when EVENT_STOP_DISTRIBUTED_NETWORK (distnet_event_handler.h) arrives. Calls ReleasePath of the decision
    // manager, which always fails.
    void HandleStopDistributedNetwork();

    // Logs the code and the message, and returns 0. Ignores the third argument.
    int32_t ReportError(int32_t code, const std::string& msg, bool);
    // Returns the message for the event about a failed hotspot exchange, and sets eventCode to the code for this event.
    // For HOTSPOT_FAIL_PEER (the peer could not open its hotspot), the message contains "save wlan error".
    std::string ErrCodeTransToMsg(int32_t errCode, int32_t& eventCode);

private:
    friend class GetRadioStateCallback;
    friend NeverDestroyed<DistNetService>;

    static constexpr int32_t STATE_STOPPED = 0;
    static constexpr int32_t STATE_RUNNING = 1;

    DistNetService();
    ~DistNetService() override = default;

    // Publishes the remote interface, and starts a task that initializes the decision manager. Does nothing if this has
    // already been done. Returns false if the service cannot be registered or published (logged).
    bool Init();
    std::shared_ptr<ConvergedDecisionManager> DecisionManager();
    // Writes the system event about a hotspot exchange that failed on the session. Returns DISTNET_ERR_LINK.
    int32_t ReportHotspotFailure(EventInfo& info, int32_t sessionId, int32_t result);
    // Runs body on the task runtime and blocks until body returns. Returns the result of body, or DISTNET_ERR_GENERAL
    // if the runtime did not run body.
    static int32_t RunSynchronously(const std::function<int32_t()>& body);

    std::atomic<bool> isInitialized_{false};
    std::atomic<int32_t> runningState_{0};  // STATE_STOPPED or STATE_RUNNING
    std::shared_ptr<ConvergedDecisionManager> decisionManager_ GUARDED_BY(decisionManagerMutex_);
    FFRTUtils::Mutex taskMutex_;
    FFRTUtils::ConditionVariable taskCondition_;
    Mutex startNetworkMutex_;  // held during a whole StartDistributedNetworkAsync
    Mutex remoteInfoMutex_;    // held during a whole GetRemoteDeviceInfoAsync
    CondVar radioCondition_;
    Mutex radioMutex_;  // held during a whole IsRadioOn, except while IsRadioOn waits
    bool isRadioOn_ GUARDED_BY(radioMutex_) = false;
    bool isRadioStateReceived_ GUARDED_BY(radioMutex_) = false;
    Mutex decisionManagerMutex_;
};

// Receives the answer to a radio state query on a platform thread. Does not own the service. The pointer to the service
// may be null.
class GetRadioStateCallback : public Telephony::INetworkSearchCallbackStub {
public:
    explicit GetRadioStateCallback(DistNetService* service) : service_(service) {}
    // If errorCode is not 0, the radio counts as off.
    void OnGetRadioStateCallback(bool isOn, int32_t errorCode) override;

private:
    DistNetService* const service_;
};

}  // namespace Vexo::NetManagerStandard
