#include "platform/softbus/discovery/folder_channel.h"

#include <random>
#include <span>
#include <utility>
#include <vector>

#include "platform/base/files.h"
#include "platform/base/hex.h"
#include "platform/base/json_keys.h"
#include "platform/softbus/softbus_log.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::SoftBus {

namespace {

constexpr int FORMAT_VERSION = 2;
constexpr size_t MAX_FILE_BYTES = 4096;
// The file is readable by all users, because devices that run as other users must read it. The file contains no secret.
constexpr mode_t READABLE_BY_ALL = 0644;
constexpr auto MAX_AGE = 2 * Trust::TOKEN_PERIOD;

constexpr size_t TOKEN_CHARACTERS = 2 * Trust::TOKEN_BYTES;
constexpr size_t RANDOM_CHARACTERS = 2 * sizeof(uint32_t);
constexpr char SEPARATOR = '-';
constexpr std::string_view SUFFIX = ".json";

std::string HexOfText(std::string_view bytes)
{
    return HexOf({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
}

std::string RandomHex()
{
    const uint32_t number = std::random_device()();
    return HexOfText({reinterpret_cast<const char*>(&number), sizeof(number)});
}

// Returns the token in the name of an announcement file. Returns an empty string for any other file, also for a
// temporary file that is still being written.
std::string TokenOfFileName(std::string_view name)
{
    constexpr size_t randomAt = TOKEN_CHARACTERS + 1;
    const bool isAnnouncement = name.size() == randomAt + RANDOM_CHARACTERS + SUFFIX.size() && name.ends_with(SUFFIX) &&
                                name[TOKEN_CHARACTERS] == SEPARATOR &&
                                !BytesOfHex(name.substr(randomAt, RANDOM_CHARACTERS)).empty();
    return isAnnouncement ? BytesOfHex(name.substr(0, TOKEN_CHARACTERS)) : "";
}

struct FileRecord {
    int version = FORMAT_VERSION;
    std::string token{};
    PeerAddress listening{};
};

const JsonKeys<FileRecord>& FileKeys()
{
    using File = FileRecord;
    static const JsonKind<std::string> token = ParsedTextKind<std::string>(
        std::to_string(TOKEN_CHARACTERS) + " lower-case hex characters",
        [](const std::string& text, std::string& out) {
            out = text.size() == TOKEN_CHARACTERS ? BytesOfHex(text) : "";
            return out.empty() ? "is no token" : "";
        },
        HexOfText);
    static const JsonKeys<FileRecord> file(
        {
            {"version", FormatVersionKind(FORMAT_VERSION), &File::version, Required()},
            {"token", token, &File::token, Required()},
            {"transport", FilledTextKind(), [](File& f) -> std::string& { return f.listening.transport; }, Required()},
            {"address", FilledTextKind(), [](File& f) -> std::string& { return f.listening.address; }, Required()},
        },
        {}, UnknownKeys::SKIPPED);
    return file;
}

std::vector<std::string> FileNamesIn(const std::filesystem::path& folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    return names;
}

}  // namespace

std::string EncodeFolderAnnouncement(const Announcement& announcement)
{
    return FileKeys().Print({.token = announcement.token, .listening = announcement.addresses.front()});
}

Result<Announcement> DecodeFolderAnnouncement(const std::string& text, const std::string& fileName)
{
    return FileKeys().Parse(text, fileName).transform([](const FileRecord& file) {
        return Announcement{file.token, {file.listening}};
    });
}

FolderChannel::FolderChannel(std::filesystem::path folder, PeerAddress listening, IsOwn isOwn, const Clock& clock)
    : folder_(std::move(folder)), listening_(std::move(listening)), isOwn_(std::move(isOwn)), clock_(clock)
{
}

FolderChannel::~FolderChannel()
{
    Withdraw();
}

Result<void> FolderChannel::Start(const std::string& token, IsOurs isOurs, Heard heard)
{
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    if (error) {
        return Fail(ErrorCode::SYSTEM, "announce folder " + folder_.string() + ": " + error.message());
    }
    MutexLock lock(mutex_);
    token_ = token;
    isOurs_ = std::move(isOurs);
    heard_ = std::move(heard);
    // Start the watcher before the folder is read, so that no change is missed. OnChange waits for mutex_ while this
    // function runs.
    auto watcher = FolderWatcher::Start(folder_, [this](const std::string& fileName) { OnChange(fileName); });
    if (!watcher) {
        return Failure(std::move(watcher).error());
    }
    watcher_ = std::move(watcher.value());
    if (Result<void> announced = AnnounceIfMissing(); !announced) {
        lock.Unlock();
        Withdraw();
        return announced;
    }
    CheckAllFiles();
    return {};
}

void FolderChannel::Announce(const std::string& token)
{
    if (!strand_.Post([this, token] { Replace(token); })) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "no thread to renew this device's file in %{public}s", folder_.string());
    }
}

void FolderChannel::Withdraw()
{
    {
        const MutexLock lock(mutex_);
        isWithdrawn_ = true;
    }
    watcher_.reset();  // without mutex_, because the watcher's thread may wait for mutex_
    strand_.Drain();
    const MutexLock lock(mutex_);
    RemoveOwnFilesBut("");
    for (const std::string& left : ownFiles_) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "%{public}s cannot be removed: others may try to reach this device",
                           (folder_ / left).string());
    }
    ownFiles_.clear();
}

