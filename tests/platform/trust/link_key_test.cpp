#include "platform/trust/link_key.h"

#include <numeric>
#include <regex>

#include "platform/base/hex.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/preamble.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

using namespace std::chrono_literals;

TEST(LinkKeyTest, PreviousKeyProvesMembershipUntilItExpires)
{
    const WallTime end(1'900'000'000s);
    const Vexo::Tests::TempFolder folder;
    const auto file = folder.Path() / LINK_KEY_FILE;
    const LinkKeys keys{CountingKey(8, 1), PreviousLinkKey{CountingKey(7, 0), end}};
    ASSERT_TRUE(WriteLinkKeyFile(file, RecordOf(keys, std::string(64, 'a'))));
    Calendar clock;
    const auto preamble = Preamble::Make(ReadLinkKeyFile(file).value().Keys(), clock).value();
    // This example with its values is in docs/link.md.
    std::string challenge(CHALLENGE_BYTES, '\0');
    std::iota(challenge.begin(), challenge.end(), '\0');
    const std::string message = "\x16\x03\x01";
    EXPECT_EQ(FingerprintOf(CountingKey(1, 0)), "a39082b4");
    const std::string proof = Preamble::Make({CountingKey(7, 0)}).value()->Prove(challenge, message);
    EXPECT_EQ(HexOf(std::vector<uint8_t>(proof.begin(), proof.end())),
              "d28a647cea223cb9426b31a3d4a2b998dc70a033bca6800ede81a8b8f32f2325");

    EXPECT_NE(preamble->Prove(challenge, message), proof);
    EXPECT_EQ(preamble->KeyOfProof(preamble->Prove(challenge, message), challenge, message), ProvenKey::CURRENT);
    clock.date = end - 1s;
    EXPECT_EQ(preamble->KeyOfProof(proof, challenge, message), ProvenKey::PREVIOUS);
    EXPECT_EQ(preamble->ProveWithPrevious(challenge, message), proof);
    clock.date = end;
    EXPECT_EQ(preamble->KeyOfProof(proof, challenge, message), std::nullopt);
    EXPECT_EQ(preamble->ProveWithPrevious(challenge, message), "");
    EXPECT_FALSE(preamble->HasPrevious());
}

TEST(LinkKeyTest, DamagedRecordIsNamedWithoutItsKey)
{
    const LinkKeyRecord good = RecordOf({CountingKey(8, 0xA0)}, std::string(64, 'a'));
    const std::string hex = HexOf(good.current.bytes);
    LinkKeyRecord incomplete = good;
    incomplete.previous.number = 7;
    LinkKeyRecord notOlder = good;
    notOlder.previous = good.current;
    notOlder.previousValidUntil = 5s;
    const auto printed = [](const LinkKeyRecord& record) { return LinkKeyRecordKeys().Print(record); };
    for (const auto& [text, why] : {std::pair(printed(incomplete), "previous: incomplete"),
                                    {printed(notOlder), "previous.number: not below"},
                                    {std::regex_replace(printed(good), std::regex(hex), "G" + hex.substr(1)), "no key"},
                                    {std::regex_replace(printed(good), std::regex("8,"), "0,"), "number: 0 is out"}}) {
        const auto parsed = LinkKeyRecordKeys().Parse(text, "link.key");
        ExpectRefused(parsed, why);
        EXPECT_EQ(parsed.error().message.find(hex.substr(4, 8)), std::string::npos) << parsed.error().message;
    }
}

}  // namespace
}  // namespace Vexo::Trust::Tests
