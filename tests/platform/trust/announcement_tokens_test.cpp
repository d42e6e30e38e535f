#include "platform/trust/announcement_tokens.h"

#include "platform/base/hex.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

using namespace std::chrono_literals;

const std::string PHONE = "3f91c207" + std::string(56, '5');

class AnnouncementTokensTest : public testing::Test {
protected:
    static std::shared_ptr<const AnnouncementTokens> TokensOf(const LinkKeys& keys, const Clock& clock,
                                                              const std::string& transport = "tcp")
    {
        return AnnouncementTokens::Make(keys, transport, clock).value();
    }

    // The phone makes tokens, and the laptop reads tokens. These are the clocks of both devices. Tests set both clocks
    // relative to the member `start`, which is the beginning of a token period.
    Calendar phone;
    Calendar laptop;
    const WallTime start{2'111'111 * 15min};
    const LinkKeys keys{CountingKey(1, 0)};
    const std::shared_ptr<const AnnouncementTokens> ofPhone = TokensOf(keys, phone);
    const std::shared_ptr<const AnnouncementTokens> ofLaptop = TokensOf(keys, laptop);
};

TEST_F(AnnouncementTokensTest, TokenIsReadOnlyWithinAccountAndTransport)
{
    phone.date = laptop.date = start + 100s;
    const std::string token = ofPhone->MakeToken(PHONE);
    EXPECT_EQ(token, BytesOfHex("743af5b0cbf4e779")) << "the example of docs/link.md";
    EXPECT_EQ(ofLaptop->Read(token).value().idPrefix, "3f91c207");
    EXPECT_NE(ofPhone->MakeToken(std::string(64, '5')), token);

    std::string changed = token;
    changed[7] = static_cast<char>(changed[7] ^ 1);
    for (const auto& [reader, foreign] : {std::pair(TokensOf({CountingKey(1, 1)}, laptop), token),
                                          {TokensOf(keys, laptop, "ble"), token},
                                          {ofLaptop, changed},
                                          {ofLaptop, ""},
                                          {ofLaptop, token.substr(1)},
                                          {ofLaptop, token + token}}) {
        EXPECT_FALSE(reader->Read(foreign)) << foreign.size();
        EXPECT_FALSE(reader->ReadOfAnyClock(foreign)) << foreign.size();
    }
}

TEST_F(AnnouncementTokensTest, ClocksMayDifferByOnePeriodOrTwoDaysForAnyClock)
{
    laptop.date = start;
    const struct {
        std::chrono::seconds ahead;
        bool isRead;
        std::optional<std::chrono::minutes> clockAhead;
    } cases[] = {{14min + 59s, true, 0min}, {29min + 59s, true, 0min},    {30min, false, 30min},
                 {-15min, true, 0min},      {-15min - 1s, false, -30min}, {48h, false, 48h},
                 {48h + 15min, false, {}},  {-48h, false, -48h},          {-48h - 1s, false, {}}};
    for (const auto& [ahead, isRead, clockAhead] : cases) {
        phone.date = start + ahead;
        const std::string token = ofPhone->MakeToken(PHONE);
        EXPECT_EQ(ofLaptop->Read(token).has_value(), isRead) << ahead.count();
        const auto owner = ofLaptop->ReadOfAnyClock(token);
        ASSERT_EQ(owner.has_value(), clockAhead.has_value()) << ahead.count();
        EXPECT_TRUE(!owner || (owner->idPrefix == "3f91c207" && owner->clockAhead == *clockAhead)) << ahead.count();
    }
}

TEST_F(AnnouncementTokensTest, TokensOfPreviousKeyAreReadUntilItExpires)
{
    const LinkKeys changed{CountingKey(2, 1), PreviousLinkKey{keys.current, start + 10s}};
    const auto ofChanged = TokensOf(changed, laptop);
    phone.date = laptop.date = start + 9s;
    const std::string token = ofPhone->MakeToken(PHONE);
    EXPECT_NE(ofChanged->MakeToken(PHONE), token);
    for (const std::string& read : {token, ofChanged->MakeToken(PHONE)}) {
        EXPECT_EQ(ofChanged->Read(read).value().idPrefix, "3f91c207");
    }
    laptop.date = start + 10s;
    EXPECT_FALSE(ofChanged->Read(token));
    EXPECT_FALSE(ofChanged->ReadOfAnyClock(token));
}

TEST_F(AnnouncementTokensTest, OddPeriodTokensUsePreviousKeyUntilItExpires)
{
    const LinkKeys changed{CountingKey(2, 1), PreviousLinkKey{keys.current, start + 45min}};
    const auto inTurn = AnnouncementTokens::Make(changed, "tcp", laptop, true).value();
    for (const auto& [since, isOfPrevious] : {std::pair(0min, true), {15min, false}, {30min, true}, {60min, false}}) {
        laptop.date = phone.date = start + since;
        const std::string token = inTurn->MakeToken(PHONE);
        EXPECT_EQ(inTurn->Read(token).value().isOfPreviousKey, isOfPrevious) << since.count();
        EXPECT_EQ(ofPhone->Read(token).has_value(), isOfPrevious) << "by a device with the key before";
    }
}

}  // namespace
}  // namespace Vexo::Trust::Tests
