// Fuzzes the decoder of announcement tokens, which any device nearby may send. An input of 8 bytes is a token. An input
// of 6 bytes contains the start of a network id, and the difference between two clocks in token periods. A device with
// one clock makes a token for that id, and a device with the other clock reads the token.
#include "platform/trust/announcement_tokens.h"

#include <cstdlib>

#include "fuzz/fuzz_target.h"
#include "platform/base/hex.h"

namespace Vexo::Trust {
namespace {

constexpr size_t CLOCKS_INPUT_BYTES = 6;
constexpr size_t ID_START_CHARACTERS = 2 * TOKEN_ID_BYTES;
const WallTime NOW{std::chrono::hours(490'000)};  // the start of a token period
const std::string ID_REST(ID_CHARACTERS - ID_START_CHARACTERS, '0');

struct SetClock : Clock {
    WallTime wall = NOW;

    SteadyTime Now() const override { return SteadyTime(); }
    WallTime WallNow() const override { return wall; }
};

SetClock& MakersClock()
{
    static SetClock clock;
    return clock;
}

std::shared_ptr<const AnnouncementTokens> Tokens(const Clock& clock)
{
    LinkKey key{1, {}};
    key.bytes.fill('k');
    return AnnouncementTokens::Make({key}, "tcp", clock).value();
}

std::string TokenMadeAt(WallTime when, const std::string& idPrefix)
{
    static const auto maker = Tokens(MakersClock());
    MakersClock().wall = when;
    return maker->MakeToken(idPrefix + ID_REST);
}

const AnnouncementTokens& Reader()
{
    static const SetClock clock;
    static const auto reader = Tokens(clock);
    return *reader;
}

std::vector<std::string> Samples()
{
    return {TokenMadeAt(NOW, "01234567"), TokenMadeAt(NOW - TOKEN_PERIOD, "89abcdef"), std::string("id12\0\0", 6),
            std::string("id12\1\0", 6), "id12\xff\xff"};
}

// Checks the token of a device whose clock is ahead of the reader's clock. periods: the difference in token periods,
// which may be negative. Returns whether the difference is small enough for Read().
bool ReadsTokenOf(const std::string& idPrefix, int periods)
{
    const std::string token = TokenMadeAt(NOW + periods * TOKEN_PERIOD, idPrefix);
    const auto read = Reader().Read(token);
    const auto readOfAnyClock = Reader().ReadOfAnyClock(token);
    const bool isNear = std::abs(periods) <= 1;
    const bool isReadable = std::abs(periods) * TOKEN_PERIOD <= MAX_TOKEN_CLOCK_DIFFERENCE;
    Fuzz::Require(!isNear || (read && read->idPrefix == idPrefix), "a token of this period or the next one is read");
    Fuzz::Require(!isReadable || (readOfAnyClock && readOfAnyClock->idPrefix == idPrefix &&
                                  readOfAnyClock->clockAhead == (isNear ? 0 : periods) * TOKEN_PERIOD),
                  "the clock of the token's owner is measured");
    return isNear;
}

bool Run(std::string_view input)
{
    if (input.size() == CLOCKS_INPUT_BYTES) {
        const std::span start(reinterpret_cast<const uint8_t*>(input.data()), TOKEN_ID_BYTES);
        const auto low = static_cast<uint8_t>(input[TOKEN_ID_BYTES]);
        const auto high = static_cast<int8_t>(input[TOKEN_ID_BYTES + 1]);
        return ReadsTokenOf(HexOf(start), high * 256 + low);
    }
    const auto read = Reader().Read(input);
    if (!read) {
        return false;
    }
    Fuzz::Require(TokenMadeAt(NOW, read->idPrefix) == input ||
                      TokenMadeAt(NOW + TOKEN_PERIOD, read->idPrefix) == input ||
                      TokenMadeAt(NOW - TOKEN_PERIOD, read->idPrefix) == input,
                  "only a token that its owner can make is read");
    return true;
}

const Fuzz::Registration REGISTRATION({"announcement_tokens", Samples, Run});

}  // namespace
}  // namespace Vexo::Trust
