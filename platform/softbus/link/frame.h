// Frames: what devices say to each other inside TLS, byte by byte. Pure functions and a pure decoder; no state is
// shared, so any thread may use them. Numbers are little-endian. What the frames mean in a conversation: docs/link.md.
//
//   frame    u32 length of the payload | u8 kind | payload
//   text     u8 length | that many bytes of UTF-8 without NUL
//   HELLO    u8 version (2) | u16 device type | i64 the sender's clock, milliseconds since 1970, UTC
//            | text device id (64 hex) | text device name (1 to 127 bytes)
//            | u8 count (0 to 8) of addresses, each: text transport | text address
//            | u64 number of the sender's account state, 0: none | 8 bytes its digest (trust/account_state.h)
//   OPEN     u8 version (1) | u8 data type (1, 2 or 4) | text name of the session server asked for
//            | text name of the opener's own
//   OPENED   i32 result: 0, or a negative SoftBusResult
//   DATA     one message, 1 to 4,194,304 bytes
//   PING     empty: the sender is alive
//   CLOSE    empty: the sender ends the connection on purpose and sends nothing more
//   GOODBYE  empty: the sender stops and will not be reachable
//   STATE    the account's signed state, which is newer than the receiver's
//   REMOVED  the statement that the account removed the receiver (trust/account_state.h, EncodeRemoval)
//   CERTIFICATE  the receiver's renewed certificate, X.509 in DER
//   JOIN_COMMIT, JOIN_NONCE, JOIN_REQUEST, JOIN_ANSWER: an enrolment by ticket; enrolment/join_frames.h
//   ACCOUNT_KEY  the account's key, PKCS#8 in DER, which the receiver is to hold from now on
//   KEY_STORED  empty: the receiver of ACCOUNT_KEY has stored it
//
// HELLO and OPEN of a later version may carry more fields after those above; a reader skips them. A HELLO of version 1
// ends after the addresses.
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
inline constexpr size_t MAX_JOIN_ANSWER_BYTES = 256 * 1024;  // it holds an account's state
inline constexpr size_t MAX_SESSION_NAME = 255;
inline constexpr size_t MAX_REMOVED_BYTES = 264;
inline constexpr size_t MAX_CERTIFICATE_BYTES = 8192;
inline constexpr size_t STATE_DIGEST_BYTES = 8;
inline constexpr uint8_t HELLO_VERSION = 2;  // the first one with a state's number; its sender takes STATE
inline constexpr uint8_t OPEN_VERSION = 1;

struct Frame {
    FrameKind kind = FrameKind::PING;
    std::string payload;
};

// Cuts a byte stream into frames. A header that breaks the rules is refused before its payload is waited for.
class FrameDecoder {
public:
    enum class Status { MORE, FRAME, BROKEN };

    // Takes bytes off the front of input until a frame is whole (FRAME, moved into frame), input is used up (MORE) or
    // the stream breaks the rules (BROKEN, for good; Problem() says how).
    Status Next(std::string_view& input, Frame& frame);
    const std::string& Problem() const { return problem_; }

private:
    Status CheckHeader();

    std::string header_;
    std::string payload_;
    size_t payloadBytes_ = 0;
    std::string problem_;
};

// The five bytes before a payload of that length.
std::string EncodeHeader(FrameKind kind, size_t payloadBytes);

// What a device tells of itself at the beginning of every connection.
struct Hello {
    uint16_t deviceTypeId = 0;
    std::string deviceId;
    std::string deviceName;
    std::vector<PeerAddress> addresses;  // where it listens
    int64_t clockMs = 0;                 // its clock as it was sent: milliseconds since 1970, UTC
    uint64_t stateNumber = 0;            // 0: it has no state
    std::string stateDigest{};           // STATE_DIGEST_BYTES; empty without a state
    uint8_t version = HELLO_VERSION;     // set by DecodeHello
};
// The payload, of HELLO_VERSION; texts longer than the format allows are cut at a character.
std::string EncodeHello(const Hello& hello);
[[nodiscard]] Result<Hello> DecodeHello(std::string_view payload);

struct Open {
    int32_t dataType = 0;
    std::string serverName;  // the session server that is asked for
    std::string openerName;
};
std::string EncodeOpen(const Open& open);
[[nodiscard]] Result<Open> DecodeOpen(std::string_view payload);

std::string EncodeOpened(int32_t result);
[[nodiscard]] Result<int32_t> DecodeOpened(std::string_view payload);

}  // namespace Vexo::SoftBus
