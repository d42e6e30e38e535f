// IDistNetHost: what the daemon says about itself (ability 1164): status, devices, counts, events, traces and checks.
// It never loads the service. Requests carry the interface token; the caller needs the same rights as for the service;
// a refusal is an int32 result in the reply. Replies start with int32 result; the text that follows on success is one
// JSON object whose keys docs/ipc.md lists.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/ipc/iremote_object.h"

namespace Vexo::Host {

enum class HostInterfaceCode : uint32_t {
    GET_STATUS = 1,     // ->  int32 result, string json
    WAIT_FOR_WIFI = 2,  // uint32 attempt, int32 state, uint32 limit in ms  ->  int32 result, string json.
                        //   Answers as soon as attempt or state differ from those given, or at the limit (at most 60 s)
    GET_COUNTS = 3,     // ->  int32 result, string json
    GET_DEVICES = 4,    // ->  int32 result, string json: every device of the account met since start, online or away
    GET_EVENTS = 5,     // uint64 cursor, uint32 limit in ms  ->  int32 result, string json: events that follow the
                        //   cursor. Answers as soon as there are some, at the latest at the limit (at most 60 s)
    START_TRACE = 6,    // uint32 limit in ms, bool detached  ->  int32 result, string json: a recording of spans
    STOP_TRACE = 7,     // uint32 recording, uint64 offset  ->  int32 result, string json: a piece of its trace
    GET_CHECKS = 8,     // ->  int32 result, string json: what `distnetctl doctor` shows. Blocks on disk and radio
};

// The longest wait that WAIT_FOR_WIFI and GET_EVENTS take; HOST_BAD_REQUEST for a longer one.
inline constexpr std::chrono::milliseconds HOST_MAX_WAIT{60'000};

enum HostResult : int32_t {
    HOST_OK = 0,
    HOST_NOT_PERMITTED = 201,
    HOST_NO_WIFI = 1,       // WAIT_FOR_WIFI: this device has no Wi-Fi ability
    HOST_BAD_REQUEST = 2,   // arguments missing or out of range
    HOST_BUSY = 3,          // START_TRACE: as many recordings run as are allowed
    HOST_NO_RECORDING = 4,  // STOP_TRACE: no such recording, or nothing at that offset
};

class IDistNetHost : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"Vexo.DistNet.IDistNetHost")

    // Takes the answer of an operation that waits: once, on the calling thread before the operation returns, or later
    // on any.
    using Answer = std::function<void(int32_t result, const std::string& json)>;

    virtual int32_t GetStatus(std::string& json) = 0;
    virtual void WaitForWifi(uint32_t attempt, int32_t state, std::chrono::milliseconds limit, Answer answer) = 0;
    virtual int32_t GetCounts(std::string& json) = 0;
    virtual int32_t GetDevices(std::string& json) = 0;
    virtual void GetEvents(uint64_t cursor, std::chrono::milliseconds limit, Answer answer) = 0;
    virtual int32_t StartTrace(uint32_t limitMs, bool detached, std::string& json) = 0;
    virtual int32_t StopTrace(uint32_t recording, uint64_t offset, std::string& json) = 0;
    virtual int32_t GetChecks(std::string& json) = 0;
};

}  // namespace Vexo::Host
