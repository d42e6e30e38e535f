#include "platform/trust/link_key_file.h"

#include <algorithm>
#include <limits>

#include "platform/base/json.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr int FORMAT_VERSION = 1;
constexpr size_t ID_CHARACTERS = 64;
constexpr int64_t LAST_SECOND = 253'402'300'799;  // the end of the year 9999
constexpr const char* HEX_DIGITS = "0123456789abcdef";

bool IsHex(const std::string& text, size_t length)
{
    return text.size() == length && text.find_first_not_of(HEX_DIGITS) == std::string::npos;
}

JsonKind<SecretBytes> SecretKind()
{
    return Secret(ParsedTextKind<SecretBytes>(
        "64 hex characters",
        [](const std::string& text, SecretBytes& out) {
            if (!IsHex(text, 2 * LINK_KEY_BYTES)) {
                return "is no key";
            }
            for (size_t i = 0; i < out.size(); ++i) {
                const auto digit = [&](size_t at) { return std::string_view(HEX_DIGITS).find(text[at]); };
                out[i] = static_cast<uint8_t>(digit(2 * i) << 4U | digit(2 * i + 1));
            }
            return "";
        },
        [](const SecretBytes& bytes) { return HexOf(bytes); }));
}

JsonKind<std::string> IdKind()
{
    return TextKind("64 hex characters",
                    [](const std::string& text) { return IsHex(text, ID_CHARACTERS) ? "" : "is no id"; });
}

std::string WrongPrevious(const LinkKeyRecord& record)
{
    const bool hasNone =
        record.previous.number == 0 && record.previousValidUntil.count() == 0 && record.previous.bytes == SecretBytes{};
    const bool isWhole =
        record.previous.number != 0 && record.previousValidUntil.count() != 0 && record.previous.bytes != SecretBytes{};
    if (!hasNone && !isWhole) {
        return "previous: incomplete (number, key and valid_until)";
    }
    return record.previous.number < record.current.number ? "" : "previous.number: not below number";
}

}  // namespace

LinkKeys LinkKeyRecord::Keys() const
{
    LinkKeys keys{current};
    if (previous.number != 0) {
        keys.previous = PreviousLinkKey{previous, WallTime(previousValidUntil)};
    }
    return keys;
}

LinkKeyRecord RecordOf(const LinkKeys& keys, const std::string& account)
{
    LinkKeyRecord record{.account = account, .current = keys.current};
    if (keys.previous) {
        record.previous = keys.previous->key;
        record.previousValidUntil =
            std::chrono::duration_cast<std::chrono::seconds>(keys.previous->validUntil.time_since_epoch());
    }
    return record;
}

const JsonKeys<LinkKeyRecord>& LinkKeyRecordKeys()
{
    constexpr int64_t LAST_NUMBER = std::numeric_limits<uint32_t>::max();
    using Record = LinkKeyRecord;
    static const JsonKeys<Record> keys(
        {
            {"version", WholeNumberKind<int>(FORMAT_VERSION, FORMAT_VERSION), &Record::version, Required()},
            {"account", IdKind(), &Record::account, Required()},
            {"number", WholeNumberKind<uint32_t>(1, LAST_NUMBER),
             [](Record& record) -> uint32_t& { return record.current.number; }, Required()},
            {"key", SecretKind(), [](Record& record) -> SecretBytes& { return record.current.bytes; }, Required()},
            {"previous.number", WholeNumberKind<uint32_t>(1, LAST_NUMBER),
             [](Record& record) -> uint32_t& { return record.previous.number; }, OmittedByDefault()},
            {"previous.key", SecretKind(), [](Record& record) -> SecretBytes& { return record.previous.bytes; },
             OmittedByDefault()},
            {"previous.valid_until", WholeNumberKind<std::chrono::seconds>(1, LAST_SECOND), &Record::previousValidUntil,
             OmittedByDefault()},
        },
        WrongPrevious);
    return keys;
}

Result<void> CheckFormatVersion(const std::string& text, const std::string& name)
{
    const auto json = ParseWholeJson(text);
    const cJSON* const version = json ? cJSON_GetObjectItemCaseSensitive(json.value().get(), "version") : nullptr;
    if (cJSON_IsNumber(version) == 0 || version->valuedouble <= FORMAT_VERSION) {
        return {};
    }
    return Fail(ErrorCode::INVALID_ARGUMENT,
                name + ": made by a newer version of this program; install that version or a later one here");
}

Result<LinkKeyRecord> ReadLinkKeyFile(const std::filesystem::path& file)
{
    const auto text = ReadSecretFile(file);
    if (!text) {
        return Failure(text.error());
    }
    if (auto version = CheckFormatVersion(text.value().text, file.string()); !version) {
        return Failure(std::move(version).error());
    }
    auto record = LinkKeyRecordKeys().Parse(text.value().text, file.string());
    return record ? record : Fail(record.error().code, record.error().message + DOCTOR_KNOWS);
}

Result<void> WriteLinkKeyFile(const std::filesystem::path& file, const LinkKeyRecord& record)
{
    const SecretText text{LinkKeyRecordKeys().Print(record)};
    if (text.text.empty()) {
        return Fail(ErrorCode::SYSTEM, file.string() + ": the link key could not be encoded: memory is short");
    }
    return WriteFileAtomically(file, text.text, SECRET_FILE_MODE);
}

}  // namespace Vexo::Trust
