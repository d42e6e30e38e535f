// Tests how this device gets online through other devices, from the request until everything is undone.
#include <gtest/gtest.h>

#include "platform/wifi/station.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_online_world.h"
#include "tests/support/recorded_sys_events.h"

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;
using Tests::FakeOnlineWorld;
using Code = OnlineFaultCode;
using Kind = OnlineStepKind;
using Lines = std::vector<std::string>;
namespace Words = Wifi::JoinFailure;

constexpr pid_t OWNER = 7;
constexpr pid_t OTHER = 8;

class OnlineTest : public testing::Test {
protected:
    ~OnlineTest() override
    {
        if (online_) {
            online_->Stop();
        }
    }

    void Start(const Lines& names)
    {
        for (const std::string& name : names) {
            world_->AddDevice(name);
        }
        online_ = world_->Start();
    }
    OnlineAnswer WaitForEnd()
    {
        EXPECT_TRUE(Tests::Eventually([&] {
            const OnlinePhase phase = online_->Status().attempt.phase;
            return phase != OnlinePhase::RUNNING && phase != OnlinePhase::CANCELLING;
        }));
        return online_->Status().attempt;
    }
    OnlineAnswer Run(OnlineMode mode = OnlineMode::UP, const Lines& names = {})
    {
        const OnlineAnswer begun = online_->Begin(OWNER, mode, names);
        return begun.phase == OnlinePhase::FAILED ? begun : WaitForEnd();
    }
    DownAnswer Down()
    {
        std::optional<DownAnswer> answer;
        Mutex mutex;
        online_->Down([&](int32_t, const DownAnswer& done) {
            const MutexLock lock(mutex);
            answer = done;
        });
        EXPECT_TRUE(Tests::Eventually([&] {
            const MutexLock lock(mutex);
            return answer.has_value();
        }));
        return *answer;
    }
    // Returns all calls except waits and leases, because the number of these depends on the clock.
    Lines Calls() const
    {
        Lines calls;
        for (const std::string& call : world_->trail.WaitFor(0)) {
            if (call != "wait" && !call.starts_with("lease")) {
                calls.push_back(call);
            }
        }
        return calls;
    }

    const Tests::RecordedSysEvents events_;
    const std::shared_ptr<FakeOnlineWorld> world_ = FakeOnlineWorld::Make();
    std::shared_ptr<Online> online_;
};

