// AnnouncementTokens: makes and reads tokens. A token is 8 bytes that a device announces so that other devices of its
// account can find it nearby. It changes every 15 minutes. From a token, any device of the account can read which
// device made it, even a device that it never met; to everyone else a token looks random. A token consists of a tag of
// 4 bytes and the first 4 bytes of the network id, encrypted. The tag authenticates those bytes and is the IV of their
// encryption (a synthetic IV: RFC 5297); both use HMAC-SHA256 (RFC 2104). Each transport has its own key, derived from
// the account's link key (link_key.h). Format: docs/link.md. Any thread. No call blocks.
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
inline constexpr size_t TOKEN_ID_BYTES = 4;  // how many of the network id's 32 bytes a token contains
inline constexpr std::chrono::minutes TOKEN_PERIOD{15};
// The largest difference between two devices' clocks at which one can still read the other's token (ReadOfAnyClock).
inline constexpr std::chrono::hours MAX_TOKEN_CLOCK_DIFFERENCE{48};

struct TokenOwner {
    std::string idPrefix;  // the first 8 characters of the network id: TOKEN_ID_BYTES as hex
    // How far the owner's clock is ahead of this device's clock, in whole periods. 0: by at most one period either way.
    // Negative: the owner's clock is behind.
    std::chrono::minutes clockAhead{0};
    bool isOfPreviousKey = false;  // the token was made with the previous link key
};

class AnnouncementTokens : public NoCopyable {
public:
    // transport: Transport::Name(). The object makes tokens with the current link key. It also reads tokens of the
    // previous link key while that key is valid by the clock, which must outlive the object. announcesPrevious: while
    // the previous key is valid, the tokens of every second period (counted from 1970) are made with the previous key.
    [[nodiscard]] static Result<std::shared_ptr<const AnnouncementTokens>> Make(const LinkKeys& keys,
                                                                                std::string_view transport,
                                                                                const Clock& clock = Clock::System(),
                                                                                bool announcesPrevious = false);
    virtual ~AnnouncementTokens() = default;

    // Returns this period's token, TOKEN_BYTES long, for the device with that network id (64 hex characters). Empty
    // only when memory is short. A new period begins at each quarter of an hour, UTC.
    virtual std::string MakeToken(std::string_view networkId) const = 0;
    // Returns the device that made the token, if it was made in this period, the one before or the one after; else
    // nullopt. Computes at most six hashes for each valid link key.
    virtual std::optional<TokenOwner> Read(std::string_view token) const = 0;
    // As Read, but also reads tokens of devices whose clocks differ by up to MAX_TOKEN_CLOCK_DIFFERENCE. Computes up to
    // 770 hashes for each valid link key, so the caller must limit how often strangers can cause it.
    virtual std::optional<TokenOwner> ReadOfAnyClock(std::string_view token) const = 0;
    // As Read, but for a token that was made at about that time, not now.
    virtual std::optional<TokenOwner> ReadMadeAt(WallTime time, std::string_view token) const = 0;

protected:
    AnnouncementTokens() = default;
};

}  // namespace Vexo::Trust
