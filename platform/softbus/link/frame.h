// Frames: the messages that devices exchange inside a TLS connection. This is their format, byte by byte. No shared
// state; thread-safe. Numbers are little-endian. When each frame is sent: docs/link.md.
//
//   frame    u32 length of the payload | u8 kind | payload
//   text     u8 length | that many bytes of UTF-8 without NUL
//   HELLO    u8 version (2) | u16 device type | i64 the sender's clock, milliseconds since 1970, UTC
//            | text device id (64 hex) | text device name (1 to 127 bytes)
//            | u8 count (0 to 8) of addresses, each: text transport | text address
//            | u64 number of the sender's account state, 0: none | 8 bytes its digest (trust/account_state.h)
//   OPEN     u8 version (1) | u8 data type (1, 2 or 4) | text name of the receiver's session server
//            | text name of the sender's session server
//   OPENED   i32 result: 0, or a negative SoftBusResult or PeerRefusal (peer_policy.h)
//   DATA     one message, 1 to 4,194,304 bytes
//   PING     empty: the sender is alive
//   CLOSE    empty: the sender closes the connection and sends nothing more
//   GOODBYE  empty: the sender stops and will not be reachable
//   STATE    the account's signed state, which is newer than the receiver's
//   REMOVED  the statement that the account removed the receiver (trust/account_state.h, EncodeRemoval)
//   CERTIFICATE  the receiver's renewed certificate, X.509 in DER
//   JOIN_COMMIT, JOIN_NONCE, JOIN_REQUEST, JOIN_ANSWER: an enrolment by ticket; enrolment/join_frames.h
//   ACCOUNT_KEY  the account's private key, PKCS#8 in DER; the receiver must store it
//   KEY_STORED  empty: the sender has stored the ACCOUNT_KEY that it received
//
// A HELLO or OPEN of a later version may have more fields after these fields. A reader of an earlier version skips
// them. A HELLO of version 1 ends after the addresses.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/result.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::SoftBus {

enum class FrameKind : uint8_t {
    HELLO = 1,
    OPEN = 2,
    OPENED = 3,
    DATA = 4,
    PING = 5,
    CLOSE = 6,
    GOODBYE = 7,
    STATE = 8,
    REMOVED = 9,
    CERTIFICATE = 10,
    JOIN_COMMIT = 11,
    JOIN_NONCE = 12,
    JOIN_REQUEST = 13,
    JOIN_ANSWER = 14,
    ACCOUNT_KEY = 15,
    KEY_STORED = 16,
};

inline constexpr size_t FRAME_HEADER_BYTES = 5;
inline constexpr size_t MAX_HELLO_BYTES = 8192;
inline constexpr size_t MAX_OPEN_BYTES = 1024;
inline constexpr size_t MAX_HELLO_ADDRESSES = 8;
inline constexpr size_t MAX_JOIN_REQUEST_BYTES = 4096;
inline constexpr size_t MAX_JOIN_ANSWER_BYTES = 256 * 1024;  // the answer contains an account's state
inline constexpr size_t MAX_SESSION_NAME = 255;
inline constexpr size_t MAX_REMOVED_BYTES = 264;
inline constexpr size_t MAX_CERTIFICATE_BYTES = 8192;
inline constexpr size_t STATE_DIGEST_BYTES = 8;
// A HELLO of version 1 has no state number, and its sender does not accept STATE.
inline constexpr uint8_t HELLO_VERSION = 2;
inline constexpr uint8_t OPEN_VERSION = 1;

struct Frame {
    FrameKind kind = FrameKind::PING;
    std::string payload;
};

// Splits a byte stream into frames. A frame with an invalid header is refused before its payload arrives.
class FrameDecoder {
public:
    enum class Status { MORE, FRAME, BROKEN };

    // Removes bytes from the front of input, and returns
    // - FRAME: a frame is complete and was moved to the output parameter frame;
    // - MORE: all bytes of input were used, and the frame is not complete yet;
    // - BROKEN: the stream is invalid, and all later calls fail too. Problem() returns the reason.
    Status Next(std::string_view& input, Frame& frame);
    const std::string& Problem() const { return problem_; }

private:
    Status CheckHeader();

    std::string header_;
    std::string payload_;
    size_t payloadBytes_ = 0;
    std::string problem_;
};

std::string EncodeHeader(FrameKind kind, size_t payloadBytes);

// The payload of HELLO. It describes the device that sends it.
struct Hello {
    uint16_t deviceTypeId = 0;
    std::string deviceId;
    std::string deviceName;
    std::vector<PeerAddress> addresses;  // where the device listens
    int64_t clockMs = 0;                 // the device's clock when it sent HELLO: milliseconds since 1970-01-01 UTC
    uint64_t stateNumber = 0;            // the number of the device's account state; 0: it has no state
    std::string stateDigest{};           // STATE_DIGEST_BYTES bytes; empty without a state
    uint8_t version = HELLO_VERSION;     // set by DecodeHello
};
// Encodes a HELLO of version HELLO_VERSION. If a text is too long, it is cut between two characters.
std::string EncodeHello(const Hello& hello);
[[nodiscard]] Result<Hello> DecodeHello(std::string_view payload);

struct Open {
    int32_t dataType = 0;
    std::string serverName;  // the session server of the device that receives OPEN
    std::string openerName;  // the session server of the device that sends OPEN
};
std::string EncodeOpen(const Open& open);
[[nodiscard]] Result<Open> DecodeOpen(std::string_view payload);

std::string EncodeOpened(int32_t result);
[[nodiscard]] Result<int32_t> DecodeOpened(std::string_view payload);

}  // namespace Vexo::SoftBus
