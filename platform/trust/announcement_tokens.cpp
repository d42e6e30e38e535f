#include "platform/trust/announcement_tokens.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ratio>
#include <utility>

#include "platform/base/check.h"
#include "platform/base/hex.h"
#include "platform/trust/hmac.h"

namespace Vexo::Trust {

namespace {

constexpr std::string_view PURPOSE_PREFIX = "distnet announcement ";
constexpr size_t TAG_BYTES = TOKEN_BYTES - TOKEN_ID_BYTES;
constexpr size_t ID_START_CHARACTERS = 2 * TOKEN_ID_BYTES;
// The first byte of an HMAC's input: FOR_TAG to compute a token's tag, FOR_MASK to compute the mask that encrypts the
// first bytes of the network id.
constexpr std::string_view FOR_TAG = "\x01";
constexpr std::string_view FOR_MASK = "\x02";
using Periods = std::chrono::duration<int64_t, std::ratio<15 * 60>>;
static_assert(Periods(1) == TOKEN_PERIOD);
// The largest allowed difference between a token's period and the expected period, in periods. Read and ReadMadeAt
// allow NEIGHBOURS. ReadOfAnyClock allows MAX_DIFFERENCE.
constexpr int64_t NEIGHBOURS = 1;
constexpr int64_t MAX_DIFFERENCE = MAX_TOKEN_CLOCK_DIFFERENCE / TOKEN_PERIOD;

std::string LittleEndian(int64_t period)
{
    std::string bytes;
    for (auto rest = static_cast<uint64_t>(period); bytes.size() < sizeof(rest); rest >>= 8U) {
        bytes += static_cast<char>(rest & 0xFFU);
    }
    return bytes;
}

// TagOf and XorWithMask return an empty string only when memory is short.
std::string TagOf(const Hmac& hmac, const std::string& period, std::string_view id)
{
    return hmac.Compute({FOR_TAG, period, id}).substr(0, TAG_BYTES);
}

// Encrypts the given id. If the id is encrypted already, decrypts it.
std::string XorWithMask(const Hmac& hmac, const std::string& period, std::string_view tag, std::string_view id)
{
    std::string masked = hmac.Compute({FOR_MASK, period, tag}).substr(0, TOKEN_ID_BYTES);
    for (size_t i = 0; i < masked.size(); ++i) {
        masked[i] = static_cast<char>(masked[i] ^ id[i]);
    }
    return masked;
}

class HmacTokens final : public AnnouncementTokens {
public:
    HmacTokens(LinkHmacs hmacs, const Clock& clock, bool announcesPrevious)
        : hmacs_(std::move(hmacs)), clock_(clock), announcesPrevious_(announcesPrevious)
    {
    }

    std::string MakeToken(std::string_view networkId) const override
    {
        DISTNET_ASSERT(IsHexId(networkId), "a token is made for a network id");
        const std::string id = BytesOfHex(networkId.substr(0, ID_START_CHARACTERS));
        const int64_t number = PeriodOf(clock_.WallNow());
        const Hmac* const previous = announcesPrevious_ && number % 2 != 0 ? hmacs_.Previous() : nullptr;
        const Hmac& key = previous != nullptr ? *previous : hmacs_.Current();
        const std::string period = LittleEndian(number);
        const std::string tag = TagOf(key, period, id);
        const std::string masked = XorWithMask(key, period, tag, id);
        return tag.empty() || masked.empty() ? "" : tag + masked;
    }

    std::optional<TokenOwner> Read(std::string_view token) const override
    {
        return ReadWithin(token, clock_.WallNow(), NEIGHBOURS);
    }

    std::optional<TokenOwner> ReadOfAnyClock(std::string_view token) const override
    {
        return ReadWithin(token, clock_.WallNow(), MAX_DIFFERENCE);
    }

    std::optional<TokenOwner> ReadMadeAt(WallTime time, std::string_view token) const override
    {
        return ReadWithin(token, time, NEIGHBOURS);
    }

private:
    static int64_t PeriodOf(WallTime time) { return std::chrono::floor<Periods>(time.time_since_epoch()).count(); }

    // Tries to read the token for several periods: the period of the given time, then 1 period before, 1 after,
    // 2 before, 2 after, and so on.
    // difference: the largest distance to try, in periods.
    std::optional<TokenOwner> ReadWithin(std::string_view token, WallTime time, int64_t difference) const
    {
        if (token.size() != TOKEN_BYTES) {
            return std::nullopt;
        }
        const int64_t middle = PeriodOf(time);
        const std::array<const Hmac*, 2> keys{&hmacs_.Current(), hmacs_.Previous()};
        for (int64_t step = 0; step <= 2 * difference; ++step) {
            const int64_t ahead = step % 2 == 0 ? step / 2 : -(step + 1) / 2;
            const std::string period = LittleEndian(middle + ahead);
            for (const Hmac* const key : keys) {
                const std::string id = key != nullptr ? IdIn(token, period, *key) : "";
                if (!id.empty()) {
                    return TokenOwner{HexOf({reinterpret_cast<const uint8_t*>(id.data()), id.size()}),
                                      std::abs(ahead) > NEIGHBOURS ? ahead * TOKEN_PERIOD : std::chrono::minutes(0),
                                      key != keys.front()};
                }
            }
        }
        return std::nullopt;
    }

    // Returns the id in the token, or an empty string when the token was not made in the given period with the given
    // key.
    static std::string IdIn(std::string_view token, const std::string& period, const Hmac& key)
    {
        const std::string_view tag = token.substr(0, TAG_BYTES);
        std::string id = XorWithMask(key, period, tag, token.substr(TAG_BYTES));
        return TagOf(key, period, id) == tag ? id : "";
    }

    const LinkHmacs hmacs_;
    const Clock& clock_;
    const bool announcesPrevious_;
};

}  // namespace

Result<std::shared_ptr<const AnnouncementTokens>> AnnouncementTokens::Make(const LinkKeys& keys,
                                                                           std::string_view transport,
                                                                           const Clock& clock, bool announcesPrevious)
{
    Result<LinkHmacs> hmacs = LinkHmacs::Make(keys, std::string(PURPOSE_PREFIX).append(transport), clock);
    if (!hmacs) {
        return Failure(std::move(hmacs).error());
    }
    return std::make_shared<const HmacTokens>(std::move(hmacs.value()), clock, announcesPrevious);
}

}  // namespace Vexo::Trust
