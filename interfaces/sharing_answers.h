// Types for the daemon's answers about sharing this device's network through its hotspot (ability 1164, requests 30 and
// 31): which devices use the hotspot, how many bytes it has carried, and which devices ask to use it. Any thread may
// use these value types. The client does not escape strings: escape them before you show them on a terminal.
// client/distnet_client.h declares the requests, and share/doc/libdistnet-dev/ipc.md describes the encoding.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vexo::Host {

// The values of the configuration key "share.allow": which devices may use this device's network.
enum class ShareAllow : uint8_t {
    ACCOUNT,  // every device of the account, except those with the rule NEVER
    ASK,      // the owner is asked about each device that has no rule
    NOBODY,
    DEVICES,  // only devices with a rule that allows them
};

// The owner's decision about one device. Every decision except DENY is stored as the rule for that device.
enum class ShareDecision : uint32_t {
    ONCE = 1,    // allowed for one use, which must begin within 10 minutes
    TODAY = 2,   // allowed until midnight, local time
    ALWAYS = 3,  // allowed until the rule is changed
    NEVER = 4,   // refused until the rule is changed
    DENY = 5,    // denies this request only; the owner is not asked again for 10 minutes
};

// A user of this device's hotspot: a device with a lease, or a connected station. A device with a lease reports
// regularly that it uses the hotspot.
struct ShareUser {
    std::string networkId;  // empty if the station belongs to no device with a lease
    std::string deviceName;
    std::string macAddress;
    std::chrono::sys_seconds since;
    uint64_t bytes = 0;        // received and sent, since the time ShareUser::since
    bool hasLease = false;     // the device renewed its lease within the last 150 s
    bool isConnected = false;  // the station is connected now
};

struct ShareRequest {
    std::string networkId;
    std::string deviceName;
    std::chrono::sys_seconds at;  // when the device asked first
};

struct ShareRule {
    std::string networkId;
    std::string deviceName;                           // empty: the device is no longer known
    ShareDecision decision = ShareDecision::ONCE;     // never DENY
    std::optional<std::chrono::sys_seconds> until{};  // when a TODAY rule or an unused ONCE rule ends
};

struct ShareStatus {
    ShareAllow allow = ShareAllow::ACCOUNT;
    bool isOn = false;          // a hotspot of this device is on
    bool isOpenedHere = false;  // the daemon opened the hotspot, and will close it
    std::vector<ShareUser> users;
    std::vector<ShareRequest> requests;  // requests that wait for the owner's decision, oldest first
    std::vector<ShareRule> rules;
    uint64_t monthBytes = 0;                    // bytes that the hotspot has carried since monthBegan
    std::optional<uint64_t> monthLimitBytes{};  // no value: no limit
    std::chrono::sys_seconds monthBegan;
    uint8_t batteryFloorPercent = 0;           // does not share below this battery level
    std::chrono::milliseconds closesAfter{0};  // how long the hotspot stays open after the last lease ended
};

enum class ShareFaultCode : uint8_t {
    UNKNOWN_DEVICE,  // no member of the account has that network id
    NOT_ASKED,       // the decision was DENY, but that device has no open request
    FAILED,          // the decision could not be stored; the message says why
};

struct ShareFault {
    ShareFaultCode code = ShareFaultCode::FAILED;
    std::string message;  // one sentence without a full stop
    std::string advice;
};

struct ShareChange {
    std::optional<ShareFault> fault;  // no value: success
};

}  // namespace Vexo::Host
