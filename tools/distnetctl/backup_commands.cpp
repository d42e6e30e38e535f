// The commands `account backup` and `account restore`. They access the state folder with the rights of its owner. They
// access the backup file with the rights of the user, so a backup that root makes belongs to root.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/base/files.h"
#include "platform/base/unique_fd.h"
#include "platform/trust/account_backup.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/questions.h"
#include "tools/distnetctl/state_owner.h"

namespace Vexo::Ctl {

namespace {

constexpr size_t MAX_BACKUP = 1024 * 1024;
constexpr mode_t BACKUP_MODE = 0600;

Result<std::string> Passphrase(int descriptor, bool twice)
{
    EndOnInterrupt(RestoreEcho);
    return descriptor >= 0 ? ReadPassphrase(descriptor) : AskPassphrase(twice);
}

Outcome NoPassphrase(const Error& error)
{
    return NotDone(error.message, "Give it at the terminal, or on a descriptor: --passphrase-fd N");
}

// A temporary copy of the backup in the state folder. The process accesses the copy with the rights of the owner of the
// folder, who may have no access to the user's backup file. The destructor removes the copy.
class StateFolderCopy {
public:
    explicit StateFolderCopy(const std::filesystem::path& stateDir)
        : stateDir_(stateDir), path_(stateDir / ("backup." + std::to_string(getpid()) + ".tmp"))
    {
    }
    ~StateFolderCopy()
    {
        (void)AsOwnerOf(stateDir_, [&]() -> Result<void> {
            std::error_code ignored;  // an error is ignored, because the file may not exist
            std::filesystem::remove(path_, ignored);
            return {};
        });
    }
    StateFolderCopy(const StateFolderCopy&) = delete;
    StateFolderCopy& operator=(const StateFolderCopy&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    // Returns the message of an error. Replaces the path of this copy in the message by the path of the user's backup
    // file.
    std::string Explained(const Error& error, const std::filesystem::path& file) const
    {
        std::string message = error.message;
        if (const size_t at = message.find(path_.string()); at != std::string::npos) {
            message.replace(at, path_.string().size(), file.string());
        }
        return message;
    }

private:
    const std::filesystem::path stateDir_;
    const std::filesystem::path path_;
};

Result<void> WriteBackup(const UniqueFd& to, const std::filesystem::path& file, const std::string& bytes)
{
    if (!WriteAll(to.Get(), bytes) || fsync(to.Get()) != 0) {
        const int cause = errno;
        unlink(file.c_str());
        return Fail(ErrorCodeOf(cause), file.string() + ": " + std::strerror(cause) +
                                            "; the daemon has recorded this backup as made: make another one");
    }
    return {};
}

}  // namespace

int RunAccountBackup(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                     int passphraseDescriptor)
{
    const Result<std::string> passphrase = Passphrase(passphraseDescriptor, true);
    if (!passphrase) {
        return output.Finish(NoPassphrase(passphrase.error()));
    }
    // Create the file before calling BackUpAccount, because BackUpAccount records that a backup exists.
    const UniqueFd to(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, BACKUP_MODE));
    if (!to) {
        return output.Finish(NotDone(file.string() + ": " + std::strerror(errno), "Name a file that does not exist."));
    }
    const StateFolderCopy copy(options.stateDir);
    const auto backUp = [&]() -> Result<std::string> {
        if (auto made = Trust::BackUpAccount(options.stateDir / "identity", copy.Path(), passphrase.value()); !made) {
            return Failure(std::move(made).error());
        }
        return ReadWholeFile(copy.Path(), MAX_BACKUP);
    };
    const Result<std::string> bytes = AsOwnerOf(options.stateDir, backUp);
    if (!bytes) {
        unlink(file.c_str());
        return output.Finish(StateFailure(options.stateDir, copy.Explained(bytes.error(), file), ""));
    }
    if (const Result<void> written = WriteBackup(to, file, bytes.value()); !written) {
        return output.Finish(NotDone(written.error().message, ""));
    }
    Json details = NewObject();
    AddText(details.get(), "file", file);
    return output.Finish(
        Done(output.Tick() + " The account's key is in " + file.string() +
                 ", encrypted with the passphrase.\nKeep it away from this device: anyone who has both can admit "
                 "devices to\nthe account.",
             std::move(details)));
}

int RunAccountRestore(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                      int passphraseDescriptor, const std::string& deviceName, bool isAlone)
{
    const Result<std::string> bytes = ReadWholeFile(file, MAX_BACKUP);
    if (!bytes) {
        return output.Finish(NotDone(bytes.error().message, ""));
    }
    const Result<std::string> passphrase = Passphrase(passphraseDescriptor, false);
    if (!passphrase) {
        return output.Finish(NoPassphrase(passphrase.error()));
    }
    const StateFolderCopy copy(options.stateDir);
    const auto restore = [&]() -> Result<void> {
        if (auto copied = WriteFileAtomically(copy.Path(), bytes.value(), BACKUP_MODE); !copied) {
            return copied;
        }
        return Trust::RestoreAccount(options.stateDir / "identity", copy.Path(), passphrase.value(), deviceName,
                                     isAlone);
    };
    if (const Result<void> restored = AsOwnerOf(options.stateDir, restore); !restored) {
        return output.Finish(StateFailure(options.stateDir, copy.Explained(restored.error(), file), ""));
    }
    return output.Finish(
        Done(output.Tick() + " This device has the account's key.\n" +
             (isAlone ? "It is the account's only member now. A running daemon uses it at once."
                      : "It admits and removes devices once it has met another member, whose list may be\n"
                        "newer than the backup's. If none is left, restore again with --alone.")));
}

}  // namespace Vexo::Ctl
