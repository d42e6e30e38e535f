// The daemon's answers about sharing this device's network (ability 1164, requests 30 and 31) as types: who uses it,
// how much it has carried, and who asks. Value types; any thread. Texts are as the daemon sent them, so escape them
// before you show them on a terminal. The requests: client/distnet_client.h. The encoding:
// share/doc/libdistnet-dev/ipc.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vexo::Host {

// Whom the owner allows to use this device's network: "share.allow" of the configuration.
enum class ShareAllow : uint8_t {
    ACCOUNT,  // every device of the account, but for those that were denied for good
    ASK,      // the owner is asked about every device that was not decided on
    NOBODY,
    DEVICES,  // only devices that were allowed
};

// What the owner decides about one device.
enum class ShareDecision : uint32_t {
    ONCE = 1,    // for the next share, which must begin within 10 minutes
    TODAY = 2,   // until midnight, local time
    ALWAYS = 3,  // until it is changed
    NEVER = 4,   // the same
    DENY = 5,    // this question only; not asked again for a while
};

// A device that uses the share: it holds a lease, or its station is connected.
struct ShareUser {
    std::string networkId;  // empty for a station that no device of the account has named
    std::string deviceName;
    std::string macAddress;
    std::chrono::sys_seconds since;
    uint64_t bytes = 0;        // both directions, since then
    bool hasLease = false;     // it said within the last 150 s that it uses the share
    bool isConnected = false;  // its station is connected now
};

struct ShareRequest {
    std::string networkId;
    std::string deviceName;
    std::chrono::sys_seconds at;  // when it asked first
};

struct ShareRule {
    std::string networkId;
    std::string deviceName;                           // empty: not known any more
    ShareDecision decision = ShareDecision::ONCE;     // never DENY
    std::optional<std::chrono::sys_seconds> until{};  // ONCE, TODAY
};

struct ShareStatus {
    ShareAllow allow = ShareAllow::ACCOUNT;
    bool isOn = false;          // a hotspot of this device
    bool isOpenedHere = false;  // by the daemon, which closes it
    std::vector<ShareUser> users;
    std::vector<ShareRequest> requests;  // open questions, the oldest first
    std::vector<ShareRule> rules;
    uint64_t monthBytes = 0;                    // carried since the month's first day
    std::optional<uint64_t> monthLimitBytes{};  // no value: no limit
    std::chrono::sys_seconds monthBegan;
    uint8_t batteryFloorPercent = 0;           // 0: none
    std::chrono::milliseconds closesAfter{0};  // the last user has left
};

enum class ShareFaultCode : uint8_t {
    UNKNOWN_DEVICE,  // no member of the account has that network id
    NOT_ASKED,       // DENY: that device has no open question
    FAILED,          // the decision could not be stored; the message says why
};

struct ShareFault {
    ShareFaultCode code = ShareFaultCode::FAILED;
    std::string message;  // one sentence without its full stop
    std::string advice;
};

struct ShareChange {
    std::optional<ShareFault> fault;  // no value: done
};

}  // namespace Vexo::Host
