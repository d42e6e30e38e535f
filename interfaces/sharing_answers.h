// Types for the daemon's answers about sharing this device's network through its hotspot (ability 1164, requests 30 and
// 31): which devices use the hotspot, how many bytes it has carried, and which devices ask to use it. Value types; any
// thread. Strings are as the daemon sent them, so escape them before you show them on a terminal. Requests:
// client/distnet_client.h. Encoding: share/doc/libdistnet-dev/ipc.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vexo::Host {

// Which devices may use this device's network: "share.allow" of the configuration.
enum class ShareAllow : uint8_t {
    ACCOUNT,  // every device of the account, except those with the rule NEVER
    ASK,      // the owner is asked about each device that has no rule
    NOBODY,
    DEVICES,  // only devices with a rule that allows them
};

// The owner's decision about one device. All but DENY become the device's rule.
enum class ShareDecision : uint32_t {
    ONCE = 1,    // allowed for one use, which must begin within 10 minutes
    TODAY = 2,   // allowed until midnight, local time
    ALWAYS = 3,  // allowed until the rule is changed
    NEVER = 4,   // refused until the rule is changed
    DENY = 5,    // denies this request only; the owner is not asked again for 10 minutes
};

// A user of this device's hotspot: a device with a lease, or a connected station.
struct ShareUser {
    std::string networkId;  // empty for a station that no lease names
    std::string deviceName;
    std::string macAddress;
    std::chrono::sys_seconds since;
    uint64_t bytes = 0;        // in both directions, since `since`
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
    std::string deviceName;                           // empty: no longer known
    ShareDecision decision = ShareDecision::ONCE;     // never DENY
    std::optional<std::chrono::sys_seconds> until{};  // ONCE, TODAY
};

struct ShareStatus {
    ShareAllow allow = ShareAllow::ACCOUNT;
    bool isOn = false;          // a hotspot of this device is on
    bool isOpenedHere = false;  // the daemon opened the hotspot, and will close it
    std::vector<ShareUser> users;
    std::vector<ShareRequest> requests;  // requests that wait for the owner's decision, oldest first
    std::vector<ShareRule> rules;
    uint64_t monthBytes = 0;                    // carried by the hotspot since monthBegan
    std::optional<uint64_t> monthLimitBytes{};  // no value: no limit
    std::chrono::sys_seconds monthBegan;
    uint8_t batteryFloorPercent = 0;           // 0: no floor
    std::chrono::milliseconds closesAfter{0};  // how long the hotspot stays open after the last lease ended
};

enum class ShareFaultCode : uint8_t {
    UNKNOWN_DEVICE,  // no member of the account has that network id
    NOT_ASKED,       // DENY: that device has no open request
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
