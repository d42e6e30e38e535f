// DistNetClient: lets any program use the service. One client is one connection to the daemon. Each call blocks until
// the answer arrives or the time that SetLimit sets has passed. No call throws. If the daemon does not run or ends, the
// result says so. Any thread may call; calls of one client run one after another. Closing or destroying a client
// releases the service, so that an idle daemon can unload it. distributed/services/utils/distnet_errors.h lists the
// result codes.
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

enum class CallStatus : int32_t {
    ANSWERED = 0,     // CallResult::code is the result that the service or the daemon returned
    UNREACHABLE = 1,  // the daemon does not run, or ended during the call
    REFUSED = 2,      // this caller lacks the permission (code 201)
    TIMED_OUT = 3,    // no answer arrived in time; the client has closed the connection
    BAD_ANSWER = 4,   // no usable answer: the request is too large, or the daemon is busy, failed or of another version
    NOT_LOADED = 5,   // the daemon runs, but could not start the service
};

struct CallResult {
    CallStatus status = CallStatus::ANSWERED;
    int32_t code = 0;     // the result code; set if status is ANSWERED or REFUSED
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
    // Connects to the daemon's socket. On failure returns null and sets result to the cause of the failure.
    static std::unique_ptr<DistNetClient> Connect(const std::string& socketPath, CallResult& result);
    ~DistNetClient();
    DistNetClient(const DistNetClient&) = delete;
    DistNetClient& operator=(const DistNetClient&) = delete;

    // Sets how long each later call waits for its answer. Without this call: 30 s. The comments of this class call this
    // time the call limit.
    void SetLimit(std::chrono::milliseconds limit);

    // ---- Ability 1163 (the service), which is loaded on demand.
    // state: receives the state of the service after the call (0 not loaded, 1 active, 2 idle).
    CallResult StartService(uint32_t& state);
    CallResult ReleaseService(uint32_t& state);
    // Asks the device with this network id (64 hex characters) to open its hotspot, and starts to join it. Code 0 means
    // that the join has started; WaitForWifi reports how the join ends. first, second: ignored by the service; pass 0.
    CallResult StartDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult StopDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult GetAvailableDeviceList(std::vector<Device>& devices);
    // json: receives a JSON object with one member for each requested item that the service knows. The call succeeds
    // even if the service cannot determine an item. The value of that item is then false or empty.
    CallResult GetRemoteDeviceInfo(const std::vector<std::string>& items, std::string& json);

    // ---- Ability 1164: requests to the daemon about itself. These calls never load the service. The result codes are
    // ---- those of Host::HostResult. Output parameters are written only on success.
    CallResult GetStatus(Host::HostStatus& status);
    CallResult GetCounts(Host::HostCounts& counts);
    // Lists the known devices of the account, online devices first.
    CallResult GetDevices(std::vector<Host::KnownDevice>& devices);
    // The daemon tries to reach every device for up to 5 s. Then this call lists the devices like GetDevices. wait: the
    // time that is added to the call limit. If the sum is shorter than the scan, the call times out, but the daemon's
    // scan continues.
    CallResult ScanDevices(std::vector<Host::KnownDevice>& devices,
                           std::chrono::milliseconds wait = Host::HOST_SCAN_LIMIT);
    // Runs the checks of `distnetctl doctor`, and returns them in the same order. Takes up to 10 s if the radio does
    // not answer.
    CallResult GetChecks(std::vector<QuviewDFX::HealthCheck>& checks);
    // Reads stored events. If no event is stored after the cursor, blocks until an event is stored. cursor: the
    // position after which events are read; 0 reads all events. wait: the longest time to block, at most HOST_MAX_WAIT;
    // the call limit is extended by this time. page: receives the events and the cursor for the next call.
    CallResult GetEvents(uint64_t cursor, std::chrono::milliseconds wait, Host::EventPage& page);
    // Starts to record the daemon's trace spans. limit: the longest duration of the recording, at most 10 min.
    // detached: whether StopTrace can find the recording without its number, for example after this program has ended.
    // recording: receives the number of the recording.
    CallResult StartTrace(std::chrono::milliseconds limit, bool detached, uint32_t& recording);
    // Stops a recording and reads a piece of its trace. recording: the number of the recording; 0 means the oldest
    // detached recording. offset: the first byte of the piece.
    CallResult StopTrace(uint32_t recording, uint64_t offset, Host::TracePiece& piece);
    // Waits until this device's attempt number or Wi-Fi state differs from the given status. known: the answer of
    // GetStatus or of the previous call. wait: the longest time to wait, at most HOST_MAX_WAIT; the call limit is
    // extended by this time.
    CallResult WaitForWifi(const Host::WifiStatus& known, std::chrono::milliseconds wait, Host::WifiStatus& wifi);