TEST_F(OnlineTest, EachFailureHasItsCodeAndStepAndIsUndone)
{
    using World = FakeOnlineWorld;
    struct Case {
        Code code;
        Kind step;
        std::function<void(World&)> prepare;
        Lines undone;  // the calls that follow "ask phone"; empty: the phone was not asked
    };
    const auto fact = [](auto member, auto value) {
        return [=](World& world) { world.devices["phone"].facts.*member = value; };
    };
    const auto code = [](int32_t value) { return [=](World& w) { w.devices["phone"].serviceCode = value; }; };
    const auto refusal = [](auto value) { return [=](World& w) { w.devices["phone"].refusal = value; }; };
    const auto join = [](auto value) { return [=](World& w) { w.devices["phone"].joinFailure = value; }; };
    const auto radio = [](auto value) { return [=](World& w) { w.wifi.radio = value; }; };
    const Lines released{"release phone"};
    const Lines asked{"facts phone", "release phone"};
    const Lines left{"release phone", "leave 1"};
    const Case table[] = {
        {Code::WIFI_OFF, Kind::FIND, radio(RadioState::SWITCHED_OFF), {}},
        {Code::WIFI_BLOCKED, Kind::FIND, radio(RadioState::BLOCKED), {}},
        {Code::WIFI_ABSENT, Kind::FIND, radio(RadioState::ABSENT), {}},
        {Code::NO_DEVICES, Kind::FIND, [](World& w) { w.known.clear(); }, {}},
        {Code::UNREACHABLE, Kind::FIND, [](World& w) { w.devices["phone"].isReachable = false; }, {}},
        {Code::AWAY, Kind::FIND, [](World& w) { w.devices["phone"].isReachable = w.known[0].online = false; }, {}},
        {Code::WRONG_CLOCK,
         Kind::FIND,
         [](World& w) {
             w.devices["phone"].isReachable = false;
             w.known[0].clockAhead = -2h;
         },
         {}},
        {Code::PEER_WIFI_OFF, Kind::FIND, fact(&DeviceFacts::obstacle, SharingObstacle::WIFI_OFF), {}},
        {Code::PEER_NO_HOTSPOT, Kind::FIND, fact(&DeviceFacts::obstacle, SharingObstacle::NO_HOTSPOT), {}},
        {Code::NOT_ALLOWED, Kind::FIND, fact(&DeviceFacts::permission, SharingPermission::NOT_ALLOWED), {}},
        {Code::DATA_LIMIT, Kind::FIND, fact(&DeviceFacts::permission, SharingPermission::DATA_LIMIT), {}},
        {Code::BATTERY_FLOOR, Kind::HOTSPOT, refusal(SoftBus::PeerRefusal::BATTERY_FLOOR), {}},
        {Code::UNREACHABLE, Kind::HOTSPOT, code(1004500002), asked},
        {Code::HOTSPOT_FAILED, Kind::HOTSPOT, code(1004500003), asked},
        {Code::NO_ANSWER, Kind::HOTSPOT, code(1004500116), asked},
        {Code::NOT_VISIBLE, Kind::WIFI, join(Words::NOT_VISIBLE), left},
        {Code::WRONG_KEY, Kind::WIFI, join(Words::NOT_ADMITTED), left},
        {Code::NO_IP_ADDRESS, Kind::WIFI, join(Words::NO_IP_ADDRESS), left},
        {Code::JOIN_FAILED, Kind::WIFI, join(Words::ENDED_HERE), left},
        {Code::JOIN_FAILED, Kind::WIFI, [](World& w) { w.isJoining = true; }, left},
        {Code::NO_INTERNET,
         Kind::ONLINE,
         [](World& w) { w.devices["phone"].verdict = Network::OnlineVerdict::NO_INTERNET; },
         {"check phone", "facts phone", "release phone", "leave 1"}},
    };
    for (const Case& row : table) {
        const auto world = FakeOnlineWorld::Make();
        world->AddDevice("phone");
        row.prepare(*world);
        const Tests::RecordedSysEvents events;
        const auto online = world->Start();
        online->Begin(OWNER, OnlineMode::UP, {});
        ASSERT_TRUE(Tests::Eventually([&] { return online->Status().attempt.phase == OnlinePhase::FAILED; }));
        const OnlineAnswer answer = online->Status().attempt;
        SCOPED_TRACE(answer.fault->message);
        EXPECT_EQ(answer.fault->code, row.code);
        EXPECT_EQ(answer.steps.empty() ? Kind::FIND : answer.steps.back().kind, row.step);
        EXPECT_EQ(answer.undoneChanges.has_value(), !row.undone.empty());
        Lines calls = world->trail.WaitFor(0);
        std::erase(calls, "wait");
        calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "ask phone"));
        EXPECT_EQ(calls.empty() ? Lines() : Lines(calls.begin() + 1, calls.end()), row.undone);
        ASSERT_EQ(events.Lines().size(), 1U) << testing::PrintToString(events.Lines());
        EXPECT_TRUE(events.Lines()[0].starts_with("NET_ONLINE_FAIL")) << events.Lines()[0];
        online->Stop();
    }
}

