#include "host/sharing/sharing_file.h"

#include <utility>

#include "platform/base/files.h"
#include "platform/base/hex.h"
#include "platform/base/json_keys.h"
#include "platform/base/last_second.h"
#include "platform/dfx/log.h"
#include "platform/softbus/discovery/known_devices.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Sharing"};
constexpr mode_t FILE_MODE = 0600;
constexpr size_t MAX_FILE_BYTES = 256 * 1024;
constexpr int64_t FIRST_DAY = -366;  // earlier than any month that contains 1970-01-01
constexpr int64_t LAST_DAY = LAST_SECOND / 86'400;
constexpr int64_t MOST_BYTES = int64_t{1} << 53;

// A ONCE rule is not stored, because it ends when the daemon ends and closes its hotspot.
constexpr NamedValue<ShareDecision> STORED_DECISIONS[] = {
    {"today", ShareDecision::TODAY}, {"always", ShareDecision::ALWAYS}, {"never", ShareDecision::NEVER}};

const JsonKeys<SharingRecord>& RecordKeys()
{
    using Rule = SharingRecord::Rule;
    using Asked = SharingRecord::Asked;
    const JsonKind<std::string> id = TextKind(
        "64 lower-case hex characters", [](const std::string& text) { return IsHexId(text) ? "" : "is no such id"; });
    const JsonKind<std::chrono::days> day = WholeNumberKind<std::chrono::days>(FIRST_DAY, LAST_DAY);
    static const JsonKeys<Rule> rule({
        {"network_id", id, &Rule::networkId, Required()},
        {"decision", NamedKind(STORED_DECISIONS), &Rule::decision, Required()},
        {"until", WholeNumberKind<std::chrono::seconds>(0, LAST_SECOND), &Rule::until, OmittedByDefault()},
    });
    static const JsonKeys<Asked> asked({
        {"network_id", id, &Asked::networkId, Required()},
        {"day", day, &Asked::day, Required()},
        {"count", WholeNumberKind<uint32_t>(0, UINT32_MAX), &Asked::count, Required()},
    });
    static const JsonKeys<SharingRecord> record({
        {"version", FormatVersionKind(1), &SharingRecord::version, Required()},
        {"rules", ListKind(rule, "a list of rules"), &SharingRecord::rules, Required()},
        {"asked", ListKind(asked, "a list of devices"), &SharingRecord::asked, Required()},
        {"month_day", day, &SharingRecord::monthDay, Required()},
        {"month_bytes", WholeNumberKind<uint64_t>(0, MOST_BYTES), &SharingRecord::monthBytes, Required()},
    });
    return record;
}

}  // namespace

SharingRecord SharingFile::Load()
{
    std::error_code ignored;
    if (!std::filesystem::exists(file_, ignored)) {
        return {};
    }
    Result<SharingRecord> record = RecordKeys().Load(file_, MAX_FILE_BYTES);
    if (record) {
        return std::move(record.value());
    }
    if (record.error().code != ErrorCode::MALFORMED) {
        // The file could not be read. Save must not overwrite it, because its content may be valid.
        whyNotWritten_ = record.error().message;
        QuviewDFX::LogError(LABEL, "%{public}s; its rules and byte counts are not used, and new ones are not stored",
                            whyNotWritten_);
        return {};
    }
    std::filesystem::path kept = file_;
    kept += SoftBus::UNUSABLE_SUFFIX;
    std::error_code error;
    std::filesystem::rename(file_, kept, error);
    QuviewDFX::LogError(LABEL, "%{public}s; %{public}s, and the rules and byte counts start empty",
                        record.error().message,
                        error ? "it cannot be renamed: " + error.message() : "it is now " + kept.string());
    return {};
}

Result<void> SharingFile::Save(const SharingRecord& record)
{
    if (!whyNotWritten_.empty()) {
        return Fail(ErrorCode::SYSTEM, whyNotWritten_);
    }
    return WriteFileAtomically(file_, RecordKeys().Print(record), FILE_MODE);
}

}  // namespace Vexo::Host
