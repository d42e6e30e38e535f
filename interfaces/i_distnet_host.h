// IDistNetHost: the interface of the daemon's own ability (1164): status, devices, counts, events, traces and checks.
// The request codes for the account, for getting online and for sharing are listed here too; their operations are
// declared in host/account_operations.h, host/online/online.h and host/sharing/sharing.h. Handling a request does not
// load the service (ability 1163); an attempt that BEGIN_ONLINE starts does. A request starts with the interface token.
// The caller needs the same rights as for the service. Called on IPC workers, several at once.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

#include "interfaces/host_answers.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Host {

enum class HostInterfaceCode : uint32_t {
    // The comments list the arguments of each request and, where the name does not say it, the content of the answer.
    // Each reply is an int32 HostResult. With HOST_OK a string follows: the answer as JSON (host_answers_json.h).
    // The WAIT_FOR_ requests and GET_EVENTS answer as soon as there is something new, or when the limit has passed;
    // the limit is at most 60 s.
    GET_STATUS = 1,
    WAIT_FOR_WIFI = 2,  // uint32 attempt, int32 state, uint32 limit in ms; new: attempt or state differs
    GET_COUNTS = 3,
    GET_DEVICES = 4,   // every known device of the account, online or not
    GET_EVENTS = 5,    // uint64 cursor, uint32 limit in ms; the events that follow the cursor
    START_TRACE = 6,   // uint32 limit in ms, bool detached; starts a recording of spans
    STOP_TRACE = 7,    // uint32 recording, uint64 offset; a piece of the recording's trace
    GET_CHECKS = 8,    // the checks that `distnetctl doctor` shows; blocks on disk and radio
    SCAN_DEVICES = 9,  // as GET_DEVICES, but tries to reach every device first, which takes up to 5 s
    // The account (account_answers.h). Requests that change the account need other rights (host/account_rights.h). An
    // invitation or a join belongs to the process that began it: only that process may use 11 to 13, 15 and 16, and its
    // end cancels the invitation or the join.
    OPEN_INVITATION = 10,      // bool admit without asking
    WAIT_FOR_INVITATION = 11,  // uint32 revision, uint32 limit in ms; new: the revision differs
    ANSWER_JOINER = 12,        // string network id, bool admit
    CLOSE_INVITATION = 13,
    START_JOIN = 14,     // string ticket, string device name (empty: as configured)
    WAIT_FOR_JOIN = 15,  // uint32 revision, uint32 limit in ms; new: the revision differs
    CANCEL_JOIN = 16,
    GET_MEMBERS = 17,
    RENAME_MEMBER = 18,  // string network id, string name
    REMOVE_MEMBER = 19,  // string network id, bool announce with the new key only
    LEAVE_ACCOUNT = 20,
    RENEW_ACCOUNT = 21,
    TRANSFER_ACCOUNT = 22,  // string network id; hands the account's key to that member
    // Getting online through another device (online_answers.h). An attempt belongs to the process that began it: only
    // that process may use 24 and 25, and its end cancels the attempt.
    BEGIN_ONLINE = 23,     // uint32 mode, uint32 count, count strings network id (count 0: all known devices)
    WAIT_FOR_ONLINE = 24,  // uint32 revision, uint32 limit in ms; new: the revision differs
    CANCEL_ONLINE = 25,    // bool whether the program's time limit passed; answers once the attempt is undone
    BRING_DOWN = 26,       // answers once this device has left the other device's network
    GET_ONLINE = 27,
    SET_AUTO = 28,       // bool on
    SET_PREFERRED = 29,  // uint32 count, count strings network id, the best first
    // Sharing this device's network (sharing_answers.h)
    GET_SHARING = 30,
    ANSWER_SHARE_REQUEST = 31,  // string network id, uint32 decision
};

class IDistNetHost : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.DistNet.IDistNetHost")

    // Receives the answer of an operation that waits. Called exactly once: on the calling thread before the operation
    // returns, or later on any thread. value is valid with HOST_OK only.
    template <typename Value>
    using Answer = std::function<void(int32_t result, const Value& value)>;

    // Each of these returns a HostResult, and writes the answer with HOST_OK only.
    virtual int32_t GetStatus(HostStatus& status) = 0;
    virtual int32_t GetCounts(HostCounts& counts) = 0;
    virtual int32_t GetDevices(DeviceList& devices) = 0;
    virtual int32_t GetChecks(CheckList& checks) = 0;  // blocks on disk and radio
    virtual int32_t StartTrace(std::chrono::milliseconds limit, bool detached, TraceRecording& started) = 0;
    virtual int32_t StopTrace(uint32_t recording, uint64_t offset, TracePiece& piece) = 0;
    // These do not block. Each answers as soon as something has changed, or when the limit has passed.
    virtual void WaitForWifi(uint32_t attempt, WifiState state, std::chrono::milliseconds limit,
                             Answer<WifiStatus> answer) = 0;
    virtual void GetEvents(uint64_t cursor, std::chrono::milliseconds limit, Answer<EventPage> answer) = 0;
    // Does not block. Answers within 5 s, once every known device has been tried.
    virtual void ScanDevices(Answer<DeviceList> answer) = 0;
};

}  // namespace Vexo::Host