// Runs on the watcher's thread. fileName is empty if the folder was removed or created again, or if change events were
// lost.
void FolderChannel::OnChange(const std::string& fileName)
{
    const MutexLock lock(mutex_);
    if (isWithdrawn_) {
        return;
    }
    if (!fileName.empty()) {
        CheckFile(fileName);
        return;
    }
    if (const auto announced = AnnounceIfMissing(); !announced) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "this device is not announced: %{public}s", announced.error().message);
    }
    CheckReportedFiles();
    CheckAllFiles();
}

// Runs on the strand. Announces the token in a new file, and removes the old file.
void FolderChannel::Replace(const std::string& token)
{
    const MutexLock lock(mutex_);
    if (isWithdrawn_) {
        return;
    }
    if (!token.empty()) {
        token_ = token;
        if (const auto written = WriteOwnFile(); written) {
            RemoveOwnFilesBut(ownFile_);
        } else {
            QuviewDFX::LogWarn(LOG_SOFTBUS, "this device's announcement is not renewed: %{public}s",
                               written.error().message);
        }
    }
    CheckReportedFiles();
}

bool FolderChannel::CanAnnounce() const
{
    std::error_code error;
    return std::filesystem::is_directory(folder_, error);
}

Result<void> FolderChannel::AnnounceIfMissing()
{
    std::error_code error;
    if (token_.empty() || !std::filesystem::is_directory(folder_, error) ||
        (!ownFile_.empty() && std::filesystem::exists(folder_ / ownFile_, error))) {
        return {};
    }
    Result<void> written = WriteOwnFile();
    RemoveFilesOfEarlierRuns();  // at the end, so that other devices always find a file of this device
    return written;
}

Result<void> FolderChannel::WriteOwnFile()
{
    // The random part of the file name is new for each file. With a fixed part, strangers could track the device.
    const std::string fileName = HexOfText(token_) + SEPARATOR + RandomHex() + std::string(SUFFIX);
    Result<void> written = WriteFileAtomically(folder_ / fileName, EncodeFolderAnnouncement({token_, {listening_}}),
                                               READABLE_BY_ALL, Sync::LATER);
    ownFile_ = written ? fileName : "";
    if (written) {
        ownFiles_.insert(fileName);
    }
    return written;
}

void FolderChannel::RemoveOwnFilesBut(const std::string& kept)
{
    std::erase_if(ownFiles_, [&](const std::string& fileName) {
        std::error_code error;
        return fileName != kept && (std::filesystem::remove(folder_ / fileName, error) || !error);
    });
}

void FolderChannel::RemoveFilesOfEarlierRuns()
{
    for (const std::string& fileName : FileNamesIn(folder_)) {
        const std::string token = TokenOfFileName(fileName);
        std::error_code error;
        const auto modified = std::filesystem::last_write_time(folder_ / fileName, error);
        if (!error && !token.empty() && fileName != ownFile_ &&
            isOwn_(token, std::chrono::file_clock::to_sys(modified))) {
            std::filesystem::remove(folder_ / fileName, error);
        }
    }
}

void FolderChannel::CheckReportedFiles()
{
    for (const auto& [fileName, announcement] : std::map(reported_)) {
        CheckFile(fileName);
    }
}

void FolderChannel::CheckAllFiles()
{
    for (const std::string& fileName : FileNamesIn(folder_)) {
        CheckFile(fileName);
    }
}

// Reads the file, and calls heard_ if the announcement in the file is new, has changed or has ended.
void FolderChannel::CheckFile(const std::string& fileName)
{
    const std::string token = TokenOfFileName(fileName);
    const auto known = reported_.find(fileName);
    // isOurs_ is asked only about files that were not reported yet, because the token of a reported file may have
    // expired.
    if (token.empty() || ownFiles_.contains(fileName) || (known == reported_.end() && !isOurs_(token))) {
        return;
    }
    const std::optional<Announcement> found = ReadAnnouncement(fileName, token);
    if (found && (known == reported_.end() || known->second != *found)) {
        reported_.insert_or_assign(fileName, *found);
        heard_(fileName, found);
    } else if (!found && known != reported_.end()) {
        reported_.erase(known);
        heard_(fileName, std::nullopt);
    }
}

std::optional<Announcement> FolderChannel::ReadAnnouncement(const std::string& fileName, const std::string& token) const
{
    const std::filesystem::path path = folder_ / fileName;
    std::error_code error;
    const auto modified = std::filesystem::last_write_time(path, error);
    if (!error && clock_.WallNow() - std::chrono::file_clock::to_sys(modified) > MAX_AGE) {
        return std::nullopt;
    }
    Result<Announcement> read =
        ReadWholeFile(path, MAX_FILE_BYTES, LastLink::REFUSED).and_then([&](const std::string& text) {
            return DecodeFolderAnnouncement(text, path.string());
        });
    if (read && read.value().token != token) {
        read = Fail(ErrorCode::MALFORMED, path.string() + ": it holds another token than its name");
    }
    if (read) {
        return read.value();
    }
    if (read.error().code != ErrorCode::NOT_FOUND) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "announcement ignored: %{public}s", read.error().message);
    }
    return std::nullopt;
}

}  // namespace Vexo::SoftBus
