// DistNetClient: lets any program use the service. One client is one connection to the daemon. Each call blocks until
// the answer arrives or the limit of SetLimit passes. No call throws. If the daemon is absent or ends, the result says
// so. Any thread may call; calls of one client run one after another. Closing or destroying a client releases the
// service, so that an idle daemon can unload it. distributed/services/utils/distnet_errors.h lists the result codes.
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
    ANSWERED = 0,     // CallResult::code is the result that the service or the daemon returned
    UNREACHABLE = 1,  // the daemon does not run, or ended during the call
    REFUSED = 2,      // this caller lacks the permission (code 201)
    TIMED_OUT = 3,    // no answer arrived within the limit of the call; the client is closed
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
    // Connects to the daemon's socket. On failure returns null and writes the reason to the parameter result.
    static std::unique_ptr<DistNetClient> Connect(const std::string& socketPath, CallResult& result);
    ~DistNetClient();
    DistNetClient(const DistNetClient&) = delete;
    DistNetClient& operator=(const DistNetClient&) = delete;

    // Sets how long each later call waits for its answer. The default is 30 s.
    void SetLimit(std::chrono::milliseconds limit);

    // ---- Ability 1163 (the service), which is loaded on demand.
    // The parameter state receives the state of the service after the call: 0 not loaded, 1 active, 2 idle.
    CallResult StartService(uint32_t& state);
    CallResult ReleaseService(uint32_t& state);
    // Asks the device with this network id (64 hex characters) to open its hotspot, and starts to join it. Code 0 means
    // that the join has started; WaitForWifi reports how the join ends. Pass 0 for first and second, because the
    // service ignores them.
    CallResult StartDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult StopDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult GetAvailableDeviceList(std::vector<Device>& devices);
    // json: receives a JSON object with one member for each known item. The call succeeds even if the service cannot
    // determine an item. The value of that item is then false or empty.
    CallResult GetRemoteDeviceInfo(const std::vector<std::string>& items, std::string& json);

    // ---- Ability 1164: requests to the daemon about itself. These calls never load the service. The result codes are
    // ---- those of Host::HostResult. Output parameters are written only on success.
    CallResult GetStatus(Host::HostStatus& status);
    CallResult GetCounts(Host::HostCounts& counts);
    // Lists the known devices of the account, online devices first.
    CallResult GetDevices(std::vector<Host::KnownDevice>& devices);
    // Lists the devices like GetDevices, after the daemon has tried to reach every device for up to 5 s. wait: time
    // that is added to the limit of SetLimit. If both are too short, the call returns early, but the daemon's scan
    // continues.
    CallResult ScanDevices(std::vector<Host::KnownDevice>& devices,
                           std::chrono::milliseconds wait = Host::HOST_SCAN_LIMIT);
    // Runs the checks of `distnetctl doctor`, and returns them in the same order. Takes up to 10 s if the radio does
    // not answer.
    CallResult GetChecks(std::vector<QuviewDFX::HealthCheck>& checks);
    // Reads the events that follow cursor (0: all stored events). page receives the events and the cursor for the next
    // call. If no event follows yet, blocks until one does or the duration wait has passed. wait: at most
    // HOST_MAX_WAIT; it is added to the limit of SetLimit.
    CallResult GetEvents(uint64_t cursor, std::chrono::milliseconds wait, Host::EventPage& page);
    // Starts to record the daemon's trace spans. The parameter recording receives the number of the recording. The
    // recording stops by itself after the duration limit (at most 10 min). A detached recording may continue after this
    // program ends. StopTrace finds a detached recording without its number.
    CallResult StartTrace(std::chrono::milliseconds limit, bool detached, uint32_t& recording);
    // Stops the recording (0: the oldest detached one), and reads the piece of its trace that starts at the byte
    // offset.
    CallResult StopTrace(uint32_t recording, uint64_t offset, Host::TracePiece& piece);
    // Waits until the attempt or the state of this device's Wi-Fi differs from known, or until the duration wait has
    // passed. known: the answer of GetStatus or of the previous call. wait: at most HOST_MAX_WAIT; it is added to the
    // limit of SetLimit.
    CallResult WaitForWifi(const Host::WifiStatus& known, std::chrono::milliseconds wait, Host::WifiStatus& wifi);

    // ---- Ability 1164: the account. The member fault of an answer says what the daemon could not do. The status
    // ---- REFUSED means that this user may not change the account. A call that changes the account may wait until a
    // ---- person has entered a password, so HOST_PERMISSION_LIMIT is added to the limit of SetLimit.
    // The daemon cancels an invitation or a join when the last connection of this process closes.
    CallResult OpenInvitation(bool admitsWithoutAsking, Host::InvitationAnswer& invitation);
    // Waits until the invitation's revision differs from the parameter revision, or until the duration wait has passed.
    // In WaitForInvitation, WaitForJoin and WaitForOnline, wait is at most HOST_MAX_WAIT and is added to the limit of
    // SetLimit.
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

    // ---- Ability 1164: getting online through another device. The member fault of an answer says what the daemon
    // ---- could not do.
    // networkIds: the devices to try, in this order; empty: all known devices, the best first. The daemon cancels the
    // attempt when the last connection of this process closes.
    CallResult BeginOnline(Host::OnlineMode mode, const std::vector<std::string>& networkIds,
                           Host::OnlineAnswer& attempt);
    // Waits until the attempt's revision differs from the parameter revision, or until the duration wait has passed.
    CallResult WaitForOnline(uint32_t revision, std::chrono::milliseconds wait, Host::OnlineAnswer& attempt);
    // Cancels the attempt and waits until the attempt is undone. ONLINE_UNDO_LIMIT is added to the limit of SetLimit.
    // hasTimedOut: true if this program cancels because its own time limit has passed.
    CallResult CancelOnline(bool hasTimedOut, Host::OnlineAnswer& attempt);
    // Leaves the other device's network and waits until that is complete. ONLINE_UNDO_LIMIT is added to the limit of
    // SetLimit.
    CallResult BringDown(Host::DownAnswer& down);
    CallResult GetOnline(Host::OnlineStatus& status);
    CallResult SetAuto(bool isOn, Host::OnlineChange& answer);
    CallResult SetPreferred(const std::vector<std::string>& networkIds, Host::OnlineChange& answer);
    // ---- Ability 1164: sharing this device's network.
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

// Describes a result code for a person: its name ("DISTNET_ERR_LINK"), its meaning, and advice. The meaning of an
// unknown code is "unknown code".
struct CodeText {
    const char* name;
    const char* meaning;
    const char* advice;
};
CodeText DescribeCode(int32_t code);

}  // namespace Vexo::Client
