// What the daemons of two devices say to each other, over a session of their own (peer_link.h): each message is one
// JSON object in UTF-8 of at most MAX_PEER_MESSAGE bytes. The asking side sends a request, the other side one answer:
//   {"version": 1, "request": 7, "ask": "facts"}
//   {"version": 1, "request": 8, "ask": "lease", "mac": "02:00:5e:10:00:01"}
//   {"version": 1, "request": 9, "ask": "release", "mac": "02:00:5e:10:00:01"}        mac may be missing
//   {"version": 1, "request": 7, "answer": "facts", …}              the members: docs/link.md
//   {"version": 1, "request": 8, "answer": "lease", "held": true}
//   {"version": 1, "request": 9, "answer": "release", "closed": true}
//   {"version": 1, "request": 7, "answer": "unknown"}               to a request of a later version
// Unknown members are ignored, so a later version may add some. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "interfaces/online_answers.h"
#include "platform/base/result.h"

namespace Vexo::Host {

inline constexpr size_t MAX_PEER_MESSAGE = 4096;
inline constexpr size_t MAX_TECHNOLOGY = 16;  // bytes of DeviceFacts::technology

// Asks what the device can share, and whether the asking device may use it.
struct FactsRequest {};
// "This device uses your share": renews the lease of the asking device, or begins it.
struct LeaseRequest {
    std::string macAddress;  // of the station, lower case: "02:00:5e:10:00:01"
};
// "This device is done": ends its lease, and closes a hotspot that the device opened and nobody else uses.
struct ReleaseRequest {
    std::string macAddress;  // empty: it has not joined
};
using PeerRequest = std::variant<FactsRequest, LeaseRequest, ReleaseRequest>;

struct LeaseAnswer {
    bool isHeld = false;  // false: the share is off, or its owner does not allow it any more
};
struct ReleaseAnswer {
    bool hasClosedHotspot = false;  // also true if it was off already
};
// Says that this device does not know the request: it has an older version.
struct UnknownAnswer {};
// DeviceFacts::networkId and at are not sent; the receiver fills them in.
using PeerAnswer = std::variant<UnknownAnswer, DeviceFacts, LeaseAnswer, ReleaseAnswer>;

struct NumberedRequest {
    uint32_t number = 0;
    PeerRequest request;
};
struct NumberedAnswer {
    uint32_t number = 0;
    PeerAnswer answer;
};
// UnknownRequest: well formed, but of a kind that this version does not know; it is answered with UnknownAnswer.
struct UnknownRequest {
    uint32_t number = 0;
};
using PeerMessage = std::variant<NumberedRequest, NumberedAnswer, UnknownRequest>;

std::string Encode(const NumberedRequest& request);
std::string Encode(const NumberedAnswer& answer);
// The error (MALFORMED) names the member that is wrong. Texts and numbers of another device are checked: lengths,
// ranges, a MAC address's form.
[[nodiscard]] Result<PeerMessage> DecodePeerMessage(const std::string& text);

}  // namespace Vexo::Host
