#include "distributed/services/service/distnet_service_stub.h"

#include <algorithm>

#include "distributed/services/service/distnet_permissions.h"
#include "distributed/services/utils/common_utils.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/access/accesstoken_kit.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr uint32_t RequestCode(DistNetInterfaceCode code)
{
    return static_cast<uint32_t>(code);
}

using StateOperation = int32_t (IDistNetService::*)(uint32_t& state);
using NetworkOperation = int32_t (IDistNetService::*)(int32_t, int32_t, const std::string& networkId);

int32_t AnswerState(IDistNetService& service, StateOperation operation, MessageParcel& reply)
{
    uint32_t state = 0;
    const int32_t result = (service.*operation)(state);
    return reply.WriteInt32(result) && reply.WriteUint32(state) ? DISTNET_SUCCESS : DISTNET_ERR_WRITE_REPLY;
}

int32_t AnswerNetwork(IDistNetService& service, NetworkOperation operation, MessageParcel& data, MessageParcel& reply)
{
    int32_t first = 0;
    int32_t second = 0;
    std::string networkId;
    if (!data.ReadInt32(first) || !data.ReadInt32(second) || !data.ReadString(networkId)) {
        return DISTNET_ERR_READ_DATA;
    }
    const int32_t result = (service.*operation)(first, second, networkId);
    return reply.WriteInt32(result) ? DISTNET_SUCCESS : DISTNET_ERR_WRITE_REPLY;
}

bool WriteDevice(MessageParcel& reply, const DmDeviceInfo& device)
{
    return reply.WriteString(device.deviceId) && reply.WriteString(device.deviceName) &&
           reply.WriteUint16(device.deviceTypeId) && reply.WriteString(device.networkId) &&
           reply.WriteInt32(device.range) && reply.WriteInt32(device.networkType) &&
           reply.WriteInt32(device.authForm) && reply.WriteString(device.extraData);
}

}  // namespace

const DistNetServiceStub::PermissionAndUid DistNetServiceStub::originPermissionAndUid_{
    {PERMISSION_CONNECTIVITY_INTERNAL}, {}};

const std::map<uint32_t, std::pair<DistNetServiceStub::RequestHandler, DistNetServiceStub::PermissionAndUid>>
    DistNetServiceStub::memberFuncMap_{
        {RequestCode(DistNetInterfaceCode::START_SERVICE),
         {&DistNetServiceStub::OnStartService, originPermissionAndUid_}},
        {RequestCode(DistNetInterfaceCode::RELEASE_SERVICE),
         {&DistNetServiceStub::OnReleaseService, originPermissionAndUid_}},
        {RequestCode(DistNetInterfaceCode::START_DISTRIBUTED_NETWORK),
         {&DistNetServiceStub::OnStartDistributedNetwork, originPermissionAndUid_}},
        {RequestCode(DistNetInterfaceCode::STOP_DISTRIBUTED_NETWORK),
         {&DistNetServiceStub::OnStopDistributedNetwork, originPermissionAndUid_}},
        {RequestCode(DistNetInterfaceCode::GET_AVAILABLE_DEVICE_LIST),
         {&DistNetServiceStub::OngetAvailableDeviceList, originPermissionAndUid_}},
        {RequestCode(DistNetInterfaceCode::GET_REMOTE_DEVICE_INFO),
         {&DistNetServiceStub::OnGetRemoteDeviceInfo, originPermissionAndUid_}},
    };

int DistNetServiceStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)
{
    if (data.ReadInterfaceToken() != GetObjectDescriptor()) {
        NETMGR_EXT_LOGE(" descriptor checked fail");
        return OnDescriptorMismatch(code, data, reply, option);
    }
    const auto row = memberFuncMap_.find(code);
    if (row == memberFuncMap_.end() || row->second.first == nullptr) {
        return IPCObjectStub::OnRemoteRequest(code, data, reply, option);
    }
    const auto& [handler, required] = row->second;
    if (!CheckSystemApp()) {
        NETMGR_EXT_LOGE(" not system APP!");
        return OnPermissionDenied(code, data, reply, option);
    }
    if (!CheckPermission(required.permissions)) {
        NETMGR_EXT_LOGE(" permission denied!");
        return OnPermissionDenied(code, data, reply, option);
    }
    RecordClient(code);
    return (this->*handler)(data, reply);
}

bool DistNetServiceStub::HasClients()
{
    const MutexLock lock(clientPidsMutex_);
    return !clientPids_.empty();
}

