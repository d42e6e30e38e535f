// These functions access a state folder with the rights of its owner when root runs distnetctl. There are two reasons.
// The daemon runs as the owner and must be able to read new files. Root must not follow a symbolic link that the owner
// has placed in the folder. Use on one thread at a time, because the rights belong to the process.
#pragma once

#include <filesystem>
#include <string>

#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// While an object of this class exists, the process has the rights of the owner of the state folder. The object has no
// effect if the user is not root, or if the folder belongs to root or does not exist.
class StateOwner {
public:
    explicit StateOwner(const std::filesystem::path& stateDir);
    ~StateOwner();
    StateOwner(const StateOwner&) = delete;
    StateOwner& operator=(const StateOwner&) = delete;

    // Returns an error if the constructor could not change the rights. The caller must then not access the state
    // folder.
    const Result<void>& SwitchResult() const { return taken_; }

private:
    Result<void> taken_;
    bool isOther_ = false;
};

// Returns true if the current user may not read the state folder or the identity in it. Always false for root.
bool IsClosedToUser(const std::filesystem::path& stateDir);
// Returns the outcome for failed work on a state folder. advice: used only if the user may read the folder. If the user
// may not read it (IsClosedToUser), the outcome advises how to get access.
Outcome StateFailure(const std::filesystem::path& stateDir, std::string message, std::string advice);

// AsOwnerOf calls the given function with the rights of the owner of stateDir, and returns the Result of this function.
// Returns an error if the rights could not be changed.
template <typename Work>
auto AsOwnerOf(const std::filesystem::path& stateDir, Work work) -> decltype(work())
{
    const StateOwner owner(stateDir);
    if (!owner.SwitchResult()) {
        return Failure(owner.SwitchResult().error());
    }
    return work();
}

}  // namespace Vexo::Ctl
