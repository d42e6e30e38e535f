// What the soft bus knows of other devices altogether: which are reachable, and where each is tried.
#include "platform/softbus/reactor_context.h"

#include <gtest/gtest.h>

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
    // The phone announces itself at that address.
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

TEST_F(ReactorContextTest, ForgottenDeviceIsReportedAsAwayAndAgainWhenItIsMetAnew)
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

}  // namespace
}  // namespace Vexo::SoftBus
