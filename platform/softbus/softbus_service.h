// ISoftBusService: the interface of ability (in-process service) 4700, which the plain functions of session.h call.
// SoftBusServer (softbus_server.h) implements it, and tests register their own implementations. A function that has the
// same name as a function of session.h has the same contract. Thread-safe.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/refbase.h"
#include "platform/softbus/softbus_types.h"

namespace Vexo::SoftBus {

// One attempt to connect to a device at one address.
struct AddressTried {
    std::string transport;
    std::string address;
    WallTime at;         // when the attempt ended
    std::string answer;  // why the attempt failed, as text for a person; empty: the attempt succeeded
};

// A device of this account whose certificate was verified in a handshake. Ids are 64 hex characters.
struct Node {
    std::string networkId;
    std::string deviceId;
    std::string deviceName;
    uint16_t deviceTypeId = 0;
    bool online = false;     // the device is reachable: it announces itself, or it had contact in the last 5 minutes
    int64_t lastSeenMs = 0;  // last contact, in ms since 1970-01-01 UTC; the current time while the device is reachable
    // How far the device's clock is ahead of this device's clock. For a reachable device that sent HELLO in this run:
    // at its last HELLO. For any other device: according to its announcement, if the announcement shows a difference.
    // No value if not known.
    std::optional<std::chrono::milliseconds> clockAhead{};
    std::string transport{};            // the transport of address, such as "tcp"
    std::string address{};              // the address to try first; empty if this device never connected to that device
    std::vector<AddressTried> tried{};  // the latest attempt at each address in this run, newest first
};

// The values of Node::deviceTypeId.
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
    // Returns every known device. Reachable devices are first, and each group is sorted by name. Does not block.
    virtual std::vector<Node> Nodes() = 0;
    virtual Node LocalNode() = 0;
};

}  // namespace Vexo::SoftBus
