// AnnouncementTokens: makes and reads tokens. A device announces a token of 8 bytes so that other devices of its
// account can find it nearby. The token changes every 15 minutes. From a token, any device of the account can read
// which device made it, even a device that it never met. To everyone else a token looks random.
// A token consists of a tag of 4 bytes and the first 4 bytes of the network id, encrypted. The tag authenticates those
// 4 bytes and is the IV of their encryption (a synthetic IV: RFC 5297). Tag and encryption use HMAC-SHA256 (RFC 2104).
// Each transport has its own key, derived from the account's link key (link_key.h). docs/link.md describes the format.
// Any thread may call the functions. No call blocks.
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
inline constexpr size_t TOKEN_ID_BYTES = 4;  // a token contains this many of the network id's 32 bytes
inline constexpr std::chrono::minutes TOKEN_PERIOD{15};
// ReadOfAnyClock can read the token of a device whose clock differs from this device's clock by at most this much.
inline constexpr std::chrono::hours MAX_TOKEN_CLOCK_DIFFERENCE{48};

struct TokenOwner {
    std::string idPrefix;  // the first 8 characters of the network id: TOKEN_ID_BYTES as hex
    // The time by which the clock of the token's owner is ahead of this device's clock, in whole periods. Negative: the
    // owner's clock is behind. 0: the two clocks are in the same period or in neighbouring periods.
    std::chrono::minutes clockAhead{0};
    bool isOfPreviousKey = false;  // the token was made with the previous link key
};

class AnnouncementTokens : public NoCopyable {
public:
    // Returns an object that makes tokens with the current link key. The object also reads tokens of the previous link
    // key while that key is valid by the clock.
    // clock: must outlive the object.
    // transport: the name that Transport::Name() returns.
    // announcesPrevious: while the previous link key is valid, the object makes the tokens of every second period
    // (counted from 1970) with the previous key.
    [[nodiscard]] static Result<std::shared_ptr<const AnnouncementTokens>> Make(const LinkKeys& keys,
                                                                                std::string_view transport,
                                                                                const Clock& clock = Clock::System(),
                                                                                bool announcesPrevious = false);
    virtual ~AnnouncementTokens() = default;

    // Returns the token of the current period for the device with that network id (64 hex characters). The token is
    // TOKEN_BYTES long. The token is empty only when memory is short. A new period begins at each quarter of an hour,
    // UTC.
    virtual std::string MakeToken(std::string_view networkId) const = 0;
    // Returns the device that made the token. Returns nullopt unless the device made the token in the current period,
    // the one before or the one after. Computes at most six hashes for each valid link key.
    virtual std::optional<TokenOwner> Read(std::string_view token) const = 0;
    // Returns the device that made the token, even if that device's clock differs from this device's clock by up to
    // MAX_TOKEN_CLOCK_DIFFERENCE. Computes up to 770 hashes for each valid link key, so the caller must limit how often
    // strangers can cause a call.
    virtual std::optional<TokenOwner> ReadOfAnyClock(std::string_view token) const = 0;
    // Returns the device that made the token. Returns nullopt unless the device made the token in the period that
    // contains the given time, the period before or the period after.
    virtual std::optional<TokenOwner> ReadMadeAt(WallTime time, std::string_view token) const = 0;

protected:
    AnnouncementTokens() = default;
};

}  // namespace Vexo::Trust
