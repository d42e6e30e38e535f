// The messages between daemons: DeviceFacts are encoded as the JSON text in the documentation. A damaged message is
// refused, and the error names the JSON member that is wrong, if there is one. The fuzz target checks that each kind of
// message is decoded as it was encoded.
#include "host/peers/peer_messages.h"

#include <gtest/gtest.h>

namespace Vexo::Host {
namespace {

DeviceFacts Facts()
{
    DeviceFacts facts;
    facts.networkId = "not sent";
    facts.permission = SharingPermission::ASKS;
    facts.uplink = UplinkKind::MOBILE;
    facts.technology = "4G";
    facts.signalPercent = 70;
    facts.internet = InternetState::NO;
    facts.isMobileDataOff = true;
    facts.batteryPercent = 100;
    return facts;
}

const std::string FACTS_TEXT =
    R"({"version":1,"request":7,"answer":"facts","obstacle":"none","permission":"asks","uplink":"mobile",)"
    R"("technology":"4G","signal_percent":70,"metered":null,"internet":"no","mobile_data_off":true,)"
    R"("battery_percent":100,"charging":false})";

TEST(PeerMessagesTest, FactsMatchDocumentationAndUnknownMembersAreIgnored)
{
    EXPECT_EQ(Encode(NumberedAnswer{7, Facts()}), FACTS_TEXT);
    std::string later = FACTS_TEXT;
    later.replace(0, later.find(','), R"({"version":2,"more":[1],"network_id":7)");
    DeviceFacts expected = Facts();
    expected.networkId.clear();
    const auto read = DecodePeerMessage(later);
    ASSERT_TRUE(read) << read.error().message;
    EXPECT_EQ(std::get<DeviceFacts>(std::get<NumberedAnswer>(read.value()).answer), expected);
}

TEST(PeerMessagesTest, DamagedMessageIsRefusedWithMemberName)
{
    const std::string lease = R"({"version":1,"request":8,"ask":"lease","mac":"02:00:5e:10:00:01"})";
    const std::string release = R"({"version":1,"request":8,"ask":"release","mac":"02:00:5e:10:00:01"})";
    const std::string held = R"({"version":1,"request":8,"answer":"lease","held":true})";
    struct Row {
        const std::string& good;
        std::string part;
        std::string instead;
        const char* error;
    };
    for (const Row& row :
         std::vector<Row>{{lease, "{", "[", "1:"},
                          {lease, "}", "} {}", "1:"},
                          {lease, "lease", "le\\u0000ase", "1:"},
                          {lease, R"("ask")", R"("asks")", "answer is"},
                          {lease, R"("version":1)", R"("version":0)", "version is"},
                          {lease, R"("request":8)", R"("request":-1)", "request is"},
                          {lease, R"("request":8)", R"("request":4294967296)", "request is"},
                          {lease, R"("lease")", "7", "ask is"},
                          {lease, "02:00", "02-00", "mac is"},
                          {lease, "00:01", "00:0A", "mac is"},
                          {lease, ":01", ":01:01", "mac is"},
                          {lease, R"("mac")", R"("max")", "mac is"},
                          {lease, "}", ",\"pad\":\"" + std::string(MAX_PEER_MESSAGE, 'x') + "\"}", "it is longer"},
                          {release, R"("02:00:5e:10:00:01")", "null", "mac is"},
                          {release, ":5e:10:00:01", "", "mac is"},
                          {held, "true", "1", "held is"},
                          {held, "lease", "release", "closed is"},
                          {held, "lease", "dance", "answer is"},
                          {FACTS_TEXT, "asks", "perhaps", "permission is"},
                          {FACTS_TEXT, "4G", "4G with seventeen", "technology is"},
                          {FACTS_TEXT, "4G", "\x1b[1m", "technology is"},
                          {FACTS_TEXT, "4G", "\303\274", "technology is"},
                          {FACTS_TEXT, ":70", ":101", "signal_percent is"},
                          {FACTS_TEXT, ":100", ":-1", "battery_percent is"},
                          {FACTS_TEXT, R"("charging":false)", R"("charging":null)", "charging is"}}) {
        std::string damaged = row.good;
        ASSERT_TRUE(DecodePeerMessage(damaged)) << damaged;
        damaged.replace(damaged.find(row.part), row.part.size(), row.instead);
        const auto read = DecodePeerMessage(damaged);
        ASSERT_FALSE(read) << damaged;
        EXPECT_TRUE(read.error().message.starts_with(row.error)) << read.error().message << " of " << damaged;
    }
}

}  // namespace
}  // namespace Vexo::Host
