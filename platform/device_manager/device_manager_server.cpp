#include "platform/device_manager/device_manager_server.h"

#include <algorithm>
#include <utility>

#include "platform/dfx/event_text.h"

namespace Vexo::DistributedHardware {

namespace {

constexpr int32_t RANGE_UNKNOWN = -1;

template <size_t Size>
void CopyBounded(char (&to)[Size], const std::string& from)
{
    from.copy(to, std::min(from.size(), Size - 1));  // the caller has zeroed the array, so a NUL follows the text
}

std::string ExtraData(const SoftBus::Node& node)
{
    return std::string(R"({"online":)") + (node.online ? "true" : "false") + R"(,"last_seen":")" +
           QuviewDFX::Rfc3339Seconds(node.lastSeenMs / 1000) + "\"}";
}

DmDeviceInfo InfoOf(const SoftBus::Node& node)
{
    DmDeviceInfo info;
    CopyBounded(info.deviceId, node.deviceId);
    CopyBounded(info.deviceName, node.deviceName);
    CopyBounded(info.networkId, node.networkId);
    info.deviceTypeId = node.deviceTypeId;
    info.range = RANGE_UNKNOWN;
    info.networkType = LINK_TYPE_WIFI_5G;
    info.authForm = IDENTICAL_ACCOUNT;
    info.extraData = ExtraData(node);
    return info;
}

}  // namespace

DeviceManagerServer::DeviceManagerServer(sptr<SoftBus::ISoftBusService> softBus) : softBus_(std::move(softBus)) {}

int32_t DeviceManagerServer::InitDeviceManager(const std::string& pkgName, std::shared_ptr<DmInitCallback> callback)
{
    if (pkgName.empty() || !callback) {
        return DM_INVALID_PARAM;
    }
    const MutexLock lock(mutex_);
    callbacks_[pkgName].swap(callback);
    return DM_OK;
}

int32_t DeviceManagerServer::GetTrustedDeviceList(const std::string& pkgName, const std::string& /*extra*/,
                                                  std::vector<DmDeviceInfo>& deviceList)
{
    if (pkgName.empty()) {
        return DM_INVALID_PARAM;
    }
    deviceList.clear();
    for (const SoftBus::Node& node : softBus_->Nodes()) {
        deviceList.push_back(InfoOf(node));
    }
    return DM_OK;
}

bool DeviceManagerServer::IsSameAccount(const std::string& networkId)
{
    const std::vector<SoftBus::Node> nodes = softBus_->Nodes();
    return std::any_of(nodes.begin(), nodes.end(),
                       [&](const SoftBus::Node& node) { return node.networkId == networkId; });
}

void DeviceManagerServer::Shutdown()
{
    std::map<std::string, std::shared_ptr<DmInitCallback>> callbacks;
    {
        const MutexLock lock(mutex_);
        callbacks.swap(callbacks_);
    }
    strand_.Post([callbacks = std::move(callbacks)] {
        for (const auto& [package, callback] : callbacks) {
            callback->OnRemoteDied();
        }
    });
}

}  // namespace Vexo::DistributedHardware
