// distnet_client: the service from any program. One DistNetClient is one connection to the daemon; each call blocks
// until the answer is there or its limit has passed, and never throws. A dead or absent daemon is an error in the
// result, not a crash. Calls of one client run one at a time; any thread. Closing the client (or its destruction)
// releases the service, so that an idle daemon can unload it. Result codes:
// distributed/services/utils/distnet_errors.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Client {

inline constexpr const char* DEFAULT_SOCKET = "/run/distnet/ipc.sock";

// How a call ended, before any code of the service is looked at.
enum class CallStatus : int32_t {
    ANSWERED = 0,     // code says what the service answered
    UNREACHABLE = 1,  // no daemon, or it went away during the call
    REFUSED = 2,      // this caller lacks the permission (code 201)
    TIMED_OUT = 3,    // no answer within the limit; the client is closed
    BAD_ANSWER = 4,   // the answer cannot be read: another version, or not our daemon
    NOT_LOADED = 5,   // the daemon answers, but its service could not be started
};

struct CallResult {
    CallStatus status = CallStatus::ANSWERED;
    int32_t code = 0;     // when ANSWERED or REFUSED
    std::string message;  // one sentence for a person when it did not succeed; empty on success

    bool Succeeded() const { return status == CallStatus::ANSWERED && code == 0; }
};

struct Device {
    std::string deviceId;
    std::string name;
    uint16_t typeId = 0;
    std::string networkId;
    int32_t range = 0;
    int32_t networkType = 0;
    int32_t authForm = 0;
    std::string extraData;
};

class DistNetClient {
public:
    // Connects. On failure the client is null and result says why.
    static std::unique_ptr<DistNetClient> Connect(const std::string& socketPath, CallResult& result);
    ~DistNetClient();
    DistNetClient(const DistNetClient&) = delete;
    DistNetClient& operator=(const DistNetClient&) = delete;

    // Applies to each later call. 30 s at first.
    void SetLimit(std::chrono::milliseconds limit);

    // ---- ability 1163, loaded on demand -------------------------------------------------------------------
    // state: how the service stands then: 0 not loaded, 1 active, 2 idle.
    CallResult StartService(uint32_t& state);
    CallResult ReleaseService(uint32_t& state);
    // Asks the peer (64 hex characters) for its hotspot and joins it. Code 0: the join has been started, see
    // WaitForWifi. first and second are carried to the service, which does not interpret them; 0 will do.
    CallResult StartDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult StopDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult GetAvailableDeviceList(std::vector<Device>& devices);
    // json: an object with a member for each known item. A failed item shows in its value only.
    CallResult GetRemoteDeviceInfo(const std::vector<std::string>& items, std::string& json);

    // ---- ability 1164, the daemon about itself; never loads the service. Codes: Host::HostResult. What is answered
    // ---- is written on success only.
    CallResult GetStatus(Host::HostStatus& status);
    CallResult GetCounts(Host::HostCounts& counts);
    // Every device of the account that this one has met, online first.
    CallResult GetDevices(std::vector<Host::KnownDevice>& devices);
    // What `distnetctl doctor` shows, in its order. May take as long as the radio's answer, 10 s.
    CallResult GetChecks(std::vector<QuviewDFX::HealthCheck>& checks);
    // Events that follow the cursor (0: the oldest), and the next cursor. Returns when there are some, or after wait,
    // at most HOST_MAX_WAIT; wait is added to the limit.
    CallResult GetEvents(uint64_t cursor, std::chrono::milliseconds wait, Host::EventPage& page);
    // Records the daemon's spans, for limit (at most 10 min) at the longest. A detached recording is meant to outlive
    // this program.
    CallResult StartTrace(std::chrono::milliseconds limit, bool detached, uint32_t& recording);
    // Stops a recording (0: the oldest detached one) and returns its trace from offset on, in pieces.
    CallResult StopTrace(uint32_t recording, uint64_t offset, Host::TracePiece& piece);
    // Returns when attempt or state of this device's Wi-Fi differ from known (of GetStatus, or the wait before), or
    // after wait, at most HOST_MAX_WAIT; wait is added to the limit.
    CallResult WaitForWifi(const Host::WifiStatus& known, std::chrono::milliseconds wait, Host::WifiStatus& wifi);

    // Releases the service if this client used it, and closes. Bounded by 1 s. Idempotent.
    void Close();

private:
    class Impl;
    explicit DistNetClient(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// The code's name ("DISTNET_ERR_LINK"), its meaning, and what a person can do next; for an unknown code "unknown code".
struct CodeText {
    const char* name;
    const char* meaning;
    const char* advice;
};
CodeText DescribeCode(int32_t code);

}  // namespace Vexo::Client
