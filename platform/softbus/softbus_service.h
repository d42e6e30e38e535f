// ISoftBusService: what stands behind the plain functions of session.h: the object registered as ability 4700. The real
// one is SoftBusServer (softbus_server.h); tests register their own. Same contracts as the functions; any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/refbase.h"
#include "platform/softbus/softbus_types.h"

namespace Vexo::SoftBus {

// A device of this account whose certificate was verified in a handshake. Ids are 64 hex characters.
struct Node {
    std::string networkId;
    std::string deviceId;
    std::string deviceName;
    uint16_t deviceTypeId = 0;
    bool online = false;     // reachable: it announces itself, or was spoken with in the last 5 minutes
    int64_t lastSeenMs = 0;  // when it was spoken with last: milliseconds since 1970, UTC; now while it is reachable
    // Its clock less this device's, provided that neither was set since it said so. Nothing before it has said so
    // in this run, and while it is away; how far its clock is off is known as long as it is heard.
    std::optional<std::chrono::milliseconds> clockAhead{};
    std::string transport{};  // over which it would be tried first: "tcp"
    std::string address{};    // where, in the transport's notation; empty for one that only connected from outside
};

// Device types that a node announces.
enum DeviceTypeId : uint16_t {
    DEVICE_TYPE_UNKNOWN = 0,
    DEVICE_TYPE_PHONE = 1,
    DEVICE_TYPE_TABLET = 2,
    DEVICE_TYPE_LAPTOP = 3
};

class ISoftBusService : public virtual RefBase {
public:
    virtual int CreateSessionServer(const std::string& pkgName, const std::string& sessionName,
                                    const ISessionListener& listener) = 0;
    virtual int RemoveSessionServer(const std::string& pkgName, const std::string& sessionName) = 0;
    virtual int OpenSession(const std::string& mySessionName, const std::string& peerSessionName,
                            const std::string& peerNetworkId, const SessionAttribute& attr) = 0;
    virtual void CloseSession(int sessionId) = 0;
    virtual int SendBytes(int sessionId, const void* data, unsigned int len) = 0;
    virtual int GetPeerNetworkId(int sessionId, std::string& networkId) = 0;
    // Every known device, those reachable first, then by name. Memory only.
    virtual std::vector<Node> Nodes() = 0;
    // The device itself.
    virtual Node LocalNode() = 0;
};

}  // namespace Vexo::SoftBus
