// ISoftBusService: what stands behind the plain functions of session.h: the object registered as ability 4700. The real
// one is SoftBusServer (softbus_server.h); tests register their own. Same contracts as the functions; any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/refbase.h"
#include "platform/softbus/softbus_types.h"

namespace Vexo::SoftBus {

// A try to reach a device at an address.
struct WayTried {
    std::string transport;
    std::string address;
    WallTime at;         // when it ended
    std::string answer;  // what came back, in words; empty: the device was reached
};

// A device of this account whose certificate was verified in a handshake. Ids are 64 hex characters.
struct Node {
    std::string networkId;
    std::string deviceId;
    std::string deviceName;
    uint16_t deviceTypeId = 0;
    bool online = false;     // reachable: it announces itself, or the last contact was in the last 5 minutes
    int64_t lastSeenMs = 0;  // time of the last contact: milliseconds since 1970, UTC; now while it is reachable
    // How far its clock is ahead of this device's: by its last HELLO in this run if it is reachable, else by its
    // announcement if that shows a difference; otherwise empty.
    std::optional<std::chrono::milliseconds> clockAhead{};
    std::string transport{};        // of the address that would be tried first: "tcp"
    std::string address{};          // in the transport's notation; empty for a device that only connected to this one
    std::vector<WayTried> tried{};  // in this run: the latest try at each address, the latest of all first
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
