#include "platform/softbus/discovery/announcements.h"

#include <utility>

#include "platform/base/files.h"
#include "platform/base/hex.h"
#include "platform/base/json.h"
#include "platform/base/utf8.h"
#include "platform/softbus/link/frame.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

constexpr int ANNOUNCEMENT_VERSION = 1;
constexpr char FILE_SUFFIX[] = ".json";

std::string TextOf(const cJSON* object, const char* key)
{
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsString(item) ? item->valuestring : "";
}

// The network id that a file name stands for; empty for a file that is no announcement, a half-written one included.
std::string NetworkIdOfFile(const std::string& fileName)
{
    const std::filesystem::path path(fileName);
    return path.extension() == FILE_SUFFIX && IsHexId(path.stem().string()) ? path.stem().string() : std::string();
}

}  // namespace

std::string EncodeAnnouncement(const Announcement& announcement)
{
    const Json json = NewObject();
    cJSON_AddNumberToObject(json.get(), "version", ANNOUNCEMENT_VERSION);
    AddText(json.get(), "network_id", announcement.networkId);
    AddText(json.get(), "transport", announcement.where.transport);
    AddText(json.get(), "address", announcement.where.address);
    return JsonText(json.get()) + "\n";
}

Result<Announcement> DecodeAnnouncement(const std::string& text)
{
    if (!IsUtf8(text)) {
        return Fail(ErrorCode::MALFORMED, "it is not UTF-8");
    }
    const Json json = ParseJson(text);
    if (!cJSON_IsObject(json.get())) {
        return Fail(ErrorCode::MALFORMED, "it is not a JSON object");
    }
    const cJSON* version = cJSON_GetObjectItemCaseSensitive(json.get(), "version");
    if (!cJSON_IsNumber(version) || version->valuedouble != ANNOUNCEMENT_VERSION) {
        return Fail(ErrorCode::MALFORMED, "version: expected 1");
    }
    Announcement announcement{TextOf(json.get(), "network_id"),
                              {TextOf(json.get(), "transport"), TextOf(json.get(), "address")}};
    if (!IsHexId(announcement.networkId)) {
        return Fail(ErrorCode::MALFORMED, "network_id: expected 64 lower-case hex characters");
    }
    if (announcement.where.transport.empty() || announcement.where.address.empty()) {
        return Fail(ErrorCode::MALFORMED, "transport and address: expected texts that are not empty");
    }
    return announcement;
}

Announcements::Announcements(std::filesystem::path folder, const Announcement& own, Changed changed)
    : folder_(std::move(folder)), own_(own), ownFileName_(own.networkId + FILE_SUFFIX), changed_(std::move(changed))
{
}

Announcements::~Announcements()
{
    Withdraw();
}

Result<std::unique_ptr<Announcements>> Announcements::Start(const std::filesystem::path& folder,
                                                            const Announcement& own, Changed changed)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        return Fail(ErrorCode::SYSTEM, "announce folder " + folder.string() + ": " + error.message());
    }
    std::unique_ptr<Announcements> made(new Announcements(folder, own, std::move(changed)));
    auto watcher = FolderWatcher::Start(folder, [raw = made.get()](const std::string& name) {
        if (name.empty()) {
            raw->ScanAgain();
        } else {
            raw->Look(name);
        }
    });
    if (!watcher) {
        return Failure(std::move(watcher).error());
    }
    made->watcher_ = std::move(watcher.value());
    if (auto written = made->Announce(); !written) {
        return Failure(std::move(written).error());
    }
    made->Scan();
    return made;
}

void Announcements::Withdraw()
{
    if (watcher_) {
        watcher_.reset();
        std::error_code ignored;
        std::filesystem::remove(folder_ / ownFileName_, ignored);
    }
}

Result<void> Announcements::Announce() const
{
    // Others may have to read it under another user id, and there is nothing secret in it.
    constexpr mode_t READABLE_BY_ALL = 0644;
    return WriteFileAtomically(folder_ / ownFileName_, EncodeAnnouncement(own_), READABLE_BY_ALL);
}

// The folder has gone, or is back, or events were lost.
void Announcements::ScanAgain()
{
    std::error_code error;
    if (std::filesystem::is_directory(folder_, error) && !std::filesystem::exists(folder_ / ownFileName_, error)) {
        if (const auto written = Announce(); !written) {
            QuviewDFX::LogWarn(LOG_SOFTBUS, "this device is not announced: %{public}s", written.error().message);
        }
    }
    std::set<std::string> known;
    {
        const MutexLock lock(lookMutex_);
        known = announced_;
    }
    for (const std::string& networkId : known) {
        if (const std::string fileName = networkId + FILE_SUFFIX; !std::filesystem::exists(folder_ / fileName, error)) {
            Look(fileName);
        }
    }
    Scan();
}

void Announcements::Scan()
{
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
         entry.increment(error)) {
        Look(entry->path().filename().string());
    }
}

void Announcements::Look(const std::string& fileName)
{
    const std::string networkId = NetworkIdOfFile(fileName);
    if (networkId.empty() || fileName == ownFileName_) {
        return;
    }
    // The first scan and the watcher may look at one file at the same time: who reads last must report last.
    MutexLock lock(lookMutex_);
    const std::filesystem::path path = folder_ / fileName;
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        announced_.erase(networkId);
        changed_(networkId, std::nullopt);
        return;
    }
    const Result<Announcement> announcement =
        ReadWholeFile(path, MAX_ANNOUNCEMENT_BYTES, LastLink::REFUSED).and_then(DecodeAnnouncement);
    if (!announcement) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "announcement %{public}s ignored: %{public}s", fileName,
                           announcement.error().message);
    } else if (announcement.value().networkId != networkId) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "announcement %{public}s ignored: it names another device", fileName);
    } else {
        announced_.insert(networkId);
        changed_(networkId, announcement.value().where);
    }
}

}  // namespace Vexo::SoftBus
