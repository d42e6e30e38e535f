// DistNetService: ability 1163, the service itself. One object for the life of the process; it registers itself when
// the library is loaded. The host calls OnStart and OnStop. Requests arrive on IPC workers through
// distnet_service_stub.h; each operation runs its body (…Async) on the task runtime and blocks until the body returns.
// Result codes: distnet_errors.h. Files: distnet_service.cpp (life cycle), distnet_service_network.cpp (start and
// stop), distnet_service_query.cpp (queries).
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

    // StartService and ReleaseService can be called in any state of the service. They set state to the ability's state
    // (SystemAbilityState). ReleaseService unloads the ability when the last client releases the service.
    // ReleaseService does not set state while another client holds the service, or if unloading fails
    // (DISTNET_ERR_GENERAL).
    int32_t StartService(uint32_t& state) override;
    int32_t ReleaseService(uint32_t& state) override;
    int32_t StartServiceAsync(uint32_t& state);
    int32_t ReleaseServiceAsync(uint32_t& state);

    // Gets this device online through the peer's hotspot; one start at a time. Blocks during the whole exchange, at
    // most about 20 s. Returns 0; DISTNET_ERR_GENERAL if the service is not running or the peer belongs to another
    // account; DISTNET_ERR_COLLABORATION_START; or DISTNET_ERR_LINK. Each attempt is reported in system events.
    int32_t StartDistributedNetwork(int32_t, int32_t, const std::string& networkId) override;
    int32_t StartDistributedNetworkAsync(int32_t, int32_t, const std::string& networkId);
    int32_t SoftBusStartDisNet(const std::string& networkId);
    // Runs the exchange over the data channel of a collaboration (link/collaboration.h) instead of a soft bus session.
    // The remote interface has no request for this function: only code in the service's process can call it. Blocks for
    // at most about 25 s.
    int32_t CollaborationStartDisNet(const std::string& networkId);
    // Only logs and returns 0. The peer closes its hotspot by its own rules.
    int32_t StopDistributedNetwork(int32_t, int32_t, const std::string& networkId) override;

    // Fills deviceList with the trusted devices that are online. Returns 0; DISTNET_ERR_GENERAL if the service is not
    // running; DISTNET_ERR_NO_DEVICE if the list is empty.
    int32_t GetAvailableDeviceList(std::vector<DmDeviceInfo>& deviceList) override;
    int32_t GetAvailableDeviceListAsync(std::vector<DmDeviceInfo>& deviceList);
    // Sets result to a JSON object with a member for each known item. An item whose value is not available is empty or
    // false; a failure is reported in a fault event. Blocks for at most twice RADIO_STATE_WAIT. Returns 0, or
    // DISTNET_ERR_GENERAL if the service is not running.
    int32_t GetRemoteDeviceInfo(std::vector<std::string> items, std::string& result) override;
    int32_t GetRemoteDeviceInfoAsync(std::vector<std::string> items, std::string& result);

    // Each adds one member to root. Returns 0 or DISTNET_ERR_GENERAL.
    int32_t SupportSmartHotSpot(cJSON* root);
    int32_t GetHotspotName(cJSON* root);
    int32_t GetCurrentBssid(cJSON* root);

    // Returns whether the radio of a SIM slot is on. Blocks until the answer arrives, for at most RADIO_STATE_WAIT.
    // Returns false also if the query fails or times out.
    bool IsRadioOn(int32_t slotId);

    // Called for EVENT_REQUEST_PATH_TIMEOUT (distnet_event_handler.h). Calls TryToLinkFromSoftBus and returns 0.
    int32_t HandleRequestPathTimeout();
    // Both only log and return 0.
    int32_t TryToLinkFromSoftBus();
    int32_t TryToLinkDirect();
    // Called for EVENT_STOP_DISTRIBUTED_NETWORK. Releases the network path.
    void HandleStopDistributedNetwork();

    // Logs code and msg and returns 0. Ignores the third argument.
    int32_t ReportError(int32_t code, const std::string& msg, bool);
    // Returns the message for the event about a failed hotspot exchange, and sets eventCode. The message for
    // HOTSPOT_FAIL_PEER (-97, the peer could not open its hotspot) reads "save wlan error".
    std::string ErrCodeTransToMsg(int32_t errCode, int32_t& eventCode);

private:
    friend class GetRadioStateCallback;
    friend NeverDestroyed<DistNetService>;

    static constexpr int32_t STATE_STOPPED = 0;
    static constexpr int32_t STATE_RUNNING = 1;

    DistNetService();
    ~DistNetService() override = default;

    // Publishes the remote interface and initializes the decision manager in a task. Does nothing if this was done
    // before. Returns false if the service cannot be registered or published (logged).
    bool Init();
    std::shared_ptr<ConvergedDecisionManager> DecisionManager();
    // Sends the event about a failed exchange on the session. Returns DISTNET_ERR_LINK.
    int32_t ReportHotspotFailure(EventInfo& info, int32_t sessionId, int32_t result);
    // Runs body on the task runtime and blocks until body returns. Returns the result of body, or DISTNET_ERR_GENERAL
    // if the runtime did not run body.
    static int32_t RunSynchronously(const std::function<int32_t()>& body);

    std::atomic<bool> isInitialized_{false};
    std::atomic<int32_t> runningState_{0};  // STATE_STOPPED or STATE_RUNNING
    std::shared_ptr<ConvergedDecisionManager> decisionManager_ GUARDED_BY(decisionManagerMutex_);
    FFRTUtils::Mutex taskMutex_;
    FFRTUtils::ConditionVariable taskCondition_;
    Mutex startNetworkMutex_;  // held during a whole start
    Mutex remoteInfoMutex_;    // held during a whole capability query
    CondVar radioCondition_;
    Mutex radioMutex_;  // held during a whole radio query, except while the query waits
    bool isRadioOn_ GUARDED_BY(radioMutex_) = false;
    bool isRadioStateReceived_ GUARDED_BY(radioMutex_) = false;
    Mutex decisionManagerMutex_;
};

// Receives the answer to a radio state query, on a platform thread. Does not own the service; the pointer may be null.
class GetRadioStateCallback : public Telephony::INetworkSearchCallbackStub {
public:
    explicit GetRadioStateCallback(DistNetService* service) : service_(service) {}
    // If errorCode is not 0, the radio counts as off.
    void OnGetRadioStateCallback(bool isOn, int32_t errorCode) override;

private:
    DistNetService* const service_;
};

}  // namespace Vexo::NetManagerStandard
