#include "platform/softbus/account/account_view.h"

#include <algorithm>
#include <utility>

#include "platform/base/clock.h"

namespace Vexo::SoftBus {

void AccountView::Use(const std::string& ownNetworkId, Trust::SignedStatePtr state,
                      std::optional<std::chrono::sys_seconds> removedAt)
{
    const MutexLock lock(mutex_);
    ownNetworkId_ = ownNetworkId;
    state_ = std::move(state);
    removedAt_ = removedAt ? removedAt : removedAt_;
}

void AccountView::SetOwnRemoval(std::chrono::sys_seconds at)
{
    const MutexLock lock(mutex_);
    removedAt_ = at;
}

Trust::SignedStatePtr AccountView::State() const
{
    const MutexLock lock(mutex_);
    return state_;
}

uint64_t AccountView::Number() const
{
    const Trust::SignedStatePtr state = State();
    return state ? state->State().number : 0;
}

std::string AccountView::OwnNetworkId() const
{
    const MutexLock lock(mutex_);
    return ownNetworkId_;
}

bool AccountView::IsMember(const std::string& networkId) const
{
    const Trust::SignedStatePtr state = State();
    return !state || state->State().FindMember(networkId) != nullptr;
}

bool AccountView::IsRemoved(const std::string& idPrefix) const
{
    const Trust::SignedStatePtr state = State();
    const auto isIn = [&](const auto& devices) {
        return std::any_of(devices.begin(), devices.end(),
                           [&](const auto& device) { return device.networkId.starts_with(idPrefix); });
    };
    return state && isIn(state->State().removed) && !isIn(state->State().members);
}

std::string AccountView::NameOf(const std::string& networkId, const std::string& fallback) const
{
    const Trust::SignedStatePtr state = State();
    const Trust::Member* const member = state ? state->State().FindMember(networkId) : nullptr;
    return member != nullptr ? member->name : fallback;
}

std::optional<std::chrono::sys_seconds> AccountView::RemovedAt() const
{
    const MutexLock lock(mutex_);
    return removedAt_;
}

std::string AccountView::OwnRemovalText() const
{
    const MutexLock lock(mutex_);
    if (!removedAt_) {
        return {};
    }
    return "this device was removed from the account on " + DateOf(*removedAt_);
}

}  // namespace Vexo::SoftBus
