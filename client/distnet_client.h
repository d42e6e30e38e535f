// DistNetClient: lets any program use the service. One client is one connection to the daemon. Each call blocks until
// the answer arrives or the limit passes, and never throws: when the daemon is absent or dies, the result says so.
// Calls may come from any thread; those of one client run one after another. Closing or destroying a client releases
// the service, so that an idle daemon can unload it. Result codes: distributed/services/utils/distnet_errors.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "interfaces/account_answers.h"
#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"
#include "interfaces/sharing_answers.h"

namespace Vexo::Client {

inline constexpr const char* DEFAULT_SOCKET = "/run/distnet/ipc.sock";

// How a call ended.
enum class CallStatus : int32_t {
    ANSWERED = 0,     // code is the result that the service or the daemon returned
    UNREACHABLE = 1,  // no daemon, or it went away during the call
    REFUSED = 2,      // this caller lacks the permission (code 201)
    TIMED_OUT = 3,    // no answer within the limit; the client is closed
    BAD_ANSWER = 4,   // no usable answer: the request is too large, or the daemon is busy, failed or of another version
    NOT_LOADED = 5,   // the daemon runs, but could not start the service
};

struct CallResult {
    CallStatus status = CallStatus::ANSWERED;
    int32_t code = 0;     // when ANSWERED or REFUSED
    std::string message;  // why the call failed, as one sentence for a person; empty on success

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
    // Connects to the daemon's socket. Returns null on failure; result says why.
    static std::unique_ptr<DistNetClient> Connect(const std::string& socketPath, CallResult& result);
    ~DistNetClient();
    DistNetClient(const DistNetClient&) = delete;
    DistNetClient& operator=(const DistNetClient&) = delete;

    // Sets how long each later call waits for its answer. The default is 30 s.
    void SetLimit(std::chrono::milliseconds limit);

    // ---- ability 1163, loaded on demand -------------------------------------------------------------------
    // state receives the state of the service after the call: 0 not loaded, 1 active, 2 idle.
    CallResult StartService(uint32_t& state);
    CallResult ReleaseService(uint32_t& state);
    // Asks the peer with this network id (64 hex characters) to open its hotspot, and starts to join it. Code 0 means
    // that the join has started; WaitForWifi reports how it ends. The service does not interpret first and second; pass
    // 0.
    CallResult StartDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult StopDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult GetAvailableDeviceList(std::vector<Device>& devices);
    // json receives an object with one member for each known item. The call succeeds even if an item cannot be
    // determined; the item's value is then false or empty.
    CallResult GetRemoteDeviceInfo(const std::vector<std::string>& items, std::string& json);

    // ---- ability 1164, the daemon about itself; never loads the service. Codes: Host::HostResult. Output parameters
    // ---- are written on success only.
    CallResult GetStatus(Host::HostStatus& status);
    CallResult GetCounts(Host::HostCounts& counts);
    // The known devices of the account, those that are online first.
    CallResult GetDevices(std::vector<Host::KnownDevice>& devices);
    // The same, but the daemon tries to reach every one of them first, which takes up to 5 s. wait is added to the
    // limit; a shorter one ends this call early, but not the daemon's scan.
    CallResult ScanDevices(std::vector<Host::KnownDevice>& devices,
                           std::chrono::milliseconds wait = Host::HOST_SCAN_LIMIT);
    // The checks that `distnetctl doctor` shows, in the same order. Takes up to 10 s when the radio does not answer.
    CallResult GetChecks(std::vector<QuviewDFX::HealthCheck>& checks);
    // Reads the events that follow cursor (0: from the oldest on). page holds the cursor for the next call. If there is
    // no event yet, waits for one until wait has passed. wait is at most HOST_MAX_WAIT and is added to the limit.
    CallResult GetEvents(uint64_t cursor, std::chrono::milliseconds wait, Host::EventPage& page);
    // Starts to record the daemon's trace spans; recording receives the number. The recording ends by itself after
    // limit (at most 10 min). A detached one is meant to outlive this program: StopTrace finds it without its number.
    CallResult StartTrace(std::chrono::milliseconds limit, bool detached, uint32_t& recording);
    // Stops the recording (0: the oldest detached one) and reads a piece of its trace, which starts at byte offset.
    CallResult StopTrace(uint32_t recording, uint64_t offset, Host::TracePiece& piece);
    // Waits until the attempt or the state of this device's Wi-Fi differs from known, which comes from GetStatus or
    // from the previous call, or until wait has passed. wait is at most HOST_MAX_WAIT and is added to the limit.
    CallResult WaitForWifi(const Host::WifiStatus& known, std::chrono::milliseconds wait, Host::WifiStatus& wifi);