TEST_F(OnlineTest, NextDeviceIsTriedAfterFirstOneIsUndone)
{
    Start({"phone", "tablet"});
    world_->devices["phone"].verdict = Network::OnlineVerdict::NO_INTERNET;
    world_->devices["phone"].facts.isMobileDataOff = true;
    const OnlineAnswer answer = Run(OnlineMode::UP, {"phone", "tablet"});
    EXPECT_EQ(answer.phase, OnlinePhase::ONLINE);
    EXPECT_EQ(answer.deviceName, "tablet");
    EXPECT_EQ(answer.steps[3].fault->message, "phone has no internet: its mobile data is switched off");
    EXPECT_EQ(answer.steps[6].security, "WPA2");
    EXPECT_EQ(Calls(), (Lines{"facts phone", "ask phone", "check phone", "facts phone", "release phone", "leave 1",
                              "facts tablet", "ask tablet", "check tablet"}));
    EXPECT_EQ(events_.WaitFor(2), (Lines{"NET_ONLINE_FAIL DEVICE_ID phone STEP ONLINE REASON NO_INTERNET",
                                         "NET_ONLINE_SUCCESS DEVICE_ID tablet"}));
    EXPECT_EQ(world_->Suggested("phone") + "|" + world_->Suggested("tablet"), "|10.42.0.1");
}

TEST_F(OnlineTest, StartKeepsNetworkWithoutInternetUntilDown)
{
    Start({"phone"});
    world_->devices["phone"].verdict = Network::OnlineVerdict::NO_INTERNET;
    const OnlineAnswer answer = Run(OnlineMode::START, {"phone"});
    EXPECT_EQ(answer.phase, OnlinePhase::FAILED);
    EXPECT_EQ(answer.networkId, "phone");
    EXPECT_FALSE(answer.undoneChanges);
    const DownAnswer down = Down();
    EXPECT_EQ(down.result, DownResult::DONE);
    EXPECT_TRUE(down.undoneChanges.wasNotified && down.undoneChanges.hasClosedHotspot &&
                down.undoneChanges.hasLeftWifi);
    EXPECT_EQ(down.undoneChanges.backOn, "office");
    EXPECT_EQ(Down().result, DownResult::NOT_JOINED);
}

TEST_F(OnlineTest, CancellationAtAnyCallIsUndoneInOrder)
{
    struct Case {
        const char* at;
        Lines calls;
    };
    const Lines left{"facts phone", "ask phone", "release phone", "leave 1"};
    const Case table[] = {{"facts phone", {"facts phone"}},
                          {"ask phone", left},
                          {"wait", left},
                          {"check phone", {"facts phone", "ask phone", "check phone", "release phone", "leave 1"}}};
    for (const bool isDown : {false, true}) {
        for (const Case& row : table) {
            SCOPED_TRACE(row.at);
            const auto world = FakeOnlineWorld::Make();
            world->AddDevice("phone");
            world->AddDevice("tablet");
            world->isJoining = std::string(row.at) == "wait";
            const auto online = world->Start();
            Tests::Trail<OnlinePhase> answered;
            Tests::Trail<DownAnswer> downs;
            world->onCall = [&](const std::string& call) {
                if (call == row.at && online->Status().attempt.phase == OnlinePhase::RUNNING) {
                    if (isDown) {
                        online->Down([&](int32_t, const DownAnswer& done) { downs.Add(done); });
                    } else {
                        online->OnProcessGone(OWNER);
                        online->Cancel(OWNER, true, [&](int32_t, const OnlineAnswer& a) { answered.Add(a.phase); });
                    }
                }
            };
            online->Begin(OWNER, OnlineMode::UP, {"phone", "tablet"});
            if (isDown) {
                EXPECT_EQ(downs.WaitFor(1)[0].undoneChanges.hasLeftWifi, row.calls.size() > 1);
            } else {
                EXPECT_EQ(answered.WaitFor(1), std::vector{OnlinePhase::CANCELLED});
                EXPECT_EQ(online->Status().attempt.undoneChanges.has_value(), row.calls.size() > 1);
            }
            Lines calls = world->trail.WaitFor(0);
            std::erase(calls, "wait");
            EXPECT_EQ(calls, row.calls);
            online->Stop();
        }
    }
}

