#include "platform/base/folder_watcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/base/unique_fd.h"

namespace Vexo {

namespace {

constexpr uint32_t FOLDER_EVENTS =
    IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE | IN_MOVE_SELF | IN_ONLYDIR;
// While the folder is missing, its nearest existing ancestor is watched for these events, because the folder may appear
// again or the ancestor may be moved away.
constexpr uint32_t ANCESTOR_EVENTS = IN_CREATE | IN_MOVED_TO | IN_MOVE_SELF | IN_ONLYDIR;
constexpr int NOT_WATCHED = -1;

class InotifyWatcher final : public FolderWatcher {
public:
    InotifyWatcher(std::filesystem::path folder, UniqueFd inotify, int folderWatch, UniqueFd stop, Callback callback)
        : folder_(std::move(folder)),
          inotify_(std::move(inotify)),
          stop_(std::move(stop)),
          callback_(std::move(callback)),
          folderWatch_(folderWatch),
          thread_([this] { Run(); })
    {
    }

    ~InotifyWatcher() override
    {
        eventfd_write(stop_.Get(), 1);
        thread_.join();
    }

private:
    void Run()
    {
        std::array<pollfd, 2> waits{pollfd{inotify_.Get(), POLLIN, 0}, pollfd{stop_.Get(), POLLIN, 0}};
        for (;;) {
            if (::poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR) {
                return;
            }
            if (waits[1].revents != 0) {
                return;
            }
            if (waits[0].revents != 0) {
                ReadEvents();
            }
        }
    }

    void ReadEvents()
    {
        alignas(inotify_event) std::array<char, 4096> buffer{};
        const ssize_t size = ::read(inotify_.Get(), buffer.data(), buffer.size());
        for (ssize_t at = 0; at < size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
            OnEvent(*event, event->len > 0 ? event->name : "");
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        if (folderWatch_ == NOT_WATCHED) {
            WatchAgain();
        }
    }

    void OnEvent(const inotify_event& event, const std::string& name)
    {
        // If the folder is removed or unmounted, the kernel removes its watch (IN_IGNORED). If the folder is moved
        // away, its watch remains until Forget removes it.
        const bool isGone = (event.mask & (IN_IGNORED | IN_MOVE_SELF)) != 0;
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            callback_("");
        } else if (event.wd == folderWatch_ && isGone) {
            Forget(folderWatch_);
            callback_("");
        } else if (event.wd == folderWatch_) {
            callback_(name);  // name is empty when the folder's own mode or owner changed
        } else if (event.wd == ancestorWatch_ && isGone) {
            Forget(ancestorWatch_);
        }
    }

    // Watches the folder again if it exists. If it is missing, watches its nearest existing ancestor.
    void WatchAgain()
    {
        for (;;) {
            folderWatch_ = ::inotify_add_watch(inotify_.Get(), folder_.c_str(), FOLDER_EVENTS);
            if (folderWatch_ != NOT_WATCHED) {
                Forget(ancestorWatch_);
                callback_("");
                return;
            }
            const int known = ancestorWatch_;
            ancestorWatch_ = WatchNearestAncestor();
            if (ancestorWatch_ == known) {
                return;
            }
            if (known != NOT_WATCHED) {
                (void)::inotify_rm_watch(inotify_.Get(), known);
            }
            // Try again, because the folder may have appeared before its ancestor was watched.
        }
    }

    int WatchNearestAncestor()
    {
        std::filesystem::path ancestor = folder_;
        int watch = NOT_WATCHED;
        while (watch == NOT_WATCHED && ancestor.has_relative_path()) {
            ancestor = ancestor.parent_path();
            watch = ::inotify_add_watch(inotify_.Get(), ancestor.c_str(), ANCESTOR_EVENTS);
        }
        return watch;
    }

    void Forget(int& watch)
    {
        if (watch != NOT_WATCHED) {
            (void)::inotify_rm_watch(inotify_.Get(), std::exchange(watch, NOT_WATCHED));
        }
    }

    const std::filesystem::path folder_;  // absolute, so that each ancestor has a name
    const UniqueFd inotify_;
    const UniqueFd stop_;
    const Callback callback_;
    // Only thread_ uses the next two members.
    int folderWatch_;
    int ancestorWatch_ = NOT_WATCHED;
    std::thread thread_;  // the last member, because the thread uses the other members
};

}  // namespace

Result<std::unique_ptr<FolderWatcher>> FolderWatcher::Start(const std::filesystem::path& folder, Callback callback)
{
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(folder, error);
    UniqueFd inotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    UniqueFd stop(::eventfd(0, EFD_CLOEXEC));
    const int watch =
        error || !inotify || !stop ? NOT_WATCHED : ::inotify_add_watch(inotify.Get(), absolute.c_str(), FOLDER_EVENTS);
    if (watch == NOT_WATCHED) {
        return Fail(ErrorCodeOf(errno),
                    folder.string() + ": cannot be watched: " + (error ? error.message() : std::strerror(errno)));
    }
    return std::unique_ptr<FolderWatcher>(std::make_unique<InotifyWatcher>(
        std::move(absolute), std::move(inotify), watch, std::move(stop), std::move(callback)));
}

}  // namespace Vexo
