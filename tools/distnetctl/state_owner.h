// Access to a state folder with the rights of the folder's owner, when root runs distnetctl. The daemon runs as the
// owner and must be able to read the files that are written, and root must not follow a link that the owner has placed
// in the folder. One thread at a time.
#pragma once

#include <filesystem>
#include <string>

#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// While an object exists, the process has the rights of the folder's owner. Changes nothing if the user is not root, or
// if the folder belongs to root or does not exist.
class StateOwner {
public:
    explicit StateOwner(const std::filesystem::path& stateDir);
    ~StateOwner();
    StateOwner(const StateOwner&) = delete;
    StateOwner& operator=(const StateOwner&) = delete;

    // An error if the rights could not be changed; the caller must not touch the folder then.
    const Result<void>& Taken() const { return taken_; }

private:
    Result<void> taken_;
    bool isOther_ = false;
};

// Whether this user lacks the rights to read the state folder or the identity in it. Never true for root.
bool IsClosedToUser(const std::filesystem::path& stateDir);
// The outcome for failed work on a state folder. A user without access (IsClosedToUser) gets advice about that instead
// of the given advice.
Outcome StateFailure(const std::filesystem::path& stateDir, std::string message, std::string advice);

// Runs work with the rights of the folder's owner. Returns the Result of work, or the error if the rights could not be
// changed.
template <typename Work>
auto AsOwnerOf(const std::filesystem::path& stateDir, Work work) -> decltype(work())
{
    const StateOwner owner(stateDir);
    if (!owner.Taken()) {
        return Failure(owner.Taken().error());
    }
    return work();
}

}  // namespace Vexo::Ctl
