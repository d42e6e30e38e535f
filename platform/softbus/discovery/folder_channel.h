// FolderChannel: devices that share a folder announce themselves in it (announcement_channel.h), each by one small file
// that names no device:
//   <token, 16 hex>-<8 random hex>.json
//     {"version": 2, "token": "<the same 16 hex>", "transport": "tcp", "address": "127.0.0.1:40117"}
// A file is opened only when its name's token is of this account. A running device writes a new file each period. A
// file older than two periods is from a device that crashed, and is ignored. Ages are judged when a file changes and at
// each Announce, so an idle channel does not wake up.
// A folder that is removed takes its announcements with it; when it is back, this device is announced in it again.
// Start and Withdraw block on the disk and are called by one thread at a time; Announce is for any thread and hands
// over to a strand. IsOurs and Heard run on the starting thread, the folder watcher's and the strand's, one at a time,
// with the channel's lock held: of the channel they may call Announce only.
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

// The text of a file, and back; its one address is set. The error says what is wrong in which file.
std::string EncodeFolderAnnouncement(const Announcement& announcement);
[[nodiscard]] Result<Announcement> DecodeFolderAnnouncement(const std::string& text, const std::string& fileName);

class FolderChannel final : public AnnouncementChannel, public NoCopyable {
public:
    // Whether a token that was written then is this device's own, of this run or an earlier one: the files of an
    // earlier run are removed at the start, and when the folder comes back. Called for every file then, so it may take
    // a while. Threads: as IsOurs.
    using IsOwn = std::function<bool(const std::string& token, WallTime then)>;

    // The folder is made if it is missing. clock outlives the channel.
    FolderChannel(std::filesystem::path folder, PeerAddress listening, IsOwn isOwn,
                  const Clock& clock = Clock::System());
    ~FolderChannel() override;

    std::string Name() const override { return "folder"; }
    [[nodiscard]] Result<void> Start(const std::string& token, IsOurs isOurs, Heard heard) override EXCLUDES(mutex_);
    void Announce(const std::string& token) override;
    // Leaves no file of this device, also on a disk that is slow: it waits for one that is being written.
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
    std::string token_ GUARDED_BY(mutex_);               // to be announced
    std::string ownFile_ GUARDED_BY(mutex_);             // the name of the one that announces it; empty: none does
    std::set<std::string> ownFiles_ GUARDED_BY(mutex_);  // names of all that this run wrote and has not removed
    std::map<std::string, Announcement> reported_ GUARDED_BY(mutex_);  // by file name
    Tasks::Strand strand_;
    std::unique_ptr<FolderWatcher> watcher_;
};

}  // namespace Vexo::SoftBus
