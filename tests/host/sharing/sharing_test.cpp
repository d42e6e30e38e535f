#include "host/sharing/sharing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>

#include "platform/base/files.h"
#include "tests/support/eventually.h"
#include "tests/support/manual_timers.h"
#include "tests/support/recorded_sys_events.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trail.h"

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;
using SoftBus::PeerRefusal;
using ::testing::ElementsAre;

const std::string PHONE(64, 'a');
const std::string LAPTOP(64, 'b');
constexpr const char* PHONE_MAC = "02:00:5e:10:00:01";
constexpr const char* TABLET_MAC = "02:00:5e:10:00:03";

// A fake of a hotspot. It records the reason and the time whenever it is closed.
class FakeShare : public Wifi::ShareControl {
public:
    explicit FakeShare(const Clock& clock) : clock_(clock) {}

    Wifi::ShareInfo ReadState() override
    {
        const MutexLock lock(mutex_);
        return info_;
    }
    Result<void> Close(const char* reason) override
    {
        Set([](Wifi::ShareInfo& info) {
            info.isOn = info.isOpenedHere = false;
            info.stations.clear();
        });
        closings.Add({reason, clock_.Now()});
        return {};
    }
    void SetListener(std::function<void()> changed) override
    {
        const MutexLock lock(mutex_);
        changed_ = std::move(changed);
    }
    void Set(const std::function<void(Wifi::ShareInfo&)>& change)
    {
        std::function<void()> changed;
        {
            const MutexLock lock(mutex_);
            change(info_);
            changed = changed_;
        }
        changed();
    }
    void Open(std::vector<Wifi::ShareStation> stations)
    {
        Set([&](Wifi::ShareInfo& info) { info = {true, true, info.openingNumber + 1, true, stations}; });
    }

    Tests::Trail<std::pair<std::string, SteadyTime>> closings;

private:
    const Clock& clock_;
    Mutex mutex_;
    Wifi::ShareInfo info_ GUARDED_BY(mutex_);
    std::function<void()> changed_ GUARDED_BY(mutex_);
};

class FakeNetwork : public Network::NetworkMonitor {
public:
    Network::Uplink CurrentUplink() override { return uplink; }
    Network::Battery CurrentBattery() override { return {percent.load(), false}; }
    Network::NetworkSituation Situation() override { return {}; }
    void RequestScan() override {}
    Network::OnlineVerdict CheckOnline(const Wifi::JoinedNetwork& /*network*/, SteadyTime /*deadline*/,
                                       const std::function<bool()>& /*isCancelled*/) override
    {
        return Network::OnlineVerdict::UNKNOWN;
    }
    void SetListener(std::function<void()> /*changed*/) override {}

    Network::Uplink uplink;  // a test sets this before Start()
    std::atomic<uint8_t> percent{80};
};

class SharingTest : public ::testing::Test {
protected:
    ~SharingTest() override { Stop(); }

    void Start(const SharingSettings& settings = {})
    {
        sharing_ = Sharing::Start({
            .stateDir = folder_.Path(),
            .settings = settings,
            .share = &share_,
            .network = &network_,
            .obstacle = [] { return SharingObstacle::NONE; },
            .nameOf = [](const std::string& id) { return id == PHONE    ? "phone"
                                                         : id == LAPTOP ? "laptop"
                                                                        : ""; },
            .asked =
                [this](const std::string& id, const std::string& name) {
                    asked_.Add({id, name});
                },
            .timers = &timers_,
        });
    }
    void Stop()
    {
        if (sharing_) {
            sharing_->Stop();
        }
        sharing_.reset();
    }
    // Advances the clock until the hotspot closes. Returns the reason for which it was closed.
    std::string WaitForClosing()
    {
        std::string reason;
        Tests::Eventually([&] {
            timers_.Advance(1s);
            const auto closings = share_.closings.Take();
            reason = closings.empty() ? "" : closings[0].first;
            closedAt_ = closings.empty() ? closedAt_ : closings[0].second;
            return !closings.empty();
        });
        return reason;
    }

    const Tests::TempFolder folder_;
    const Tests::RecordedSysEvents events_;
    Tests::ManualTimers timers_;
    FakeShare share_{timers_};
    FakeNetwork network_;
    Tests::Trail<std::pair<std::string, std::string>> asked_;
    SteadyTime closedAt_;
    std::shared_ptr<Sharing> sharing_;
};

TEST_F(SharingTest, ReleaseOfOnlyUserClosesHotspotAfterAnswer)
{
    Start();
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::NONE);
    share_.Open({{PHONE_MAC, 100, 10}});
    EXPECT_TRUE(sharing_->OnLease(PHONE, {PHONE_MAC}).isHeld);
    EXPECT_TRUE(sharing_->OnLease(LAPTOP, {TABLET_MAC}).isHeld);
    const ShareStatus status = sharing_->Status();
    ASSERT_EQ(status.users.size(), 2U);
    EXPECT_EQ(status.users[0].deviceName, "phone");
    EXPECT_EQ(status.users[0].bytes, 110U);
    EXPECT_EQ(status.monthBytes, 110U);
    EXPECT_FALSE(sharing_->OnRelease(LAPTOP, {TABLET_MAC}).hasClosedHotspot) << "the phone uses it";
    const SteadyTime released = timers_.Now();
    EXPECT_TRUE(sharing_->OnRelease(PHONE, {PHONE_MAC}).hasClosedHotspot);
    timers_.Advance(RELEASE_PAUSE);
    const auto closings = share_.closings.WaitFor(1);
    ASSERT_EQ(closings.size(), 1U);
    EXPECT_EQ(closings[0], std::pair(std::string(Wifi::ShareClosed::RELEASED), released + RELEASE_PAUSE));
    EXPECT_TRUE(sharing_->OnRelease(PHONE, {PHONE_MAC}).hasClosedHotspot) << "asked again: it is off";
}

