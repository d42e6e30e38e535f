// The messages between the daemons of two devices, over a session of their own (peer_link.h). Each message is one JSON
// object in UTF-8 of at most MAX_PEER_MESSAGE bytes. The asking side sends a request, the other side sends one answer:
//   {"version": 1, "request": 7, "ask": "facts"}
//   {"version": 1, "request": 8, "ask": "lease", "mac": "02:00:5e:10:00:01"}
//   {"version": 1, "request": 9, "ask": "release", "mac": "02:00:5e:10:00:01"}        mac may be missing
//   {"version": 1, "request": 7, "answer": "facts", …}              the members: docs/link.md
//   {"version": 1, "request": 8, "answer": "lease", "held": true}
//   {"version": 1, "request": 9, "answer": "release", "closed": true}
//   {"version": 1, "request": 7, "answer": "unknown"}               to a request of a later version
// Unknown members are ignored, so a later version may add some. Any thread may call these pure functions.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "interfaces/online_answers.h"
#include "platform/base/result.h"

namespace Vexo::Host {

inline constexpr size_t MAX_PEER_MESSAGE = 4096;
inline constexpr size_t MAX_TECHNOLOGY = 16;  // maximum length of DeviceFacts::technology in bytes

// Asks for the device's DeviceFacts: what it can share, and whether the asking device may use it.
struct FactsRequest {};
// A lease records that a device uses another device's hotspot. The lease expires when it was not renewed for
// LEASE_LIFE. The device that uses the hotspot renews the lease every LEASE_RENEWAL.
inline constexpr std::chrono::seconds LEASE_LIFE{150};
inline constexpr std::chrono::seconds LEASE_RENEWAL{60};

// Says that the asking device uses the receiver's hotspot. Begins or renews the asking device's lease.
struct LeaseRequest {
    std::string macAddress;  // MAC address of the station in lower case, such as "02:00:5e:10:00:01"
};
// Says that the asking device no longer uses the receiver's hotspot. The receiver ends the lease of that device. It
// also closes the hotspot if its daemon opened the hotspot and no other device uses it.
struct ReleaseRequest {
    std::string macAddress;  // empty: the asking device has not joined
};
using PeerRequest = std::variant<FactsRequest, LeaseRequest, ReleaseRequest>;

struct LeaseAnswer {
    bool isHeld = false;  // false: the hotspot is off, or its owner no longer allows the device
};
struct ReleaseAnswer {
    bool hasClosedHotspot = false;  // also true if the hotspot was already off
};
// The answer to a request that this version does not know.
struct UnknownAnswer {};
// The answers to requests. DeviceFacts::networkId and DeviceFacts::at are not sent; the receiver fills them in.
using PeerAnswer = std::variant<UnknownAnswer, DeviceFacts, LeaseAnswer, ReleaseAnswer>;

struct NumberedRequest {
    uint32_t number = 0;
    PeerRequest request;
};
struct NumberedAnswer {
    uint32_t number = 0;
    PeerAnswer answer;
};
// A well-formed request that this version does not know; it is answered with UnknownAnswer.
struct UnknownRequest {
    uint32_t number = 0;
};
using PeerMessage = std::variant<NumberedRequest, NumberedAnswer, UnknownRequest>;

std::string Encode(const NumberedRequest& request);
std::string Encode(const NumberedAnswer& answer);
// Decodes and checks a message from another device: lengths, ranges, the format of a MAC address. The error (MALFORMED)
// names the wrong member.
[[nodiscard]] Result<PeerMessage> DecodePeerMessage(const std::string& text);

}  // namespace Vexo::Host
