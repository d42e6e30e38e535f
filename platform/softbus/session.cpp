#include "platform/softbus/session.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/ability/ability_ids.h"
#include "platform/ability/iservice_registry.h"
#include "platform/base/securec.h"
#include "platform/softbus/softbus_service.h"

namespace {

using Vexo::sptr;
using Vexo::SoftBus::ISoftBusService;
using Vexo::SoftBus::Node;

constexpr size_t MAX_NAME = 255;

sptr<ISoftBusService> SoftBusAbility()
{
    return Vexo::FindAbility<ISoftBusService>(Vexo::SOFTBUS_SERVER_SA_ID);
}

// Returns true if the text can be used as a name: it is not null, not empty and not too long.
bool IsName(const char* text)
{
    const size_t length = text != nullptr ? ::strnlen(text, MAX_NAME + 1) : 0;
    return length > 0 && length <= MAX_NAME;
}

void CopyText(char* to, size_t size, const std::string& from)
{
    const size_t length = std::min(from.size(), size - 1);
    Vexo::memcpy_s(to, size, from.data(), length);
    to[length] = '\0';
}

}  // namespace

int CreateSessionServer(const char* pkgName, const char* sessionName, const ISessionListener* listener)
{
    if (!IsName(pkgName) || !IsName(sessionName) || listener == nullptr) {
        return SOFTBUS_INVALID_PARAM;
    }
    const auto softBus = SoftBusAbility();
    return softBus ? softBus->CreateSessionServer(pkgName, sessionName, *listener) : SOFTBUS_UNAVAILABLE;
}

int RemoveSessionServer(const char* pkgName, const char* sessionName)
{
    if (!IsName(pkgName) || !IsName(sessionName)) {
        return SOFTBUS_INVALID_PARAM;
    }
    const auto softBus = SoftBusAbility();
    return softBus ? softBus->RemoveSessionServer(pkgName, sessionName) : SOFTBUS_UNAVAILABLE;
}

int OpenSession(const char* mySessionName, const char* peerSessionName, const char* peerNetworkId,
                const char* /*groupId*/, const SessionAttribute* attr)
{
    if (!IsName(mySessionName) || !IsName(peerSessionName) || !IsName(peerNetworkId) || attr == nullptr) {
        return SOFTBUS_INVALID_PARAM;
    }
    const auto softBus = SoftBusAbility();
    return softBus ? softBus->OpenSession(mySessionName, peerSessionName, peerNetworkId, *attr) : SOFTBUS_UNAVAILABLE;
}

void CloseSession(int sessionId)
{
    if (const auto softBus = SoftBusAbility()) {
        softBus->CloseSession(sessionId);
    }
}

int SendBytes(int sessionId, const void* data, unsigned int len)
{
    if (data == nullptr || len == 0 || len > MAX_SESSION_BYTES) {
        return SOFTBUS_INVALID_PARAM;
    }
    const auto softBus = SoftBusAbility();
    return softBus ? softBus->SendBytes(sessionId, data, len) : SOFTBUS_UNAVAILABLE;
}

int GetAllNodeDeviceInfo(const char* pkgName, NodeBasicInfo** info, int* infoNum)
{
    if (!IsName(pkgName) || info == nullptr || infoNum == nullptr) {
        return SOFTBUS_INVALID_PARAM;
    }
    *info = nullptr;
    *infoNum = 0;
    const auto softBus = SoftBusAbility();
    if (!softBus) {
        return SOFTBUS_UNAVAILABLE;
    }
    std::vector<Node> nodes = softBus->Nodes();
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(), [](const Node& node) { return !node.online; }), nodes.end());
    if (nodes.empty()) {
        return SOFTBUS_OK;
    }
    auto* block = static_cast<NodeBasicInfo*>(std::calloc(nodes.size(), sizeof(NodeBasicInfo)));
    if (block == nullptr) {
        return SOFTBUS_LIMIT;
    }
    for (size_t i = 0; i < nodes.size(); ++i) {
        CopyText(block[i].networkId, sizeof(block[i].networkId), nodes[i].networkId);
        CopyText(block[i].deviceName, sizeof(block[i].deviceName), nodes[i].deviceName);
        block[i].deviceTypeId = nodes[i].deviceTypeId;
    }
    *info = block;
    *infoNum = static_cast<int>(nodes.size());
    return SOFTBUS_OK;
}

void FreeNodeInfo(NodeBasicInfo* info)
{
    std::free(info);
}

int GetPeerDeviceId(int sessionId, char* networkId, unsigned int len)
{
    if (networkId == nullptr || len < static_cast<unsigned int>(NETWORK_ID_BUF_LEN)) {
        return SOFTBUS_INVALID_PARAM;
    }
    const auto softBus = SoftBusAbility();
    std::string peer;
    const int result = softBus ? softBus->GetPeerNetworkId(sessionId, peer) : SOFTBUS_UNAVAILABLE;
    if (result == SOFTBUS_OK) {
        CopyText(networkId, len, peer);
    }
    return result;
}