    // ---- ability 1164, the account. A call that succeeds has an answer; its fault says what the daemon could not do.
    // ---- REFUSED: this user may not change the account. The calls that change it may wait until a person has given a
    // ---- password (HOST_PERMISSION_LIMIT, added to the limit).
    // An invitation ends when it is closed, and when the last connection of this process ends; so does a join.
    CallResult OpenInvitation(bool admitsWithoutAsking, Host::InvitationAnswer& invitation);
    // Waits until the invitation differs from the one with that revision, or until wait has passed; as WaitForWifi.
    CallResult WaitForInvitation(uint32_t revision, std::chrono::milliseconds wait, Host::InvitationAnswer& invitation);
    // Whether the device with that network id, which is ASKING, is admitted.
    CallResult AnswerJoiner(const std::string& networkId, bool admit, Host::ChangeAnswer& answer);
    CallResult CloseInvitation(Host::ChangeAnswer& answer);
    // deviceName: what the account calls this device; empty: its configured name.
    CallResult StartJoin(const std::string& ticket, const std::string& deviceName, Host::JoinAnswer& join);
    CallResult WaitForJoin(uint32_t revision, std::chrono::milliseconds wait, Host::JoinAnswer& join);
    CallResult CancelJoin(Host::ChangeAnswer& answer);
    CallResult GetMembers(Host::MemberList& list);
    CallResult RenameMember(const std::string& networkId, const std::string& name, Host::ChangeAnswer& answer);
    // announcesNewKeyOnly: members that have not heard of the removal are not announced to any more.
    CallResult RemoveMember(const std::string& networkId, bool announcesNewKeyOnly, Host::ChangeAnswer& answer);
    CallResult LeaveAccount(Host::ChangeAnswer& answer);
    CallResult RenewAccount(Host::ChangeAnswer& answer);
    // Hands the account's key to that member, which must be reachable.
    CallResult TransferAccount(const std::string& networkId, Host::ChangeAnswer& answer);

    // ---- ability 1164, online through another device. A call that succeeds has an answer; its fault says what the
    // ---- daemon could not do.
    // networkIds: those to try, in this order; empty: all known devices, the best first. An attempt ends when it is
    // cancelled, and when the last connection of this process ends.
    CallResult BeginOnline(Host::OnlineMode mode, const std::vector<std::string>& networkIds,
                           Host::OnlineAnswer& attempt);
    // Waits until the attempt differs from the one with that revision, or until wait has passed; as WaitForWifi.
    CallResult WaitForOnline(uint32_t revision, std::chrono::milliseconds wait, Host::OnlineAnswer& attempt);
    // Ends the attempt and waits until it is undone (ONLINE_UNDO_LIMIT, added to the limit). hasTimedOut: the reason.
    CallResult CancelOnline(bool hasTimedOut, Host::OnlineAnswer& attempt);
    // Leaves the other device's network and waits until that is done (ONLINE_UNDO_LIMIT, added to the limit).
    CallResult BringDown(Host::DownAnswer& down);
    CallResult GetOnline(Host::OnlineStatus& status);
    CallResult SetAuto(bool isOn, Host::OnlineChange& answer);
    CallResult SetPreferred(const std::vector<std::string>& networkIds, Host::OnlineChange& answer);
    // ---- ability 1164, sharing this device's network
    CallResult GetSharing(Host::ShareStatus& status);
    CallResult AnswerShareRequest(const std::string& networkId, Host::ShareDecision decision,
                                  Host::ShareChange& answer);

    // Releases the service if this client used it, and closes the connection. Blocks for at most 1 s. Idempotent.
    void Close();

private:
    class Impl;
    explicit DistNetClient(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// A result code in words: its name ("DISTNET_ERR_LINK"), its meaning, and what a person can do next. The meaning of an
// unknown code is "unknown code".
struct CodeText {
    const char* name;
    const char* meaning;
    const char* advice;
};
CodeText DescribeCode(int32_t code);

}  // namespace Vexo::Client