TEST_F(OnlineTest, UnansweredReleaseIsRepeatedOnPreviousNetwork)
{
    Start({"phone"});
    world_->devices["phone"].releases = false;
    EXPECT_EQ(Run().phase, OnlinePhase::ONLINE);
    EXPECT_FALSE(Down().undoneChanges.wasNotified);
    const Lines calls = Calls();
    EXPECT_EQ(Lines(calls.begin() + 3, calls.end()), (Lines{"release phone", "leave 1", "release phone"}));
    EXPECT_EQ(events_.WaitFor(2)[1], "NET_ONLINE_END DEVICE_ID phone REASON DOWN");
}

TEST_F(OnlineTest, SecondProgramGetsBusyWithRunningAttempt)
{
    Start({"phone"});
    OnlineAnswer second;
    world_->onCall = [&](const std::string& call) {
        if (call == "ask phone") {
            second = online_->Begin(OTHER, OnlineMode::UP, {});
            online_->Cancel(OTHER, false, [](int32_t, const OnlineAnswer&) {});
            online_->OnProcessGone(OTHER);
        }
    };
    EXPECT_EQ(Run().phase, OnlinePhase::ONLINE);
    ASSERT_TRUE(second.fault);
    EXPECT_EQ(second.fault->code, Code::BUSY);
    Tests::Trail<OnlinePhase> seen;
    for (const pid_t program : {OWNER, OTHER}) {
        online_->WaitForChange(program, 0, program == OWNER ? 60s : 0s,
                               [&](int32_t, const OnlineAnswer& answer) { seen.Add(answer.phase); });
    }
    EXPECT_EQ(seen.WaitFor(2), (std::vector{OnlinePhase::ONLINE, OnlinePhase::IDLE}));
    EXPECT_EQ(second.fault->message, "getting online is under way already: process 7 tries phone");
}

TEST_F(OnlineTest, UpWhileOnlineChecksAgainAndStartOfOtherReleasesFirst)
{
    Start({"phone", "tablet"});
    EXPECT_EQ(Run(OnlineMode::UP, {"phone"}).phase, OnlinePhase::ONLINE);
    const OnlineAnswer again = Run();
    EXPECT_EQ(again.phase, OnlinePhase::ONLINE);
    EXPECT_EQ(again.steps.size(), 4U);
    world_->devices["tablet"].serviceCode = 1004500003;
    const OnlineAnswer failed = Run(OnlineMode::START, {"tablet"});
    EXPECT_EQ(failed.phase, OnlinePhase::FAILED);
    EXPECT_EQ(failed.networkId, "phone") << "this device is still on its network";
    world_->devices["tablet"].serviceCode = 0;
    EXPECT_EQ(Run(OnlineMode::START, {"tablet"}).networkId, "tablet");
    EXPECT_EQ(Calls(),
              (Lines{"facts phone", "ask phone", "check phone", "check phone", "facts tablet", "ask tablet",
                     "facts tablet", "release tablet", "facts tablet", "ask tablet", "check tablet", "release phone"}));
}

TEST_F(OnlineTest, UpWaitsForOwnerAndStartDoesNot)
{
    Start({"phone"});
    world_->devices["phone"].refusal = SoftBus::PeerRefusal::OWNER_ASKED;
    EXPECT_EQ(Run(OnlineMode::START, {"phone"}).fault->code, Code::OWNER_ASKED);
    // This function captures no local variable by reference, because it is also called after the end of the test
    // function.
    world_->onCall = [this, asked = 0](const std::string& call) mutable {
        asked += call == "ask phone" ? 1 : 0;
        world_->Change("phone", [asked](auto& phone) {
            phone.refusal = asked > 2 ? SoftBus::PeerRefusal::NONE : SoftBus::PeerRefusal::OWNER_ASKED;
        });
    };
    online_->Begin(OWNER, OnlineMode::UP, {});
    EXPECT_TRUE(Tests::Eventually([&] {
        world_->timers.Advance(1s);
        return online_->Status().attempt.phase == OnlinePhase::ONLINE;
    }));
    EXPECT_EQ(online_->Status().attempt.steps.size(), 5U) << "one more line while the owner is asked";
}

