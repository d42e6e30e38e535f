#include "platform/softbus/discovery/sightings.h"

#include <algorithm>

namespace Vexo::SoftBus {

namespace {

std::string StartOf(const std::string& networkId)
{
    return networkId.substr(0, 2 * Trust::TOKEN_ID_BYTES);
}

}  // namespace

void Sightings::Use(std::string ownNetworkId, TransportTokens tokens)
{
    ownStart_ = StartOf(ownNetworkId);
    ownNetworkId_ = std::move(ownNetworkId);
    tokens_ = std::move(tokens);
}

std::optional<Trust::TokenOwner> Sightings::OwnerOf(const std::string& transport, const std::string& token)
{
    const Trust::AnnouncementTokens& tokens = *tokens_.at(transport);
    if (auto owner = tokens.Read(token)) {
        return owner;
    }
    {
        const MutexLock lock(mutex_);
        if (const SteadyTime now = clock_.Now(); now - farReadsSince_ >= std::chrono::minutes(1)) {
            farReadsSince_ = now;
            farReads_ = 0;
        }
        if (farReads_ >= MAX_FAR_READS) {
            return std::nullopt;
        }
    }
    auto owner = tokens.ReadOfAnyClock(token);
    if (!owner) {
        const MutexLock lock(mutex_);
        ++farReads_;
    }
    return owner;
}

bool Sightings::IsOurs(const std::string& transport, const std::string& token)
{
    return OwnerOf(transport, token).has_value();
}

bool Sightings::IsOwn(const std::string& transport, const std::string& token) const
{
    const auto owner = tokens_.at(transport)->ReadOfAnyClock(token);
    return owner && owner->idStart == ownStart_;
}

std::optional<std::string> Sightings::Set(const std::string& channel, const std::string& name,
                                          const std::optional<Announcement>& announcement)
{
    std::optional<Trust::TokenOwner> owner;
    if (announcement && !announcement->addresses.empty()) {
        owner = OwnerOf(announcement->addresses.front().transport, announcement->token);
    }
    const MutexLock lock(mutex_);
    const auto known = heard_.find({channel, name});
    if (!owner || owner->idStart == ownStart_) {
        if (known == heard_.end()) {
            return std::nullopt;
        }
        std::string idStart = std::move(known->second.owner.idStart);
        heard_.erase(known);
        return idStart;
    }
    if (known == heard_.end() && heard_.size() >= MAX_SIGHTINGS) {
        return std::nullopt;
    }
    Sighting sighting{std::move(*owner), announcement->addresses, clock_.Now()};
    sighting.addresses.resize(std::min(sighting.addresses.size(), MAX_SIGHTING_ADDRESSES));
    return (heard_[{channel, name}] = std::move(sighting)).owner.idStart;
}

void Sightings::DropOld()
{
    const MutexLock lock(mutex_);
    const SteadyTime now = clock_.Now();
    std::erase_if(heard_, [&](const auto& named) { return now - named.second.heardAt > SIGHTING_LIFE; });
    std::erase_if(leftAlone_, [&](const auto& place) { return place.second <= now; });
}

bool Sightings::IsAnnounced(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    return std::any_of(heard_.begin(), heard_.end(), [start = StartOf(networkId)](const auto& named) {
        return named.second.owner.idStart == start && named.second.isAnswered;
    });
}

std::vector<PeerAddress> Sightings::Addresses(const std::string& idStart) const
{
    const MutexLock lock(mutex_);
    std::vector<const Sighting*> own;
    for (const auto& [name, sighting] : heard_) {
        if (sighting.owner.idStart == StartOf(idStart)) {
            own.push_back(&sighting);
        }
    }
    std::sort(own.begin(), own.end(), [](const auto* a, const auto* b) { return a->heardAt > b->heardAt; });
    std::vector<PeerAddress> addresses;
    for (const Sighting* sighting : own) {
        for (const PeerAddress& address : sighting->addresses) {
            if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
                addresses.push_back(address);
            }
        }
    }
    return addresses;
}

std::chrono::minutes Sightings::ClockAhead(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    const auto found = std::find_if(heard_.begin(), heard_.end(), [start = StartOf(networkId)](const auto& named) {
        return named.second.owner.idStart == start;
    });
    return found == heard_.end() ? std::chrono::minutes(0) : found->second.owner.clockAhead;
}

std::vector<std::string> Sightings::All() const
{
    const MutexLock lock(mutex_);
    std::vector<std::string> starts;
    for (const auto& [name, sighting] : heard_) {
        if (std::find(starts.begin(), starts.end(), sighting.owner.idStart) == starts.end()) {
            starts.push_back(sighting.owner.idStart);
        }
    }
    return starts;
}

void Sightings::Unanswered(const std::string& networkId)
{
    const MutexLock lock(mutex_);
    for (auto& [name, sighting] : heard_) {
        sighting.isAnswered = sighting.isAnswered && sighting.owner.idStart != StartOf(networkId);
    }
}

void Sightings::Answered(const PeerAddress& where)
{
    const MutexLock lock(mutex_);
    leftAlone_.erase(where);
    for (auto& [name, sighting] : heard_) {
        const auto& at = sighting.addresses;
        sighting.isAnswered = sighting.isAnswered || std::find(at.begin(), at.end(), where) != at.end();
    }
}

void Sightings::LeaveAlone(const PeerAddress& where)
{
    const MutexLock lock(mutex_);
    const SteadyTime now = clock_.Now();
    if (leftAlone_.size() >= MAX_LEFT_ALONE) {
        leftAlone_.erase(std::min_element(leftAlone_.begin(), leftAlone_.end(),
                                          [](const auto& a, const auto& b) { return a.second < b.second; }));
    }
    leftAlone_[where] = now + LEFT_ALONE;
}

bool Sightings::IsLeftAlone(const PeerAddress& where) const
{
    const MutexLock lock(mutex_);
    const auto found = leftAlone_.find(where);
    return found != leftAlone_.end() && clock_.Now() < found->second;
}

}  // namespace Vexo::SoftBus
