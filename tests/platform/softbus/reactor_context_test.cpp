// Tests what the soft bus knows about other devices: which devices are reachable, and which addresses of a device the
// soft bus tries.
#include "platform/softbus/reactor_context.h"

#include <gtest/gtest.h>

#include "platform/softbus/discovery/route.h"
#include "platform/softbus/transport/tcp_transport.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::SoftBus {
namespace {

class ReactorContextTest : public testing::Test {
protected:
    ReactorContextTest()
    {
        context.sightings.SetTokens(laptop.networkId,
                                    {{"tcp", Trust::AnnouncementTokens::Make(*laptop.linkKeys, "tcp").value()}});
    }
    // Reports an announcement of the phone. address: the address in the announcement.
    void Announce(const std::string& address)
    {
        const auto tokens = Trust::AnnouncementTokens::Make(*phone.linkKeys, "tcp").value();
        context.sightings.Set("test", address, Announcement{tokens->MakeToken(phone.networkId), {{"tcp", address}}});
    }
    void SayHello(const std::string& networkId, const std::vector<PeerAddress>& addresses = {})
    {
        context.AddDevice(networkId, {DEVICE_TYPE_PHONE, networkId, "phone", addresses}, "tcp");
    }

    Trust::Tests::Devices account;
    const Trust::Identity laptop = account.Enrol("laptop");
    const Trust::Identity phone = account.Enrol("phone");
    ReactorContext context;
};

TEST_F(ReactorContextTest, ForgottenDeviceIsReportedAwayAndOnlineWhenMetAgain)
{
    size_t changes = 0;
    context.onlineChanged = [&] { ++changes; };
    Announce("a:1");
    SayHello(phone.networkId);
    context.devices.MarkAway(phone.networkId, {});
    ASSERT_TRUE(context.IsReachable(phone.networkId)) << "announced";
    for (size_t i = 0; i < MAX_KNOWN_DEVICES; ++i) {
        const std::string digits = std::to_string(i);
        SayHello(std::string(64 - digits.size(), '0') + digits);
    }
    EXPECT_FALSE(context.devices.IsKnown(phone.networkId));
    EXPECT_EQ(changes, 1 + MAX_KNOWN_DEVICES + 1);
    SayHello(phone.networkId);
    EXPECT_EQ(changes, 1 + MAX_KNOWN_DEVICES + 2);
}

TEST_F(ReactorContextTest, NewestAnnouncementIsTriedFirstDespiteReplays)
{
    context.transports = {std::make_shared<TcpTransport>(*context.reactor, "127.0.0.1:0")};
    const auto order = [this] {
        std::string text;
        for (const Route& route : RoutesTo(context, phone.networkId)) {
            text += route.where.address + "@" + std::to_string(route.after.count()) + " ";
        }
        return text;
    };
    SayHello(phone.networkId, {{"tcp", "kept:1"}, {"tcp", "old:1"}});
    EXPECT_EQ(order(), "kept:1@0 old:1@100 ");
    Announce("old:1");
    EXPECT_EQ(order(), "old:1@0 kept:1@300 ");
    Announce("new:1");
    EXPECT_EQ(order(), "new:1@0 old:1@100 kept:1@300 ");
    for (int i = 1; i <= 4; ++i) {
        Announce("replay:" + std::to_string(i));
    }
    EXPECT_EQ(order(), "replay:4@0 replay:3@100 replay:2@200 replay:1@300 old:1@300 kept:1@300 new:1@400 ");
}

TEST_F(ReactorContextTest, SuggestedHostIsTriedFirstUntilOtherDeviceAnswers)
{
    context.transports = {std::make_shared<TcpTransport>(*context.reactor, "127.0.0.1:0")};
    const auto first = [this] {
        const auto routes = RoutesTo(context, phone.networkId);
        return routes.empty() ? "" : routes[0].where.address + " of " + std::to_string(routes.size());
    };
    SayHello(phone.networkId);
    context.devices.SuggestHost(phone.networkId, "192.0.2.1");
    EXPECT_EQ(first(), "") << "no port is known";
    Announce("replay:9");
    EXPECT_EQ(first(), "192.0.2.1:9 of 2");
    SayHello(phone.networkId, {{"tcp", "kept:7"}, {"tcp", "192.0.2.1:7"}});
    EXPECT_EQ(first(), "192.0.2.1:7 of 3") << "once, at the port where it was reached";
    EXPECT_EQ(RoutesTo(context, phone.networkId, {LINK_TYPE_BR}).size(), 0u);
    context.sightings.RecordHandshake(phone.networkId, {"tcp", "192.0.2.1:7"}, true);
    EXPECT_EQ(first(), "replay:9 of 3");
    context.devices.SuggestHost(phone.networkId, "2001:db8::1");
    EXPECT_EQ(first(), "[2001:db8::1]:7 of 4");
    context.devices.SuggestHost(phone.networkId, "");
    EXPECT_EQ(first(), "replay:9 of 3");
}

}  // namespace
}  // namespace Vexo::SoftBus
