// A tool that root runs works on a state folder as the folder's owner does, so that the daemon, which runs as that
// owner, can read what was written, and so that a link in the folder leads root nowhere. One thread at a time.
#pragma once

#include <filesystem>
#include <string>

#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// Has the rights of the folder's owner for as long as it lives. For anyone but root, for a folder of root's and for one
// that does not exist it changes nothing.
class StateOwner {
public:
    explicit StateOwner(const std::filesystem::path& stateDir);
    ~StateOwner();
    StateOwner(const StateOwner&) = delete;
    StateOwner& operator=(const StateOwner&) = delete;

    // An error when the rights could not be taken: nothing may be done then.
    const Result<void>& Taken() const { return taken_; }

private:
    Result<void> taken_;
    bool isOther_ = false;
};

// Whether this user is kept out of a state folder, or of the identity in it. Never for root.
bool IsClosedToUser(const std::filesystem::path& stateDir);
// The outcome of work on a state folder that failed: with advice of its own for a user who is kept out, else with the
// given one.
Outcome StateFailure(const std::filesystem::path& stateDir, std::string message, std::string advice);

// What the work returns, a Result, or why it was not done.
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
