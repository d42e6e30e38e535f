#include "platform/softbus/discovery/sightings.h"

#include <algorithm>

namespace Vexo::SoftBus {

namespace {

std::string PrefixOf(const std::string& networkId)
{
    return networkId.substr(0, 2 * Trust::TOKEN_ID_BYTES);
}

}  // namespace

void Sightings::SetTokens(std::string ownNetworkId, TransportTokens tokens)
{
    const MutexLock lock(mutex_);
    ownPrefix_ = PrefixOf(ownNetworkId);
    ownNetworkId_ = std::move(ownNetworkId);
    tokens_ = std::move(tokens);
}

std::shared_ptr<const Trust::AnnouncementTokens> Sightings::TokensOf(const std::string& transport) const
{
    const MutexLock lock(mutex_);
    return tokens_.at(transport);
}

std::string Sightings::OwnToken(const std::string& transport) const
{
    const MutexLock lock(mutex_);
    return tokens_.at(transport)->MakeToken(ownNetworkId_);
}

std::optional<Trust::TokenOwner> Sightings::OwnerOf(const std::string& transport, const std::string& token)
{
    const auto tokens = TokensOf(transport);
    auto owner = tokens->Read(token);
    return owner ? owner : ReadOfAnyClock(*tokens, token);
}

// Calls tokens.ReadOfAnyClock. Returns nullopt without that call if MAX_FAILED_TOKEN_READS such calls have already
// found no device of the account in the current minute.
std::optional<Trust::TokenOwner> Sightings::ReadOfAnyClock(const Trust::AnnouncementTokens& tokens,
                                                           const std::string& token)
{
    {
        const MutexLock lock(mutex_);
        if (const SteadyTime now = clock_.BootNow(); now - distantReadsSince_ >= std::chrono::minutes(1)) {
            distantReadsSince_ = now;
            distantReads_ = 0;
        }
        if (distantReads_ >= MAX_FAILED_TOKEN_READS) {
            return std::nullopt;
        }
    }
    auto owner = tokens.ReadOfAnyClock(token);
    if (!owner) {
        const MutexLock lock(mutex_);
        ++distantReads_;
    }
    return owner;
}

bool Sightings::IsOurs(const std::string& transport, const std::string& token)
{
    return OwnerOf(transport, token).has_value();
}

bool Sightings::IsOwn(const std::string& transport, const std::string& token, WallTime then)
{
    const auto tokens = TokensOf(transport);
    std::optional<Trust::TokenOwner> owner = tokens->ReadMadeAt(then, token);
    if (!owner) {
        owner = ReadOfAnyClock(*tokens, token);
    }
    const MutexLock lock(mutex_);
    return owner && owner->idPrefix == ownPrefix_;
}

std::optional<Trust::TokenOwner> Sightings::Set(const std::string& channel, const std::string& name,
                                                const std::optional<Announcement>& announcement)
{
    std::optional<Trust::TokenOwner> owner;
    if (announcement && !announcement->addresses.empty()) {
        owner = OwnerOf(announcement->addresses.front().transport, announcement->token);
    }
    const MutexLock lock(mutex_);
    const auto known = heard_.find({channel, name});
    if (!owner || owner->idPrefix == ownPrefix_) {
        if (known == heard_.end()) {
            return std::nullopt;
        }
        Trust::TokenOwner gone{std::move(known->second.owner.idPrefix)};
        heard_.erase(known);
        return gone;
    }
    if (known == heard_.end() && heard_.size() >= MAX_SIGHTINGS) {
        return std::nullopt;
    }
    Sighting sighting{std::move(*owner), announcement->addresses, clock_.BootNow()};
    sighting.addresses.resize(std::min(sighting.addresses.size(), MAX_SIGHTING_ADDRESSES));
    return (heard_[{channel, name}] = std::move(sighting)).owner;
}

void Sightings::DropOld()
{
    const MutexLock lock(mutex_);
    const SteadyTime now = clock_.BootNow();
    std::erase_if(heard_, [this](const auto& named) { return !IsCurrent(named.second); });
    std::erase_if(avoided_, [&](const auto& place) { return place.second <= now; });
}

bool Sightings::IsAnnounced(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    return std::any_of(heard_.begin(), heard_.end(), [this, start = PrefixOf(networkId)](const auto& named) {
        return named.second.owner.idPrefix == start && named.second.isAnswered && IsCurrent(named.second);
    });
}

std::vector<PeerAddress> Sightings::Addresses(const std::string& idPrefix) const
{
    const MutexLock lock(mutex_);
    std::vector<const Sighting*> own;
    for (const auto& [name, sighting] : heard_) {
        if (sighting.owner.idPrefix == PrefixOf(idPrefix) && IsCurrent(sighting)) {
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
    std::optional<std::chrono::minutes> least;
    for (const auto& [name, sighting] : heard_) {
        const bool isOfIt = sighting.owner.idPrefix == PrefixOf(networkId) && IsCurrent(sighting);
        if (isOfIt && (!least || abs(sighting.owner.clockAhead) < abs(*least))) {
            least = sighting.owner.clockAhead;
        }
    }
    return least.value_or(std::chrono::minutes(0));
}

std::vector<std::string> Sightings::AnnouncedIdPrefixes() const
{
    const MutexLock lock(mutex_);
    std::vector<std::string> starts;
    for (const auto& [name, sighting] : heard_) {
        if (std::find(starts.begin(), starts.end(), sighting.owner.idPrefix) == starts.end()) {
            starts.push_back(sighting.owner.idPrefix);
        }
    }
    return starts;
}

void Sightings::MarkUnanswered(const std::string& networkId)
{
    const MutexLock lock(mutex_);
    for (auto& [name, sighting] : heard_) {
        sighting.isAnswered = sighting.isAnswered && sighting.owner.idPrefix != PrefixOf(networkId);
    }
}

void Sightings::MarkAnswered(const std::string& networkId)
{
    const MutexLock lock(mutex_);
    for (auto& [name, sighting] : heard_) {
        sighting.isAnswered = sighting.isAnswered || sighting.owner.idPrefix == PrefixOf(networkId);
    }
}

void Sightings::RecordHandshake(const std::string& idPrefix, const PeerAddress& where, bool hasFailed)
{
    const MutexLock lock(mutex_);
    const std::pair place(PrefixOf(idPrefix), where);
    if (!hasFailed) {
        avoided_.erase(place);
        return;
    }
    if (avoided_.size() >= MAX_AVOIDED) {
        avoided_.erase(std::min_element(avoided_.begin(), avoided_.end(),
                                        [](const auto& a, const auto& b) { return a.second < b.second; }));
    }
    avoided_[place] = clock_.BootNow() + AVOID_TIME;
}

bool Sightings::IsAvoided(const std::string& idPrefix, const PeerAddress& where) const
{
    const MutexLock lock(mutex_);
    const auto found = avoided_.find({PrefixOf(idPrefix), where});
    return found != avoided_.end() && clock_.BootNow() < found->second;
}

}  // namespace Vexo::SoftBus
