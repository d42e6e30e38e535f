// AnnouncementTokens: what a device announces to others nearby: 8 bytes, new every 15 minutes, by which any device of
// the account tells whose they are, also of a device that it never met, and which to everybody else are noise. A token
// is the first 4 bytes of the network id, hidden, and 4 bytes that prove it: a synthetic IV (RFC 5297 has the idea)
// made with HMAC-SHA256 (RFC 2104) over the period and the id's bytes. Each transport has a key of its own, derived
// from the account's link key (link_key.h). Bytes: docs/link.md. Any thread; nothing blocks.
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
// How far another device's clock may be off for its token to be understood at all.
inline constexpr std::chrono::hours MAX_TOKEN_CLOCK_DIFFERENCE{48};

struct TokenOwner {
    std::string idStart;  // the first 8 characters of the network id: TOKEN_ID_BYTES as hex
    // Its clock less this device's, in whole periods: 0 while they are less than two periods apart.
    std::chrono::minutes clockAhead{0};
};

class AnnouncementTokens : public NoCopyable {
public:
    // transport: Transport::Name(). Makes tokens with the current link key; reads those of the previous one too while
    // it is valid by the clock.
    [[nodiscard]] static Result<std::shared_ptr<const AnnouncementTokens>> Make(const LinkKeys& keys,
                                                                                std::string_view transport,
                                                                                const Clock& clock = Clock::System());
    virtual ~AnnouncementTokens() = default;

    // This period's token, TOKEN_BYTES long, of the device with that network id (64 hex characters). Empty only when
    // memory is short.
    virtual std::string MakeToken(std::string_view networkId) const = 0;
    // Whose token it is, when it was made in this period, the one before or the one after. Six hashes at most.
    virtual std::optional<TokenOwner> Read(std::string_view token) const = 0;
    // As Read, and also tells tokens of clocks that differ by up to MAX_TOKEN_CLOCK_DIFFERENCE. About a thousand
    // hashes: not for everything that a stranger can send.
    virtual std::optional<TokenOwner> ReadOfAnyClock(std::string_view token) const = 0;

protected:
    AnnouncementTokens() = default;
};

}  // namespace Vexo::Trust
