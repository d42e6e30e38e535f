#include "distributed/services/link/soft_bus_adapter.h"

#include <utility>

#include "distributed/services/link/data_listener.h"
#include "distributed/services/link/link_message.h"
#include "distributed/services/utils/common_utils.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "distributed/services/utils/singleton.h"
#include "platform/base/securec.h"
#include "platform/softbus/session.h"

namespace Vexo::NetManagerStandard {
namespace {

int SoftBusSessionOpenedAdapter(int sessionId, int result)
{
    SoftBusAdapter::GetInstance()->SetPending(sessionId, result);
    return DataListener::GetInstance()->OnSessionOpened(sessionId, result);
}

void SoftBusSessionClosedAdapter(int sessionId)
{
    DataListener::GetInstance()->OnSessionClosed(sessionId);
}

void SoftBusBytesReceivedAdapter(int sessionId, const void* data, unsigned int len)
{
    DataListener::GetInstance()->OnBytesReceived(sessionId, data, len);
}

}  // namespace

NeverDestroyed<std::shared_ptr<SoftBusAdapter>> SoftBusAdapter::instance_;
Mutex SoftBusAdapter::instanceMutex_;
std::atomic<bool> SoftBusAdapter::isInstanceCreated_{false};

bool PendingSession::GetPendingResult()
{
    const MutexLock lock(mutex_);
    if (!condition_.WaitFor(mutex_, SESSION_OPEN_WAIT, [this]() REQUIRES(mutex_) { return status == 1; })) {
        NETMGR_EXT_LOGE(" GetPendingResult isTimeout!");
        return false;
    }
    return isSucc;
}

void PendingSession::SetPendingResult(int result)
{
    const MutexLock lock(mutex_);
    isSucc = result == 0;
    status = 1;
    condition_.NotifyAll();
}

std::shared_ptr<SoftBusAdapter> SoftBusAdapter::GetInstance()
{
    return GetOrCreateInstance(instance_, instanceMutex_, isInstanceCreated_);
}

SoftBusAdapter::SoftBusAdapter()
{
    NETMGR_EXT_LOGI(" create SoftBusAdapter object success");
    DataListener::GetInstance()->Init();
    sessionListener_.OnSessionOpened = SoftBusSessionOpenedAdapter;
    sessionListener_.OnSessionClosed = SoftBusSessionClosedAdapter;
    sessionListener_.OnBytesReceived = SoftBusBytesReceivedAdapter;
}

SoftBusAdapter::~SoftBusAdapter()
{
    NETMGR_EXT_LOGE(" SoftBusAdapter destructed");
}

int32_t SoftBusAdapter::CreateSoftBusSessionServer()
{
    const int32_t ret = CreateSessionServer(PKG_NAME, SESSION_NAME, &sessionListener_);
    if (ret != 0) {
        NETMGR_EXT_LOGE(" CreateSessionServer fail, %{public}d", ret);
        return DISTNET_ERR_SESSION_SERVER;
    }
    return DISTNET_SUCCESS;
}

int32_t SoftBusAdapter::RemoveSoftBusSessionServer()
{
    const int32_t ret = RemoveSessionServer(PKG_NAME, SESSION_NAME);
    if (ret != 0) {
        NETMGR_EXT_LOGE(" RemoveSoftBusSessionServer fail, %{public}d", ret);
        return DISTNET_ERR_SESSION_SERVER;
    }
    return DISTNET_SUCCESS;
}

int32_t SoftBusAdapter::OpenSoftBusSession(const std::string& deviceId, int& sessionId)
{
    NETMGR_EXT_LOGI(" OpenSoftBusSession id: %{public}s", CommonUtils::GetAnonymousDeviceID(deviceId));
    // linkTypeNum is the length of the array. The unused elements of the array are LINK_TYPE_NONE.
    const int32_t linkTypes[LINK_TYPE_COUNT] = {LINK_TYPE_WIFI_5G, LINK_TYPE_WIFI_2G, LINK_TYPE_BR};
    SessionAttribute attr{};
    attr.dataType = TYPE_BYTES;
    attr.linkTypeNum = LINK_TYPE_COUNT;
    if (memcpy_s(attr.linkType, sizeof(attr.linkType), linkTypes, sizeof(linkTypes)) != SECUREC_OK) {
        NETMGR_EXT_LOGE(" Softbus open session params copy failed.");
        return DISTNET_ERR_OPEN_SESSION_COPY;
    }
    const int32_t ret = OpenSoftBusSession(deviceId, SESSION_NAME, &attr, sessionId);
    if (ret != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" OpenSoftBusSession failed.");
    }
    return ret;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the adapter's interface takes sessionName by value
int32_t SoftBusAdapter::OpenSoftBusSession(const std::string& networkId, std::string sessionName,
                                           const SessionAttribute* attr, int& sessionId)
{
    if (networkId.empty() || attr == nullptr || sessionName.empty()) {
        NETMGR_EXT_LOGE("  OpenSession fail, invalid param!");
        return DISTNET_ERR_OPEN_SESSION_PARAM;
    }
    sessionId = OpenSession(sessionName.c_str(), sessionName.c_str(), networkId.c_str(), "", attr);
    if (sessionId < 0) {
        NETMGR_EXT_LOGE("  OpenSession fail errCode = %{public}d", sessionId);
        return DISTNET_ERR_OPEN_SESSION;
    }
    if (!StartPending(sessionId)) {
        NETMGR_EXT_LOGE("  wait SessionOpen fail, sessionId = %{public}d", sessionId);
        StopPending(sessionId);
        CloseSoftBusSession(sessionId);
        return DISTNET_ERR_OPEN_SESSION;
    }
    StopPending(sessionId);
    NETMGR_EXT_LOGI(" wait SessionOpen succ, sessionId = %{public}d", sessionId);
    return DISTNET_SUCCESS;
}

int32_t SoftBusAdapter::CloseSoftBusSession(int sessionId)
{
    NETMGR_EXT_LOGI(" sessionId = %{public}d", sessionId);
    CloseSession(sessionId);
    return DISTNET_SUCCESS;
}

bool SoftBusAdapter::StartPending(int sessionId)
{
    const auto pending = std::make_shared<PendingSession>();
    {
        const WriterLock lock(pendingMutex_);
        if (!pendingSessions_.emplace(sessionId, pending).second) {
            NETMGR_EXT_LOGE(" StartPending: sessionId=%{public}d already exist!", sessionId);
            return false;
        }
    }
    NETMGR_EXT_LOGI(" StartPending: sessionId=%{public}d", sessionId);
    return pending->GetPendingResult();
}

void SoftBusAdapter::SetPending(int sessionId, int result)
{
    const WriterLock lock(pendingMutex_);
    const auto pending = pendingSessions_.find(sessionId);
    if (pending == pendingSessions_.end()) {
        NETMGR_EXT_LOGE(" SetPending: sessionId=%{public}d, result=%{public}d", sessionId, result);
        return;
    }
    pending->second->SetPendingResult(result);
    NETMGR_EXT_LOGI(" SetPending: sessionId=%{public}d, result=%{public}d", sessionId, result);
}

void SoftBusAdapter::StopPending(int sessionId)
{
    {
        const WriterLock lock(pendingMutex_);
        pendingSessions_.erase(sessionId);
    }
    NETMGR_EXT_LOGI(" StopPending: sessionId=%{public}d", sessionId);
}

int32_t SoftBusAdapter::SendSoftBusBytes(int sessionId, const void* data, int len)
{
    NETMGR_EXT_LOGI(" SendSoftBusBytes: sessionId = %{public}d", sessionId);
    const int32_t ret = SendBytes(sessionId, data, static_cast<unsigned int>(len));
    if (ret != 0) {
        NETMGR_EXT_LOGE(" SendBytes fail, errorCode:%{public}d", ret);
        return DISTNET_ERR_SEND;
    }
    return DISTNET_SUCCESS;
}

int32_t SoftBusAdapter::SendSoftBusStr(int sessionId, std::string& msg)
{
    NETMGR_EXT_LOGI(" SendSoftBusStr: sessionId = %{public}d, msgSize = %{public}d", sessionId,
                    static_cast<int32_t>(msg.size()));
    if (msg.size() > MSG_MAX_SIZE) {
        NETMGR_EXT_LOGE(" SendSoftBusStr error: message.size() > MSG_MAX_SIZE");
        return DISTNET_ERR_SEND;
    }
    const size_t size = msg.size() + 1;
    const MessageBytes bytes = ZeroedBytes(size);
    if (!bytes) {
        NETMGR_EXT_LOGE(" SendSoftBusStr: malloc memory failed");
        return DISTNET_ERR_SEND;
    }
    if (memcpy_s(bytes.get(), size, msg.c_str(), msg.size()) != SECUREC_OK) {
        NETMGR_EXT_LOGE(" SendSoftBusStr: memcpy memory failed");
        return DISTNET_ERR_SEND;
    }
    return SendBytes(sessionId, bytes.get(), static_cast<unsigned int>(size));
}

int32_t SoftBusAdapter::SendHelloMessage(int sessionId)
{
    const MessageTlvHelloRequest request;
    NETMGR_EXT_LOGI(" SendHelloMessage request: %{public}d, %{public}d, %{public}d, %{public}d",
                    static_cast<int32_t>(request.type), static_cast<int32_t>(request.length),
                    static_cast<int32_t>(request.value0), static_cast<int32_t>(request.value1));
    return SendSoftBusBytes(sessionId, request.getBytes().get(), sizeof(request));
}

int32_t SoftBusAdapter::SendStartHotspotMessage(int sessionId)
{
    const AwaitedAnswer::Request waiting(hotspotAnswer_, sessionId);
    const MessageTlvStartHotspotRequest request;
    NETMGR_EXT_LOGI(" SendStartHotspotMessage request: %{public}d", static_cast<int32_t>(request.type));
    if (SendSoftBusBytes(sessionId, request.getBytes().get(), sizeof(request)) != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" SendSoftBusBytes fail");
        CloseSoftBusSession(sessionId);
        return DISTNET_ERR_SEND;
    }
    NETMGR_EXT_LOGI(" SendStartHotspotMessage wait result");
    const std::optional<int32_t> result = hotspotAnswer_.WaitForResult(START_HOTSPOT_ANSWER_WAIT);
    if (!result) {
        NETMGR_EXT_LOGE(" SendStartHotspotMessage wait over time");
        CloseSoftBusSession(sessionId);
        return DISTNET_ERR_HOTSPOT_TIMEOUT;
    }
    NETMGR_EXT_LOGI(" SendStartHotspotMessage result: %{public}d", *result);
    return *result;
}

bool SoftBusAdapter::ClaimAnswer(int sessionId)
{
    return hotspotAnswer_.Claim(sessionId);
}

void SoftBusAdapter::CloseSessionCondition(int sessionId, int result)
{
    hotspotAnswer_.Post(sessionId, result, [this, sessionId] {
        NETMGR_EXT_LOGI(" CloseSessionCondition, sessionId = %{public}d", sessionId);
        CloseSoftBusSession(sessionId);
    });
}

int32_t SoftBusAdapter::GetPhysicalDeviceInfo(const std::string& pkgName, NodeBasicInfo** info, int* infoNum)
{
    return GetAllNodeDeviceInfo(pkgName.c_str(), info, infoNum);
}

}  // namespace Vexo::NetManagerStandard