TEST_F(SharingTest, LeaseAfterReleaseKeepsHotspotOpenUntilItExpires)
{
    Start({.closesAfter = 30s});
    EXPECT_FALSE(sharing_->OnLease(PHONE, {PHONE_MAC}).isHeld) << "no hotspot";
    share_.Open({});
    EXPECT_TRUE(sharing_->OnLease(PHONE, {PHONE_MAC}).isHeld);
    EXPECT_TRUE(sharing_->OnRelease(PHONE, {PHONE_MAC}).hasClosedHotspot);
    EXPECT_EQ(sharing_->Admit(LAPTOP), PeerRefusal::NONE);
    timers_.Advance(RELEASE_PAUSE);
    EXPECT_TRUE(sharing_->OnLease(LAPTOP, {PHONE_MAC}).isHeld);
    const SteadyTime began = timers_.Now();
    EXPECT_EQ(WaitForClosing(), Wifi::ShareClosed::LEASE_ENDED);
    EXPECT_GE(closedAt_ - began, LEASE_LIFE + 30s);
    EXPECT_EQ(events_.WaitFor(4).back(), "NET_SHARE_LEASE_END DEVICE_ID bbbbb…bbbbb REASON EXPIRED");
}

TEST_F(SharingTest, BatteryAndByteLimitsCloseHotspotInUse)
{
    Start({.batteryFloorPercent = 20, .monthLimitMb = 1});
    share_.Open({{PHONE_MAC, 400'000, 0}});
    network_.percent = 19;
    EXPECT_EQ(WaitForClosing(), Wifi::ShareClosed::BATTERY_FLOOR);
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::BATTERY_FLOOR);
    EXPECT_EQ(sharing_->FactsFor(PHONE).permission, SharingPermission::BATTERY_FLOOR);
    network_.percent = 21;
    EXPECT_EQ(sharing_->FactsFor(PHONE).permission, SharingPermission::ALLOWED);
    share_.Open({{PHONE_MAC, 600'000, 0}});
    EXPECT_EQ(WaitForClosing(), Wifi::ShareClosed::DATA_LIMIT);
    Stop();
    Start({.batteryFloorPercent = 20, .monthLimitMb = 1});
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::DATA_LIMIT);
}

TEST_F(SharingTest, OwnerIsAskedOnceAndDecides)
{
    Start({.allow = ShareAllow::ASK});
    EXPECT_EQ(sharing_->FactsFor(PHONE).permission, SharingPermission::ASKS);
    EXPECT_TRUE(sharing_->Status().requests.empty()) << "facts ask nobody";
    EXPECT_EQ(sharing_->Decide(PHONE, ShareDecision::DENY).fault->code, ShareFaultCode::NOT_ASKED);
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::OWNER_ASKED);
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::OWNER_ASKED);
    EXPECT_THAT(asked_.WaitFor(1), ElementsAre(std::pair(PHONE, std::string("phone"))));
    EXPECT_EQ(sharing_->Status().requests.size(), 1U);
    EXPECT_FALSE(sharing_->Decide(PHONE, ShareDecision::TODAY).fault);
    Stop();
    EXPECT_THAT(events_.Lines(), ElementsAre("NET_SHARE_REFUSED DEVICE_ID aaaaa…aaaaa REASON OWNER_ASKED",
                                             "NET_SHARE_ASKED DEVICE_ID aaaaa…aaaaa",
                                             "NET_SHARE_DECIDED DEVICE_ID aaaaa…aaaaa DECISION TODAY"));
    Start({.allow = ShareAllow::ASK});
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::NONE);
    sharing_->OnMemberRemoved(PHONE);
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::OWNER_ASKED);
}

TEST_F(SharingTest, DeniedDeviceLosesLeaseAndHotspotCloses)
{
    Start();
    share_.Open({{PHONE_MAC, 0, 0}});
    EXPECT_TRUE(sharing_->OnLease(PHONE, {PHONE_MAC}).isHeld);
    EXPECT_FALSE(sharing_->Decide(PHONE, ShareDecision::NEVER).fault);
    EXPECT_EQ(WaitForClosing(), Wifi::ShareClosed::RELEASED);
    share_.Open({{TABLET_MAC, 0, 0}});
    EXPECT_FALSE(sharing_->OnLease(PHONE, {TABLET_MAC}).isHeld);
    EXPECT_FALSE(sharing_->OnRelease(PHONE, {TABLET_MAC}).hasClosedHotspot) << "a station that is not its own";
}

TEST_F(SharingTest, DamagedFileIsSetAsideAndUnreadableOneKept)
{
    const std::filesystem::path file = folder_.Path() / SHARING_FILE;
    std::ofstream(file) << R"({"version": 1, "rules": [)";
    Start({.allow = ShareAllow::DEVICES});
    EXPECT_FALSE(sharing_->Decide(PHONE, ShareDecision::ALWAYS).fault);
    Stop();
    EXPECT_TRUE(std::filesystem::exists(file.string() + ".unusable"));
    Start({.allow = ShareAllow::DEVICES});
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::NONE);
    Stop();
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));

    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    Start({.allow = ShareAllow::DEVICES});
    EXPECT_EQ(sharing_->Decide(PHONE, ShareDecision::ALWAYS).fault->code, ShareFaultCode::FAILED);
    EXPECT_EQ(sharing_->Admit(PHONE), PeerRefusal::NONE) << "until the daemon ends";
}

}  // namespace
}  // namespace Vexo::Host
