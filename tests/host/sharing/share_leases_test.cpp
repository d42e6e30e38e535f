#include "host/sharing/share_leases.h"

#include <gtest/gtest.h>

#include <optional>

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;

const std::string PHONE(64, 'a');
const std::string LAPTOP(64, 'b');
constexpr const char* PHONE_MAC = "02:00:5e:10:00:01";
constexpr const char* LAPTOP_MAC = "02:00:5e:10:00:02";
constexpr const char* TABLET_MAC = "02:00:5e:10:00:03";

class ShareLeasesTest : public ::testing::Test {
protected:
    auto Pass(std::chrono::seconds time)
    {
        now_.boot += time;
        now_.wall += time;
        return leases_->OnHotspotState(info_, now_.boot);
    }
    auto Renew(const std::string& networkId, const char* mac) { return leases_->Renew(networkId, mac, now_); }
    bool IsUnused() const { return leases_->IsUnused(info_, now_.boot); }
    void Connect(const std::vector<std::string>& macs)
    {
        info_.stations.clear();
        for (const std::string& mac : macs) {
            info_.stations.push_back({mac, 0, 0});
        }
    }

    ShareTime now_{SteadyTime(1h), WallTime(24h)};
    Wifi::ShareInfo info_{
        .isOn = true, .isOpenedHere = true, .openingNumber = 1, .areStationsKnown = true, .stations = {}};
    std::optional<ShareLeases> leases_{60s};
};

TEST_F(ShareLeasesTest, ShareEndsOneMinuteAfterLastLeaseUnlessStationIsConnected)
{
    Pass(1h);
    EXPECT_FALSE(leases_->IsUnusedLongEnough(now_.boot)) << "there was no lease";
    EXPECT_EQ(Renew(PHONE, PHONE_MAC), ShareLeases::Renewal::BEGUN);
    EXPECT_TRUE(Pass(LEASE_LIFE - 1s).empty());
    EXPECT_EQ(Renew(PHONE, PHONE_MAC), ShareLeases::Renewal::RENEWED);
    EXPECT_TRUE(Pass(LEASE_LIFE - 1s).empty());
    Connect({TABLET_MAC});
    const auto ended = Pass(1s);
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].reason, std::string(LeaseEnd::EXPIRED));
    Pass(2min);
    EXPECT_FALSE(leases_->IsUnusedLongEnough(now_.boot)) << "a station is connected";
    Connect({});
    leases_->OnAdmitted(LAPTOP, now_.boot);
    Pass(JOINING_LIFE - 1s);
    EXPECT_FALSE(leases_->IsUnusedLongEnough(now_.boot)) << "a device may be joining";
    Pass(59s);
    EXPECT_FALSE(leases_->IsUnusedLongEnough(now_.boot));
    Pass(1s);
    EXPECT_TRUE(leases_->IsUnusedLongEnough(now_.boot));
    ++info_.openingNumber;
    Pass(0s);
    EXPECT_FALSE(leases_->IsUnusedLongEnough(now_.boot)) << "another hotspot, without a lease";
    Renew(PHONE, PHONE_MAC);
    info_.isOn = false;
    EXPECT_EQ(Pass(0s).at(0).reason, std::string(LeaseEnd::CLOSED));
}

TEST_F(ShareLeasesTest, ReleasedShareIsUnusedIfNoOtherDeviceUsesIt)
{
    struct Case {
        const char* what;
        std::vector<std::string> connected;
        bool hasOtherLease;
        bool isOtherJoining;
        bool isUnused;
    };
    const Case cases[] = {
        {"the released station is about to leave", {PHONE_MAC}, false, false, true},
        {"a station without a lease", {PHONE_MAC, TABLET_MAC}, false, false, false},
        {"another device has a lease, under the same address", {}, true, false, false},
        {"another device is joining", {}, false, true, false},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        leases_.emplace(60s);
        Connect(one.connected);
        leases_->OnAdmitted(PHONE, now_.boot);
        EXPECT_FALSE(IsUnused());
        Renew(PHONE, PHONE_MAC);
        if (one.hasOtherLease) {
            Renew(LAPTOP, PHONE_MAC);
        }
        if (one.isOtherJoining) {
            leases_->OnAdmitted(LAPTOP, now_.boot);
        }
        EXPECT_FALSE(IsUnused());
        EXPECT_TRUE(leases_->End(PHONE, "", now_.boot).hadLease);
        EXPECT_EQ(IsUnused(), one.isUnused);
    }
    Connect({PHONE_MAC});
    Pass(1min);
    EXPECT_FALSE(IsUnused()) << "it has not left";
    EXPECT_FALSE(leases_->End(std::string(64, 'c'), PHONE_MAC, now_.boot).wasKnown);
    EXPECT_FALSE(IsUnused()) << "a device that has nothing to release names another one's station";
}

TEST_F(ShareLeasesTest, LeaseRequestThatArrivesAfterReleaseBeginsNoLease)
{
    leases_->OnAdmitted(PHONE, now_.boot);
    EXPECT_TRUE(leases_->End(PHONE, PHONE_MAC, now_.boot).wasKnown);
    EXPECT_EQ(Renew(PHONE, PHONE_MAC), ShareLeases::Renewal::LATE);
    EXPECT_TRUE(IsUnused());
    leases_->OnAdmitted(PHONE, now_.boot);
    EXPECT_EQ(Renew(PHONE, PHONE_MAC), ShareLeases::Renewal::BEGUN) << "the device asked for the hotspot again";
}

TEST_F(ShareLeasesTest, StationBelongsToLeaseThatNamedItFirst)
{
    Renew(LAPTOP, LAPTOP_MAC);
    Pass(1s);
    Renew(PHONE, LAPTOP_MAC);
    std::map<std::string, ShareUsage::Station> stations;
    stations[LAPTOP_MAC].bytes = 7;
    stations[LAPTOP_MAC].isConnected = stations[TABLET_MAC].isConnected = true;
    stations[PHONE_MAC].isConnected = false;
    std::string users;
    for (const ShareUser& user : leases_->Users(stations)) {
        users += user.networkId.substr(0, 1) + " " + user.macAddress.substr(15) + " " + std::to_string(user.bytes) +
                 (user.hasLease ? " lease" : "") + (user.isConnected ? " connected\n" : "\n");
    }
    EXPECT_EQ(users, "a 02 0 lease\nb 02 7 lease connected\n 03 0 connected\n");
}

}  // namespace
}  // namespace Vexo::Host