TEST_F(OnlineTest, LeaseIsRenewedUntilNetworkIsGone)
{
    Start({"phone"});
    EXPECT_EQ(Run().phase, OnlinePhase::ONLINE);
    const auto leases = [&] {
        const Lines calls = world_->trail.WaitFor(0);
        return std::count(calls.begin(), calls.end(), "lease phone");
    };
    world_->timers.Advance(1s);
    EXPECT_EQ(leases(), 1);
    EXPECT_TRUE(online_->Status().hasLease);
    world_->timers.Advance(119s);
    EXPECT_EQ(leases(), 2);
    world_->devices["phone"].isReachable = false;
    world_->timers.Advance(30s);
    EXPECT_EQ(leases(), 8) << "every 5 s from second 120 on";
    world_->timers.Advance(100s);
    EXPECT_FALSE(online_->Status().hasLease);
    world_->LoseNetwork();
    world_->timers.Advance(5s);
    EXPECT_EQ(online_->Status().attempt.phase, OnlinePhase::IDLE);
    EXPECT_EQ(events_.WaitFor(2)[1], "NET_ONLINE_END DEVICE_ID phone REASON LOST");
    EXPECT_EQ(world_->Suggested("phone"), "");
    const auto before = leases();
    world_->timers.Advance(10min);
    EXPECT_EQ(leases(), before);
}

TEST_F(OnlineTest, StopNotifiesDeviceAndKeepsWifiConnected)
{
    Start({"phone"});
    world_->onCall = [&](const std::string& call) {
        if (call == "ask phone") {
            std::thread([online = online_] { online->Stop(); }).join();
        }
    };
    online_->Begin(OWNER, OnlineMode::UP, {});
    EXPECT_TRUE(Tests::Eventually([&] { return online_->Status().attempt.phase == OnlinePhase::CANCELLED; }));
    EXPECT_EQ(Calls(), (Lines{"facts phone", "ask phone", "release phone"}));
}

TEST_F(OnlineTest, AutomaticModeDoesNotAskOwner)
{
    Start({"old", "phone"});
    world_->devices["old"].isOld = true;
    world_->devices["old"].refusal = SoftBus::PeerRefusal::OWNER_ASKED;
    world_->devices["phone"].facts.permission = SharingPermission::ASKS;
    world_->Set({.isSessionActive = true});
    EXPECT_FALSE(online_->SetAuto(true).fault);
    const auto asked = [&] {
        const Lines calls = Calls();
        return std::pair(std::count(calls.begin(), calls.end(), "ask old"),
                         std::count(calls.begin(), calls.end(), "ask phone"));
    };
    const auto tries = [&] {
        const Lines calls = Calls();
        return std::count(calls.begin(), calls.end(), "facts phone");
    };
    EXPECT_TRUE(Tests::Eventually([&] {
        world_->timers.Advance(1s);
        return tries() >= 4;
    }));
    EXPECT_EQ(asked().second, 0);
    EXPECT_EQ(asked().first, 1) << "it has refused this device";
    world_->Change("phone", [](auto& phone) { phone.facts.permission = SharingPermission::ALLOWED; });
    EXPECT_TRUE(Tests::Eventually([&] {
        world_->timers.Advance(1s);
        return online_->Status().attempt.phase == OnlinePhase::ONLINE;
    }));
    EXPECT_EQ(online_->Status().automatic.state, AutoState::ONLINE);
    world_->Set({.hasNetwork = true, .hasOwnWire = true, .isSessionActive = true});
    EXPECT_TRUE(Tests::Eventually([&] {
        world_->timers.Advance(1s);
        return online_->Status().automatic.state == AutoState::WATCHING;
    })) << "it is not suspended";
    EXPECT_EQ(Calls().back(), "leave 1");
}

}  // namespace
}  // namespace Vexo::Host