bool DistNetServiceStub::CheckSystemApp()
{
    return Security::TokenIdKit::IsSystemAppByFullTokenID(IPCSkeleton::GetCallingFullTokenID());
}

bool DistNetServiceStub::CheckPermission(const std::set<std::string>& permissions)
{
    return std::all_of(permissions.begin(), permissions.end(), CommonUtils::CheckPermission);
}

bool DistNetServiceStub::CheckPermissionWithCache(const std::set<std::string>& permissions)
{
    return std::all_of(permissions.begin(), permissions.end(), CommonUtils::CheckPermissionWithCache);
}

int32_t DistNetServiceStub::OnDescriptorMismatch(uint32_t code, MessageParcel& data, MessageParcel& reply,
                                                 MessageOption& option)
{
    return Refuse(DISTNET_ERR_DESCRIPTOR_MISMATCH, code, data, reply, option);
}

int32_t DistNetServiceStub::OnPermissionDenied(uint32_t code, MessageParcel& data, MessageParcel& reply,
                                               MessageOption& option)
{
    return Refuse(DISTNET_ERR_PERMISSION_DENIED, code, data, reply, option);
}

int32_t DistNetServiceStub::Refuse(int32_t reason, uint32_t code, MessageParcel& data, MessageParcel& reply,
                                   MessageOption& option)
{
    if (!reply.WriteInt32(reason)) {
        return DISTNET_ERR_REPLY_REFUSAL;
    }
    return IPCObjectStub::OnRemoteRequest(code, data, reply, option);
}

void DistNetServiceStub::RecordClient(uint32_t code)
{
    const int32_t pid = IPCSkeleton::GetCallingPid();
    const MutexLock lock(clientPidsMutex_);
    clientPids_.insert(pid);
    if (code == RequestCode(DistNetInterfaceCode::RELEASE_SERVICE)) {
        clientPids_.erase(pid);
    }
}

int32_t DistNetServiceStub::OnStartService(MessageParcel&, MessageParcel& reply)
{
    return AnswerState(*this, &IDistNetService::StartService, reply);
}

int32_t DistNetServiceStub::OnReleaseService(MessageParcel&, MessageParcel& reply)
{
    return AnswerState(*this, &IDistNetService::ReleaseService, reply);
}

int32_t DistNetServiceStub::OnStartDistributedNetwork(MessageParcel& data, MessageParcel& reply)
{
    return AnswerNetwork(*this, &IDistNetService::StartDistributedNetwork, data, reply);
}

int32_t DistNetServiceStub::OnStopDistributedNetwork(MessageParcel& data, MessageParcel& reply)
{
    return AnswerNetwork(*this, &IDistNetService::StopDistributedNetwork, data, reply);
}

int32_t DistNetServiceStub::OngetAvailableDeviceList(MessageParcel&, MessageParcel& reply)
{
    std::vector<DmDeviceInfo> deviceList;
    const int32_t result = GetAvailableDeviceList(deviceList);
    if (!reply.WriteInt32(result)) {
        return DISTNET_ERR_WRITE_REPLY;
    }
    // The list is written after the result, also if the result is an error.
    const int32_t ret = DmDeviceInfoMarshalling(reply, deviceList);
    if (ret != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" OngetAvailableDeviceList DmDeviceInfoMarshalling fail");
    }
    return ret;
}

int32_t DistNetServiceStub::OnGetRemoteDeviceInfo(MessageParcel& data, MessageParcel& reply)
{
    std::vector<std::string> items;
    if (!data.ReadStringVector(items)) {
        return DISTNET_ERR_READ_DATA;
    }
    std::string result;
    if (GetRemoteDeviceInfo(items, result) != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" GetRemoteDeviceInfo fail");
    }
    // The reply contains only the text and no result code. The text is empty if the query failed.
    return reply.WriteString(result) ? DISTNET_SUCCESS : DISTNET_ERR_WRITE_REPLY;
}

int32_t DistNetServiceStub::DmDeviceInfoMarshalling(MessageParcel& reply, const std::vector<DmDeviceInfo>& deviceList)
{
    if (!reply.WriteUint32(static_cast<uint32_t>(deviceList.size()))) {
        return DISTNET_ERR_WRITE_REPLY;
    }
    for (const DmDeviceInfo& device : deviceList) {
        if (!WriteDevice(reply, device)) {
            return DISTNET_ERR_WRITE_REPLY;
        }
    }
    return DISTNET_SUCCESS;
}

}  // namespace Vexo::NetManagerStandard
