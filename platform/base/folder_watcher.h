// FolderWatcher: calls a callback when an entry of one folder is created, replaced by rename, written or removed, or
// when an entry's mode or owner changes (inotify(7)). If the folder is removed or moved away, the watcher waits until a
// folder exists at that path again, and then watches that folder. Each watcher has one thread, which sleeps until
// something happens. The callback runs on that thread, one call at a time. The callback may destroy any object except
// the watcher itself.
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
    // name: the entry that changed, relative to the folder. An empty name means that the caller must read the whole
    // folder again: events were lost, the folder disappeared or came back, or the folder's own mode or owner changed.
    using Callback = std::function<void(const std::string& name)>;

    // Starts to watch the folder, which must exist. The message of an error names the folder.
    [[nodiscard]] static Result<std::unique_ptr<FolderWatcher>> Start(const std::filesystem::path& folder,
                                                                      Callback callback);

    // Stops the watcher's thread. Blocks until a running callback has returned. No callback runs afterwards.
    virtual ~FolderWatcher() = default;

protected:
    FolderWatcher() = default;
};

}  // namespace Vexo
