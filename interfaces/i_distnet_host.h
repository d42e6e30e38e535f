// IDistNetHost: the interface of the daemon's own ability (1164): status, devices, counts, events, traces and checks.
// This file also lists the request codes for the account, for getting online and for sharing. Those operations are
// declared in host/account_operations.h, host/online/online.h and host/sharing/sharing.h. No request loads the service
// (ability 1163), but the attempt that BEGIN_ONLINE starts does. Each request starts with the interface token. A caller
// needs the same rights as a caller of the service. Several IPC workers may call the operations at once.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

#include "interfaces/host_answers.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Host {

enum class HostInterfaceCode : uint32_t {
    // The comment beside a request lists its arguments. The comment also describes the answer if the request's name
    // does not. Each reply starts with an int32 HostResult. After HOST_OK a string follows: the answer as JSON
    // (host_answers_json.h). The daemon answers a WAIT_FOR_ request or GET_EVENTS when the requested value changes, or
    // when the time in the argument "limit" (at most 60 s) has passed.
    GET_STATUS = 1,
    WAIT_FOR_WIFI = 2,  // uint32 attempt, int32 state, uint32 limit in ms; answers once attempt or state differs
    GET_COUNTS = 3,
    GET_DEVICES = 4,   // every known device of the account, online or not
    GET_EVENTS = 5,    // uint64 cursor, uint32 limit in ms; the answer contains the events after the cursor
    START_TRACE = 6,   // uint32 limit in ms, bool detached; starts to record spans
    STOP_TRACE = 7,    // uint32 recording, uint64 offset; the answer is a piece of the recording's trace
    GET_CHECKS = 8,    // the checks of `distnetctl doctor`; blocks on the disk and the radio
    SCAN_DEVICES = 9,  // tries to reach every device for up to 5 s, then answers like GET_DEVICES
    // Requests about the account (account_answers.h). A caller that changes the account needs further rights
    // (host/account_rights.h). An invitation or a join belongs to the process that began it. Only that process may send
    // the requests 11 to 13, 15 and 16. When that process ends, its invitation or join is cancelled.
    OPEN_INVITATION = 10,      // bool whether devices are admitted without asking a person
    WAIT_FOR_INVITATION = 11,  // uint32 revision, uint32 limit in ms; answers once the revision differs
    ANSWER_JOINER = 12,        // string network id, bool whether the device is admitted
    CLOSE_INVITATION = 13,
    START_JOIN = 14,     // string ticket, string device name (empty: the configured name)
    WAIT_FOR_JOIN = 15,  // uint32 revision, uint32 limit in ms; answers once the revision differs
    CANCEL_JOIN = 16,
    GET_MEMBERS = 17,
    RENAME_MEMBER = 18,  // string network id, string name
    REMOVE_MEMBER = 19,  // string network id, bool whether announcements use the new key only
    LEAVE_ACCOUNT = 20,
    RENEW_ACCOUNT = 21,
    TRANSFER_ACCOUNT = 22,  // string network id; hands the account's key to that member
    // Requests about getting online through another device (online_answers.h). An attempt belongs to the process that
    // began it. Only that process may send the requests 24 and 25. When that process ends, its attempt is cancelled.
    BEGIN_ONLINE = 23,     // uint32 mode, uint32 count, count network ids as strings (count 0: all known devices)
    WAIT_FOR_ONLINE = 24,  // uint32 revision, uint32 limit in ms; answers once the revision differs
    CANCEL_ONLINE = 25,    // bool whether the program's time limit passed; answers once the attempt is undone
    BRING_DOWN = 26,       // answers once this device has left the other device's network
    GET_ONLINE = 27,
    SET_AUTO = 28,       // bool whether automatic mode is on
    SET_PREFERRED = 29,  // uint32 count, count network ids as strings, the best first
    // Requests about sharing this device's network (sharing_answers.h)
    GET_SHARING = 30,
    ANSWER_SHARE_REQUEST = 31,  // string network id, uint32 decision
};

class IDistNetHost : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.DistNet.IDistNetHost")

    // Receives the answer of an operation that may have to wait. Called exactly once: either on the caller's thread
    // before the operation returns, or later on any thread. value: the answer; valid only if result is HOST_OK.
    template <typename Value>
    using Answer = std::function<void(int32_t result, const Value& value)>;

    // The following functions return a HostResult. They set their output parameter only if they return HOST_OK.
    virtual int32_t GetStatus(HostStatus& status) = 0;
    virtual int32_t GetCounts(HostCounts& counts) = 0;
    virtual int32_t GetDevices(DeviceList& devices) = 0;
    virtual int32_t GetChecks(CheckList& checks) = 0;  // blocks on disk and radio
    virtual int32_t StartTrace(std::chrono::milliseconds limit, bool detached, TraceRecording& started) = 0;
    virtual int32_t StopTrace(uint32_t recording, uint64_t offset, TracePiece& piece) = 0;
    // WaitForWifi and GetEvents do not block. They call the function answer when the requested value has changed, or
    // when the time limit has passed.
    virtual void WaitForWifi(uint32_t attempt, WifiState state, std::chrono::milliseconds limit,
                             Answer<WifiStatus> answer) = 0;
    virtual void GetEvents(uint64_t cursor, std::chrono::milliseconds limit, Answer<EventPage> answer) = 0;
    // Does not block. The daemon tries to reach every known device, for at most 5 s. Then it asks the reachable devices
    // for their DeviceFacts, for at most 1.5 s, and then calls the function answer.
    virtual void ScanDevices(Answer<DeviceList> answer) = 0;
};

}  // namespace Vexo::Host
