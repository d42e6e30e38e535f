#include "platform/trust/link_key_file.h"

#include <algorithm>
#include <limits>

#include "platform/base/hex.h"
#include "platform/base/json.h"
#include "platform/base/last_second.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr int FORMAT_VERSION = 1;

JsonKind<SecretBytes> SecretKind()
{
    return Secret(ParsedTextKind<SecretBytes>(
        "64 hex characters",
        [](const std::string& text, SecretBytes& out) {
            const SecretText bytes{BytesOfHex(text)};
            if (bytes.text.size() != out.size()) {
                return "is no key";
            }
            std::copy(bytes.text.begin(), bytes.text.end(), out.begin());
            return "";
        },
        [](const SecretBytes& bytes) { return HexOf(bytes); }));
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

JsonKind<std::string> IdKind()
{
    return TextKind("64 hex characters", [](const std::string& text) { return IsHexId(text) ? "" : "is no id"; });
}

const JsonKeys<LinkKeyRecord>& LinkKeyRecordKeys()
{
    constexpr int64_t LAST_NUMBER = std::numeric_limits<uint32_t>::max();
    using Record = LinkKeyRecord;
    static const JsonKeys<Record> keys(
        {
            {"version", FormatVersionKind(FORMAT_VERSION), &Record::version, Required()},
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

bool IsNewerFormat(const std::string& json, int version)
{
    const Json parsed = ParseJson(json);
    const cJSON* const found = cJSON_GetObjectItemCaseSensitive(parsed.get(), "version");
    return cJSON_IsNumber(found) != 0 && found->valuedouble > version;
}

Result<LinkKeyRecord> ReadLinkKeyFile(const std::filesystem::path& file)
{
    const auto text = ReadSecretFile(file);
    if (!text) {
        return Failure(text.error());
    }
    auto record = LinkKeyRecordKeys().Parse(text.value().text, file.string());
    return record ? record
                  : Fail(IsNewerFormat(text.value().text, FORMAT_VERSION) ? ErrorCode::INVALID_ARGUMENT
                                                                          : ErrorCode::MALFORMED,
                         record.error().message + DOCTOR_KNOWS);
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
