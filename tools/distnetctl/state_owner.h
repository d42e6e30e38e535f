// When root runs distnetctl, these functions access a state folder with the rights of the folder's owner, for two
// reasons: the daemon runs as the owner and must be able to read new files, and root must not follow a link that the
// owner has placed in the folder. Use on one thread at a time: the rights belong to the process.
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

// Returns whether this user may not read the state folder or the identity in it. Always false for root.
bool IsClosedToUser(const std::filesystem::path& stateDir);
// The outcome for failed work on a state folder. If the user may not read the folder (IsClosedToUser), the advice is
// about that instead of the given advice.
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
