#include "host/online/online_file.h"

#include <limits>

#include "platform/base/json_keys.h"
#include "platform/dfx/log.h"
#include "platform/softbus/discovery/known_devices.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Online"};
constexpr int FORMAT_VERSION = 1;
constexpr size_t MAX_FILE_BYTES = 256 * 1024;
constexpr mode_t FILE_MODE = 0600;

struct Success {
    std::string networkId;
    int64_t atSeconds = 0;
};

struct FileRecord {
    int version = FORMAT_VERSION;
    bool isAutoOn = false;
    std::vector<std::string> preferred;
    std::vector<Success> successes;
};

const JsonKeys<FileRecord>& FileKeys()
{
    static const JsonKeys<Success> success({
        {"network_id", FilledTextKind(), &Success::networkId, Required()},
        {"at", WholeNumberKind<int64_t>(0, std::numeric_limits<uint32_t>::max()), &Success::atSeconds, Required()},
    });
    static const JsonKeys<FileRecord> file({
        {"version", FormatVersionKind(FORMAT_VERSION), &FileRecord::version, Required()},
        {"auto", FlagKind(), &FileRecord::isAutoOn},
        {"preferred", ListKind(FilledTextKind(), "a list of network ids"), &FileRecord::preferred},
        {"successes", ListKind(success, "a list of devices with times"), &FileRecord::successes},
    });
    return file;
}

}  // namespace

OnlineRecord OnlineFile::Load()
{
    std::error_code ignored;
    if (!std::filesystem::exists(file_, ignored)) {
        return {};
    }
    Result<FileRecord> read = FileKeys().Load(file_, MAX_FILE_BYTES);
    if (!read && read.error().code == ErrorCode::MALFORMED) {
        std::filesystem::path kept = file_;
        kept += SoftBus::UNUSABLE_SUFFIX;
        std::error_code error;
        std::filesystem::rename(file_, kept, error);
        QuviewDFX::LogError(LABEL, "%{public}s; %{public}s, and automatic mode is off", read.error().message,
                            error ? "it cannot be renamed: " + error.message() : "it is now " + kept.string());
        return {};
    }
    if (!read) {
        isUnreadable_ = true;
        QuviewDFX::LogError(LABEL, "%{public}s; automatic mode is off, and changes are not stored",
                            read.error().message);
        return {};
    }
    OnlineRecord record{read.value().isAutoOn, std::move(read.value().preferred), {}};
    for (const Success& success : read.value().successes) {
        record.successes[success.networkId] = std::chrono::sys_seconds(std::chrono::seconds(success.atSeconds));
    }
    return record;
}

Result<void> OnlineFile::Save(const OnlineRecord& record) const
{
    if (isUnreadable_) {
        return Fail(ErrorCode::UNAVAILABLE, file_.string() + " could not be read when the daemon started");
    }
    FileRecord file{FORMAT_VERSION, record.isAutoOn, record.preferred, {}};
    for (const auto& [networkId, at] : record.successes) {
        file.successes.push_back({networkId, at.time_since_epoch().count()});
    }
    return WriteFileAtomically(file_, FileKeys().Print(file), FILE_MODE, Sync::LATER);
}

}  // namespace Vexo::Host
