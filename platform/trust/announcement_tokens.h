// AnnouncementTokens: the 8 bytes by which a device is found by others nearby. They are new every 15 minutes. Any
// device of the account can read from a token which device made it, even one that it never met; for everybody else a
// token is noise. A token is a tag of 4 bytes and the first 4 bytes of the network id, encrypted; the tag authenticates
// those bytes and serves as the IV of their encryption (a synthetic IV: RFC 5297), both with HMAC-SHA256 (RFC 2104).
// Each transport has a key of its own, derived from the account's link key (link_key.h). Bytes: docs/link.md. Any
// thread. No call blocks.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t TOKEN_BYTES = 8;
inline constexpr size_t TOKEN_ID_BYTES = 4;  // of the network id's 32
inline constexpr std::chrono::minutes TOKEN_PERIOD{15};
// The largest difference between two devices' clocks at which one can read the other's token at all.
inline constexpr std::chrono::hours MAX_TOKEN_CLOCK_DIFFERENCE{48};

struct TokenOwner {
    std::string idPrefix;  // the first 8 characters of the network id: TOKEN_ID_BYTES as hex
    // The period of its clock less that of this device's, as time: 0 for neighbouring periods, negative when its clock
    // is behind.
    std::chrono::minutes clockAhead{0};
    bool isOfPreviousKey = false;  // the link key that it was made with
};

class AnnouncementTokens : public NoCopyable {
public:
    // transport: Transport::Name(). Makes tokens with the current link key; reads those of the previous one too while
    // it is valid by the clock, which outlives the object. announcesPrevious: while it is valid, the tokens of every
    // second period, counted from 1970, are made with the previous key.
    [[nodiscard]] static Result<std::shared_ptr<const AnnouncementTokens>> Make(const LinkKeys& keys,
                                                                                std::string_view transport,
                                                                                const Clock& clock = Clock::System(),
                                                                                bool announcesPrevious = false);
    virtual ~AnnouncementTokens() = default;

    // This period's token, TOKEN_BYTES long, of the device with that network id (64 hex characters). Empty only when
    // memory is short. A new period begins at each quarter of an hour, UTC.
    virtual std::string MakeToken(std::string_view networkId) const = 0;
    // The device that made the token, if it was made in this period, the one before or the one after; else nullopt.
    // Computes at most six hashes for each valid link key.
    virtual std::optional<TokenOwner> Read(std::string_view token) const = 0;
    // As Read, and also reads tokens of clocks that differ by up to MAX_TOKEN_CLOCK_DIFFERENCE. Computes up to 770
    // hashes for each valid link key, so the caller must limit how often strangers can cause it.
    virtual std::optional<TokenOwner> ReadOfAnyClock(std::string_view token) const = 0;
    // As Read, for a token that was made at about that time.
    virtual std::optional<TokenOwner> ReadMadeAt(WallTime time, std::string_view token) const = 0;

protected:
    AnnouncementTokens() = default;
};

}  // namespace Vexo::Trust
