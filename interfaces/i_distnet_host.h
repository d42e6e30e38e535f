// IDistNetHost: the daemon's answers about itself (ability 1164): status, devices, counts, events, traces and checks.
// The operations of the account have codes here too, and are described in host/account_operations.h. It never loads the
// service. A request starts with the interface token, and the caller needs the same rights as for the service. A reply
// starts with an int32 result, also when the request is refused; on success the answer follows as one JSON object
// (host_answers_json.h). Called on IPC workers, several at once.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

#include "interfaces/host_answers.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Host {

enum class HostInterfaceCode : uint32_t {
    GET_STATUS = 1,     // ->  int32 result, string json
    WAIT_FOR_WIFI = 2,  // uint32 attempt, int32 state, uint32 limit in ms  ->  int32 result, string json. Answers as
                        //   soon as attempt or state differs from the given one, or at the limit (60 s at most)
    GET_COUNTS = 3,     // ->  int32 result, string json
    GET_DEVICES = 4,    // ->  int32 result, string json: every known device of the account, reachable or away
    GET_EVENTS = 5,     // uint64 cursor, uint32 limit in ms  ->  int32 result, string json: events that follow the
                        //   cursor. Answers as soon as there is one, or at the limit (60 s at most)
    START_TRACE = 6,    // uint32 limit in ms, bool detached  ->  int32 result, string json: a recording of spans
    STOP_TRACE = 7,     // uint32 recording, uint64 offset  ->  int32 result, string json: a piece of its trace
    GET_CHECKS = 8,     // ->  int32 result, string json: what `distnetctl doctor` shows. Blocks on disk and radio
    SCAN_DEVICES = 9,   // ->  int32 result, string json: as GET_DEVICES, after every device was tried. 5 s at most
    // The account (account_answers.h). Those that change it need other rights (host/account_rights.h). An invitation
    // and a join belong to the process that began them: only it may use 11 to 13, 15 and 16, and they end with it.
    OPEN_INVITATION = 10,      // bool admit without asking  ->  int32 result, string json
    WAIT_FOR_INVITATION = 11,  // uint32 revision, uint32 limit in ms  ->  int32 result, string json. Answers as soon as
                               //   the revision differs, or at the limit (60 s at most)
    ANSWER_JOINER = 12,        // string network id, bool admit  ->  int32 result, string json
    CLOSE_INVITATION = 13,     // ->  int32 result, string json
    START_JOIN = 14,        // string ticket, string device name (empty: as configured)  ->  int32 result, string json
    WAIT_FOR_JOIN = 15,     // as WAIT_FOR_INVITATION
    CANCEL_JOIN = 16,       // ->  int32 result, string json
    GET_MEMBERS = 17,       // ->  int32 result, string json
    RENAME_MEMBER = 18,     // string network id, string name  ->  int32 result, string json
    REMOVE_MEMBER = 19,     // string network id, bool announce with the new key only  ->  int32 result, string json
    LEAVE_ACCOUNT = 20,     // ->  int32 result, string json
    RENEW_ACCOUNT = 21,     // ->  int32 result, string json
    TRANSFER_ACCOUNT = 22,  // string network id  ->  int32 result, string json: hands the account's key to that member
    // Online through another device (online_answers.h). An attempt belongs to the process that began it: only it may
    // use 24 and 25, and its end cancels the attempt.
    BEGIN_ONLINE = 23,     // uint32 mode, uint32 count, count strings network id (none: all known devices)
                           //   ->  int32 result, string json
    WAIT_FOR_ONLINE = 24,  // uint32 revision, uint32 limit in ms  ->  int32 result, string json. Answers as soon as
                           //   the revision differs, or at the limit (60 s at most)
    CANCEL_ONLINE = 25,    // bool because a limit passed  ->  int32 result, string json. Answers once all is undone
    BRING_DOWN = 26,       // ->  int32 result, string json. Answers once this device has left the network
    GET_ONLINE = 27,       // ->  int32 result, string json
    SET_AUTO = 28,         // bool on  ->  int32 result, string json
    SET_PREFERRED = 29,    // uint32 count, count strings network id, the best first  ->  int32 result, string json
    // Sharing this device's network (sharing_answers.h)
    GET_SHARING = 30,           // ->  int32 result, string json
    ANSWER_SHARE_REQUEST = 31,  // string network id, uint32 decision  ->  int32 result, string json
};

class IDistNetHost : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.DistNet.IDistNetHost")

    // Receives the answer of an operation that waits. Called once: on the calling thread before the operation returns,
    // or later on any thread. The value is valid with HOST_OK only.
    template <typename Value>
    using Answer = std::function<void(int32_t result, const Value& value)>;

    // These return a HostResult and write the answer with HOST_OK only.
    virtual int32_t GetStatus(HostStatus& status) = 0;
    virtual int32_t GetCounts(HostCounts& counts) = 0;
    virtual int32_t GetDevices(DeviceList& devices) = 0;
    virtual int32_t GetChecks(CheckList& checks) = 0;  // blocks on disk and radio
    virtual int32_t StartTrace(std::chrono::milliseconds limit, bool detached, TraceRecording& started) = 0;
    virtual int32_t StopTrace(uint32_t recording, uint64_t offset, TracePiece& piece) = 0;
    // These do not block. They answer as soon as something has changed, or when the limit has passed.
    virtual void WaitForWifi(uint32_t attempt, WifiState state, std::chrono::milliseconds limit,
                             Answer<WifiStatus> answer) = 0;
    virtual void GetEvents(uint64_t cursor, std::chrono::milliseconds limit, Answer<EventPage> answer) = 0;
    // Answers when every known device was tried, within 5 s.
    virtual void ScanDevices(Answer<DeviceList> answer) = 0;
};

}  // namespace Vexo::Host
