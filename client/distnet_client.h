// DistNetClient: lets any program use the service. One client is one connection to the daemon. Each call blocks until
// the answer arrives or the limit passes. No call throws: when the daemon is absent or dies, the result says so. Any
// thread may call; calls of one client run one after another. Closing or destroying a client releases the service, so
// that an idle daemon can unload it. Result codes: distributed/services/utils/distnet_errors.h.
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
    UNREACHABLE = 1,  // the daemon does not run, or ended during the call
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
    // Asks the device with this network id (64 hex characters) to open its hotspot, and starts to join it. Code 0 means
    // that the join has started; WaitForWifi reports its outcome. The service ignores first and second; pass 0.
    CallResult StartDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult StopDistributedNetwork(int32_t first, int32_t second, const std::string& networkId);
    CallResult GetAvailableDeviceList(std::vector<Device>& devices);
    // json receives an object with one member for each known item. The call succeeds even if an item cannot be
    // determined; the item's value is then false or empty.
    CallResult GetRemoteDeviceInfo(const std::vector<std::string>& items, std::string& json);

    // ---- ability 1164: the daemon about itself. These calls never load the service. Codes: Host::HostResult. Output
    // ---- parameters are written on success only.
    CallResult GetStatus(Host::HostStatus& status);
    CallResult GetCounts(Host::HostCounts& counts);
    // Lists the known devices of the account, online devices first.
    CallResult GetDevices(std::vector<Host::KnownDevice>& devices);
    // As GetDevices, but the daemon first tries to reach every device, which takes up to 5 s. wait is added to the
    // limit. If wait is shorter, this call returns early, but the daemon's scan goes on.
    CallResult ScanDevices(std::vector<Host::KnownDevice>& devices,
                           std::chrono::milliseconds wait = Host::HOST_SCAN_LIMIT);
    // Runs the checks of `distnetctl doctor`, and returns them in the same order. Takes up to 10 s if the radio does
    // not answer.
    CallResult GetChecks(std::vector<QuviewDFX::HealthCheck>& checks);
    // Reads the events that follow cursor (0: all that are stored). page contains the cursor for the next call. If
    // there is no event yet, blocks until there is one or until wait has passed. wait is at most HOST_MAX_WAIT and is
    // added to the limit.
    CallResult GetEvents(uint64_t cursor, std::chrono::milliseconds wait, Host::EventPage& page);
    // Starts to record the daemon's trace spans; recording receives the number of the recording. The recording stops by
    // itself after limit (at most 10 min). A detached recording may outlive this program; StopTrace finds it without
    // its number.
    CallResult StartTrace(std::chrono::milliseconds limit, bool detached, uint32_t& recording);
    // Stops the recording (0: the oldest detached one) and reads the piece of its trace that starts at byte offset.
    CallResult StopTrace(uint32_t recording, uint64_t offset, Host::TracePiece& piece);
    // Waits until the attempt or the state of this device's Wi-Fi differs from known, or until wait has passed. known
    // comes from GetStatus or from the previous call. wait is at most HOST_MAX_WAIT and is added to the limit.
    CallResult WaitForWifi(const Host::WifiStatus& known, std::chrono::milliseconds wait, Host::WifiStatus& wifi);

    // ---- ability 1164: the account. An answer's fault says what the daemon could not do. REFUSED: this user may not
    // ---- change the account. A call that changes the account may wait until a person has entered a password
    // ---- (HOST_PERMISSION_LIMIT, added to the limit).
    // An invitation or a join is cancelled when the last connection of this process closes.
    CallResult OpenInvitation(bool admitsWithoutAsking, Host::InvitationAnswer& invitation);
    // Waits until the invitation's revision differs from revision, or until wait has passed. wait is limited as in
    // WaitForWifi; the same holds for WaitForJoin and WaitForOnline.
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
    // announcesNewKeyOnly: this device announces itself with the account's new key only, so members that have not
    // learned of the removal do not recognize its announcements.
    CallResult RemoveMember(const std::string& networkId, bool announcesNewKeyOnly, Host::ChangeAnswer& answer);
    CallResult LeaveAccount(Host::ChangeAnswer& answer);
    CallResult RenewAccount(Host::ChangeAnswer& answer);
    // Hands the account's key to the member with that network id, which must be reachable.
    CallResult TransferAccount(const std::string& networkId, Host::ChangeAnswer& answer);

    // ---- ability 1164: getting online through another device. An answer's fault says what the daemon could not do.
    // networkIds: the devices to try, in this order; empty: all known devices, the best first. The attempt is cancelled
    // when the last connection of this process closes.
    CallResult BeginOnline(Host::OnlineMode mode, const std::vector<std::string>& networkIds,
                           Host::OnlineAnswer& attempt);
    // Waits until the attempt's revision differs from revision, or until wait has passed.
    CallResult WaitForOnline(uint32_t revision, std::chrono::milliseconds wait, Host::OnlineAnswer& attempt);
    // Cancels the attempt and waits until it is undone (ONLINE_UNDO_LIMIT, added to the limit). hasTimedOut: the reason
    // is that this program's time limit has passed.
    CallResult CancelOnline(bool hasTimedOut, Host::OnlineAnswer& attempt);
    // Leaves the other device's network and waits until that is complete (ONLINE_UNDO_LIMIT, added to the limit).
    CallResult BringDown(Host::DownAnswer& down);
    CallResult GetOnline(Host::OnlineStatus& status);
    CallResult SetAuto(bool isOn, Host::OnlineChange& answer);
    CallResult SetPreferred(const std::vector<std::string>& networkIds, Host::OnlineChange& answer);
    // ---- ability 1164: sharing this device's network
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
