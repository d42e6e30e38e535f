#include "platform/base/folder_watcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "platform/base/unique_fd.h"

namespace Vexo {

namespace {

constexpr uint32_t WATCHED = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_DELETE;

class InotifyWatcher final : public FolderWatcher {
public:
    InotifyWatcher(UniqueFd inotify, UniqueFd stop, Callback callback)
        : inotify_(std::move(inotify)),
          stop_(std::move(stop)),
          callback_(std::move(callback)),
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
            if ((event->mask & IN_Q_OVERFLOW) != 0) {
                callback_("");
            } else if (event->len > 0) {
                callback_(event->name);
            }
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }

    const UniqueFd inotify_;
    const UniqueFd stop_;
    const Callback callback_;
    std::thread thread_;  // last: it uses the others
};

}  // namespace

Result<std::unique_ptr<FolderWatcher>> FolderWatcher::Start(const std::filesystem::path& folder, Callback callback)
{
    UniqueFd inotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    UniqueFd stop(::eventfd(0, EFD_CLOEXEC));
    if (!inotify || !stop || ::inotify_add_watch(inotify.Get(), folder.c_str(), WATCHED | IN_ONLYDIR) < 0) {
        return Error{folder.string() + ": cannot be watched: " + std::strerror(errno)};
    }
    return std::unique_ptr<FolderWatcher>(
        std::make_unique<InotifyWatcher>(std::move(inotify), std::move(stop), std::move(callback)));
}

}  // namespace Vexo
