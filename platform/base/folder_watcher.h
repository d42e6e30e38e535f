// FolderWatcher: calls back when an entry of one folder is created, replaced by rename, written or removed,
// or changes its mode or owner (inotify(7)). A folder that is removed or moved away is watched again when its path
// leads to a folder again; meanwhile its nearest ancestor is watched. One thread a watcher, blocked in the kernel while
// nothing happens: an idle watcher costs no wake-up. The callback runs on that thread, one at a time; it may destroy
// anything but the watcher itself.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo {

class FolderWatcher : public NoCopyable {
public:
    // The name of the entry that changed, relative to the folder; empty when all must be read again: events were lost,
    // the folder has gone or is back, or its own mode or owner changed.
    using Callback = std::function<void(const std::string& name)>;

    // Starts watching; the folder must exist. The error names the folder.
    [[nodiscard]] static Result<std::unique_ptr<FolderWatcher>> Start(const std::filesystem::path& folder,
                                                                      Callback callback);

    // Ends the thread; no callback runs after it returns. Blocks for a callback in progress.
    virtual ~FolderWatcher() = default;

protected:
    FolderWatcher() = default;
};

}  // namespace Vexo
