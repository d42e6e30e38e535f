// FolderChannel: devices that share a folder announce themselves in it (announcement_channel.h). Each device writes one
// small file, which does not contain the device's name or id:
//   <token, 16 hex>-<8 random hex>.json
//     {"version": 2, "token": "<the same 16 hex>", "transport": "tcp", "address": "127.0.0.1:40117"}
// A file is opened only if the token in its name belongs to this account. A running device writes a new file each token
// period. A file that is older than two periods is ignored, because its device has crashed. The age of files is checked
// only when a file changes and at each Announce, so an idle channel does not wake up. When the folder is removed, its
// announcements end. When the folder is created again, this device announces itself again. Start and Withdraw block on
// the disk; one thread at a time may call them. Announce may be called on any thread, because it posts its work to a
// strand. IsOurs and Heard run on the thread of Start, of the folder watcher or of the strand, one at a time. The
// channel's lock is held meanwhile, so the only function of the channel that they may call is Announce.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/folder_watcher.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::SoftBus {

// Convert between an announcement with exactly one address and the text of its file. The error names the file and says
// what is wrong in the file.
std::string EncodeFolderAnnouncement(const Announcement& announcement);
[[nodiscard]] Result<Announcement> DecodeFolderAnnouncement(const std::string& text, const std::string& fileName);

class FolderChannel final : public AnnouncementChannel, public NoCopyable {
public:
    // Returns true if this device made the token, in this run or in an earlier run. then: the time at which the file
    // with this token was written. IsOwn may be slow, because the channel calls IsOwn only to remove the files of
    // earlier runs, at the start and when the folder is created again. IsOwn runs on the same threads as IsOurs.
    using IsOwn = std::function<bool(const std::string& token, WallTime then)>;

    // Start creates the folder if it is missing. clock must outlive the channel.
    FolderChannel(std::filesystem::path folder, PeerAddress listening, IsOwn isOwn,
                  const Clock& clock = Clock::System());
    ~FolderChannel() override;

    std::string Name() const override { return "folder"; }
    [[nodiscard]] Result<void> Start(const std::string& token, IsOurs isOurs, Heard heard) override EXCLUDES(mutex_);
    void Announce(const std::string& token) override;
    bool CanAnnounce() const override;
    // Removes all files of this device. If a file is being written, waits for the end of the write, also on a slow
    // disk.
    void Withdraw() override EXCLUDES(mutex_);

private:
    void OnChange(const std::string& fileName) EXCLUDES(mutex_);
    void Replace(const std::string& token) EXCLUDES(mutex_);

    [[nodiscard]] Result<void> AnnounceIfMissing() REQUIRES(mutex_);
    [[nodiscard]] Result<void> WriteOwnFile() REQUIRES(mutex_);
    void RemoveOwnFilesBut(const std::string& kept) REQUIRES(mutex_);
    void RemoveFilesOfEarlierRuns() REQUIRES(mutex_);
    void CheckReportedFiles() REQUIRES(mutex_);
    void CheckAllFiles() REQUIRES(mutex_);
    void CheckFile(const std::string& fileName) REQUIRES(mutex_);
    std::optional<Announcement> ReadAnnouncement(const std::string& fileName, const std::string& token) const;

    const std::filesystem::path folder_;
    const PeerAddress listening_;
    const IsOwn isOwn_;
    const Clock& clock_;
    Mutex mutex_;
    bool isWithdrawn_ GUARDED_BY(mutex_) = false;
    IsOurs isOurs_ GUARDED_BY(mutex_);
    Heard heard_ GUARDED_BY(mutex_);
    std::string token_ GUARDED_BY(mutex_);    // the token to announce
    std::string ownFile_ GUARDED_BY(mutex_);  // the name of the file that announces token_; empty if there is none
    std::set<std::string> ownFiles_ GUARDED_BY(mutex_);                // files that this run wrote and has not removed
    std::map<std::string, Announcement> reported_ GUARDED_BY(mutex_);  // key: the file name
    Tasks::Strand strand_;
    std::unique_ptr<FolderWatcher> watcher_;
};

}  // namespace Vexo::SoftBus
