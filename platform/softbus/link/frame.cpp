#include "platform/softbus/link/frame.h"

#include <algorithm>

#include "platform/base/hex.h"
#include "platform/base/utf8.h"
#include "platform/softbus/link/fields.h"
#include "platform/trust/account_state.h"
#include "platform/trust/key_transfer.h"

namespace Vexo::SoftBus {

namespace {

struct KindRule {
    FrameKind kind;
    const char* name;
    size_t minBytes;
    size_t maxBytes;
};

constexpr KindRule KIND_RULES[] = {
    {FrameKind::HELLO, "HELLO", 1, MAX_HELLO_BYTES},
    {FrameKind::OPEN, "OPEN", 1, MAX_OPEN_BYTES},
    {FrameKind::OPENED, "OPENED", 4, 4},
    {FrameKind::DATA, "DATA", 1, MAX_SESSION_BYTES},
    {FrameKind::PING, "PING", 0, 0},
    {FrameKind::CLOSE, "CLOSE", 0, 0},
    {FrameKind::GOODBYE, "GOODBYE", 0, 0},
    {FrameKind::STATE, "STATE", 1, Trust::MAX_STATE_BYTES},
    {FrameKind::REMOVED, "REMOVED", 1, MAX_REMOVED_BYTES},
    {FrameKind::CERTIFICATE, "CERTIFICATE", 1, MAX_CERTIFICATE_BYTES},
    {FrameKind::JOIN_COMMIT, "JOIN_COMMIT", 32, 32},
    {FrameKind::JOIN_NONCE, "JOIN_NONCE", 36, 32 + 2 * (1 + MAX_TEXT)},
    {FrameKind::JOIN_REQUEST, "JOIN_REQUEST", 43, MAX_JOIN_REQUEST_BYTES},
    {FrameKind::JOIN_ANSWER, "JOIN_ANSWER", 4, MAX_JOIN_ANSWER_BYTES},
    {FrameKind::ACCOUNT_KEY, "ACCOUNT_KEY", 1, Trust::MAX_KEY_BYTES},
    {FrameKind::KEY_STORED, "KEY_STORED", 0, 0},
};

// The maximum memory that is allocated before a payload arrives. This memory is limited, because the payload length in
// the header may be false.
constexpr size_t PAYLOAD_RESERVE_BYTES = 64 * 1024;

bool IsText(const std::string& text)
{
    return IsUtf8(text) && text.find('\0') == std::string::npos;
}

// Checks a HELLO or OPEN after its fields were read: no field may be cut off, the version may not be 0, and in a known
// version no bytes may follow the last field. newest: the latest version whose fields this device knows.
Result<void> CheckEnd(const char* what, const FieldReader& reader, uint8_t version, uint8_t newest)
{
    if (!reader.Good()) {
        return Fail(ErrorCode::MALFORMED, std::string(what) + " ends within a field");
    }
    if (version == 0) {
        return Fail(ErrorCode::MALFORMED, std::string(what) + " has version 0; versions start at 1");
    }
    if (version <= newest && !reader.AtEnd()) {
        return Fail(ErrorCode::MALFORMED, std::string(what) + " has bytes after its last field");
    }
    return {};
}

}  // namespace

FrameDecoder::Status FrameDecoder::CheckHeader()
{
    uint32_t length = 0;
    for (size_t i = 0; i < sizeof(length); ++i) {
        length |= static_cast<uint32_t>(static_cast<uint8_t>(header_[i])) << (8 * i);
    }
    const auto kind = static_cast<uint8_t>(header_[sizeof(length)]);
    const auto rule = std::find_if(std::begin(KIND_RULES), std::end(KIND_RULES),
                                   [kind](const KindRule& r) { return static_cast<uint8_t>(r.kind) == kind; });
    if (rule == std::end(KIND_RULES)) {
        problem_ = "unknown frame kind " + std::to_string(kind);
        return Status::BROKEN;
    }
    if (length < rule->minBytes || length > rule->maxBytes) {
        problem_ = std::string(rule->name) + " of " + std::to_string(length) + " bytes; " +
                   std::to_string(rule->minBytes) + " to " + std::to_string(rule->maxBytes) + " are allowed";
        return Status::BROKEN;
    }
    payloadBytes_ = length;
    payload_.reserve(std::min(payloadBytes_, PAYLOAD_RESERVE_BYTES));
    return Status::FRAME;
}

FrameDecoder::Status FrameDecoder::Next(std::string_view& input, Frame& frame)
{
    if (!problem_.empty()) {
        return Status::BROKEN;
    }
    if (header_.size() < FRAME_HEADER_BYTES) {
        const size_t part = std::min(FRAME_HEADER_BYTES - header_.size(), input.size());
        header_.append(input.substr(0, part));
        input.remove_prefix(part);
        if (header_.size() < FRAME_HEADER_BYTES) {
            return Status::MORE;
        }
        if (CheckHeader() == Status::BROKEN) {
            return Status::BROKEN;
        }
    }
    const size_t part = std::min(payloadBytes_ - payload_.size(), input.size());
    payload_.append(input.substr(0, part));
    input.remove_prefix(part);
    if (payload_.size() < payloadBytes_) {
        return Status::MORE;
    }
    frame.kind = static_cast<FrameKind>(header_.back());
    frame.payload = std::move(payload_);
    header_.clear();
    payload_ = {};
    return Status::FRAME;
}

std::string EncodeHeader(FrameKind kind, size_t payloadBytes)
{
    std::string out;
    out.reserve(FRAME_HEADER_BYTES);
    AppendNumber(out, static_cast<uint32_t>(payloadBytes));
    out.push_back(static_cast<char>(kind));
    return out;
}

std::string EncodeHello(const Hello& hello)
{
    std::string out;
    out.push_back(static_cast<char>(HELLO_VERSION));
    AppendNumber(out, hello.deviceTypeId);
    AppendNumber(out, static_cast<uint64_t>(hello.clockMs));
    AppendText(out, hello.deviceId);
    AppendText(out, hello.deviceName, DEVICE_NAME_BUF_LEN - 1);
    const size_t count = std::min(hello.addresses.size(), MAX_HELLO_ADDRESSES);
    out.push_back(static_cast<char>(static_cast<uint8_t>(count)));
    for (size_t i = 0; i < count; ++i) {
        AppendText(out, hello.addresses[i].transport);
        AppendText(out, hello.addresses[i].address);
    }
    AppendNumber(out, hello.stateNumber);
    std::string digest = hello.stateDigest;
    digest.resize(STATE_DIGEST_BYTES);
    return out + digest;
}

Result<Hello> DecodeHello(std::string_view payload)
{
    FieldReader reader(payload);
    Hello hello;
    hello.version = reader.Take<uint8_t>();
    hello.deviceTypeId = reader.Take<uint16_t>();
    hello.clockMs = static_cast<int64_t>(reader.Take<uint64_t>());
    hello.deviceId = reader.TakeText();
    hello.deviceName = reader.TakeText();
    const size_t count = reader.Take<uint8_t>();
    if (count > MAX_HELLO_ADDRESSES) {
        return Fail(ErrorCode::MALFORMED, "HELLO names " + std::to_string(count) + " addresses; at most 8 are allowed");
    }
    for (size_t i = 0; i < count; ++i) {
        std::string transport = reader.TakeText();
        std::string address = reader.TakeText();
        if (!IsText(transport) || !IsText(address)) {
            return Fail(ErrorCode::MALFORMED, "HELLO has an address that is not UTF-8 without NUL");
        }
        hello.addresses.push_back({std::move(transport), std::move(address)});
    }
    if (hello.version >= HELLO_VERSION) {
        hello.stateNumber = reader.Take<uint64_t>();
        hello.stateDigest = reader.TakeBytes(STATE_DIGEST_BYTES);
    }
    if (auto end = CheckEnd("HELLO", reader, hello.version, HELLO_VERSION); !end) {
        return Failure(std::move(end).error());
    }
    if (hello.clockMs < 0 || hello.clockMs > MAX_CLOCK_MS) {
        return Fail(ErrorCode::MALFORMED, "HELLO has a clock that is not between the years 1970 and 9999");
    }
    if (!IsHexId(hello.deviceId)) {
        return Fail(ErrorCode::MALFORMED, "HELLO has a device id that is not 64 hex characters");
    }
    if (hello.deviceName.empty() || hello.deviceName.size() >= DEVICE_NAME_BUF_LEN || !IsText(hello.deviceName)) {
        return Fail(ErrorCode::MALFORMED, "HELLO has a device name that is not 1 to 127 bytes of UTF-8 without NUL");
    }
    return hello;
}

std::string EncodeOpen(const Open& open)
{
    std::string out;
    out.push_back(static_cast<char>(OPEN_VERSION));
    out.push_back(static_cast<char>(static_cast<uint8_t>(open.dataType)));
    AppendText(out, open.serverName);
    AppendText(out, open.openerName);
    return out;
}

Result<Open> DecodeOpen(std::string_view payload)
{
    FieldReader reader(payload);
    Open open;
    const auto version = reader.Take<uint8_t>();
    open.dataType = reader.Take<uint8_t>();
    open.serverName = reader.TakeText();
    open.openerName = reader.TakeText();
    if (auto end = CheckEnd("OPEN", reader, version, OPEN_VERSION); !end) {
        return Failure(std::move(end).error());
    }
    if (open.dataType != TYPE_MESSAGE && open.dataType != TYPE_BYTES && open.dataType != TYPE_STREAM) {
        return Fail(ErrorCode::MALFORMED,
                    "OPEN has data type " + std::to_string(open.dataType) + "; 1, 2 and 4 are allowed");
    }
    if (open.serverName.empty() || open.openerName.empty() || !IsText(open.serverName) || !IsText(open.openerName)) {
        return Fail(ErrorCode::MALFORMED, "OPEN has a session name that is empty or not UTF-8 without NUL");
    }
    return open;
}

std::string EncodeOpened(int32_t result)
{
    std::string out;
    AppendNumber(out, static_cast<uint32_t>(result));
    return out;
}

Result<int32_t> DecodeOpened(std::string_view payload)
{
    FieldReader reader(payload);
    const auto result = static_cast<int32_t>(reader.Take<uint32_t>());
    if (!reader.Good() || !reader.AtEnd() || result > 0) {
        return Fail(ErrorCode::MALFORMED, "OPENED does not hold 0 or a negative result");
    }
    return result;
}

}  // namespace Vexo::SoftBus