    // ---- Ability 1164: the account. If an operation fails, the member "fault" of its answer says why.
    // ---- CallStatus::REFUSED means that this user may not change the account. A call that changes the account, except
    // ---- AnswerJoiner, may wait until a person has entered a password, so HOST_PERMISSION_LIMIT is added to the call
    // ---- limit.
    // The daemon cancels an invitation or a join when the last connection of this process closes.
    CallResult OpenInvitation(bool admitsWithoutAsking, Host::InvitationAnswer& invitation);
    // Waits until the invitation's revision differs from the given revision. wait: the longest time to wait, here and
    // in WaitForJoin and WaitForOnline; at most HOST_MAX_WAIT. The call limit is extended by this time.
    CallResult WaitForInvitation(uint32_t revision, std::chrono::milliseconds wait, Host::InvitationAnswer& invitation);
    // Admits or denies the device with that network id. The invitation's phase must be ASKING.
    CallResult AnswerJoiner(const std::string& networkId, bool admit, Host::ChangeAnswer& answer);
    CallResult CloseInvitation(Host::ChangeAnswer& answer);
    // deviceName: the name of this device in the account; empty: its configured name.
    CallResult StartJoin(const std::string& ticket, const std::string& deviceName, Host::JoinAnswer& join);
    CallResult WaitForJoin(uint32_t revision, std::chrono::milliseconds wait, Host::JoinAnswer& join);
    CallResult CancelJoin(Host::ChangeAnswer& answer);
    CallResult GetMembers(Host::MemberList& list);
    CallResult RenameMember(const std::string& networkId, const std::string& name, Host::ChangeAnswer& answer);
    // announcesNewKeyOnly: true if this device announces itself only with the account's new key. Then members that have
    // not learned of the removal do not recognize its announcements.
    CallResult RemoveMember(const std::string& networkId, bool announcesNewKeyOnly, Host::ChangeAnswer& answer);
    CallResult LeaveAccount(Host::ChangeAnswer& answer);
    CallResult RenewAccount(Host::ChangeAnswer& answer);
    // Hands the account's key to the member with that network id, which must be reachable.
    CallResult TransferAccount(const std::string& networkId, Host::ChangeAnswer& answer);

    // ---- Ability 1164: getting online through another device. If an operation fails, the member "fault" of its
    // ---- answer says why.
    // networkIds: the devices to try, in this order; empty: all known devices, the best first. The daemon cancels the
    // attempt when the last connection of this process closes.
    CallResult BeginOnline(Host::OnlineMode mode, const std::vector<std::string>& networkIds,
                           Host::OnlineAnswer& attempt);
    // Waits until the attempt's revision differs from the given revision.
    CallResult WaitForOnline(uint32_t revision, std::chrono::milliseconds wait, Host::OnlineAnswer& attempt);
    // Cancels the attempt and waits until the attempt is undone. ONLINE_UNDO_LIMIT is added to the call limit.
    // hasTimedOut: true if this program cancels because its own time limit has passed.
    CallResult CancelOnline(bool hasTimedOut, Host::OnlineAnswer& attempt);
    // Disconnects from the other device's network and waits until this device is disconnected. ONLINE_UNDO_LIMIT is
    // added to the call limit.
    CallResult BringDown(Host::DownAnswer& down);
    CallResult GetOnline(Host::OnlineStatus& status);
    CallResult SetAuto(bool isOn, Host::OnlineChange& answer);
    CallResult SetPreferred(const std::vector<std::string>& networkIds, Host::OnlineChange& answer);
    // ---- Ability 1164: sharing this device's network.
    CallResult GetSharing(Host::ShareStatus& status);
    CallResult AnswerShareRequest(const std::string& networkId, Host::ShareDecision decision,
                                  Host::ShareChange& answer);

    // Releases the service if this client used it, and closes the connection. Blocks until a running call of another
    // thread has ended, and then for at most 1 s. Idempotent.
    void Close();

private:
    class Impl;
    explicit DistNetClient(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// Describes a result code for a person: its name ("DISTNET_ERR_LINK"), its meaning, and advice. The meaning of an
// unknown code is "unknown code".
struct CodeText {
    const char* name;
    const char* meaning;
    const char* advice;
};
CodeText DescribeCode(int32_t code);

}  // namespace Vexo::Client
