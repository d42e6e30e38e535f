// Tests how distnetctl shows attempts to get online, information about devices, and the sharing of a connection.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "platform/base/text.h"
#include "tools/distnetctl/facts_view.h"
#include "tools/distnetctl/online_attempt.h"
#include "tools/distnetctl/online_view.h"
#include "tools/distnetctl/share_view.h"

namespace Vexo::Ctl {
namespace {

using namespace std::chrono_literals;
using Host::OnlineFaultCode;
using Host::OnlinePhase;
using Host::OnlineStepKind;
using Host::OnlineStepState;
using testing::ElementsAre;
using testing::HasSubstr;

const std::chrono::sys_seconds NOW{std::chrono::seconds(1'795'262'886)};  // 2026-11-21T12:08:06Z

Host::OnlineStep Step(const std::string& name, OnlineStepKind kind, std::chrono::milliseconds took)
{
    Host::OnlineStep step;
    step.networkId = step.deviceName = name;
    step.kind = kind;
    step.state = OnlineStepState::DONE;
    step.took = took;
    return step;
}

Host::OnlineStep FailedStep(const std::string& name, OnlineStepKind kind, OnlineFaultCode code,
                            const std::string& message, const std::string& advice)
{
    Host::OnlineStep step = Step(name, kind, 900ms);
    step.state = OnlineStepState::FAILED;
    step.fault = Host::OnlineFault{code, name, name, message, advice};
    return step;
}

Host::OnlineAnswer Answer(OnlinePhase phase, std::vector<Host::OnlineStep> steps)
{
    Host::OnlineAnswer answer;
    answer.phase = phase;
    answer.steps = std::move(steps);
    if (phase == OnlinePhase::FAILED) {
        answer.fault = answer.steps.back().fault;
    }
    return answer;
}

const Host::OnlineStep TABLET_AWAY =
    FailedStep("tablet", OnlineStepKind::FIND, OnlineFaultCode::AWAY, "tablet is away since 2 h", "Switch tablet on");
const Host::OnlineStep PHONE_OFFLINE =
    FailedStep("phone", OnlineStepKind::ONLINE, OnlineFaultCode::NO_INTERNET,
               "phone has no internet: its mobile data is switched off", "On phone: switch mobile data on.");

TEST(StepLogTest, StepsFit80ColumnsAndNameEachDeviceOnce)
{
    Host::OnlineStep found = Step("phone", OnlineStepKind::FIND, 900ms);
    found.transport = "bluetooth";
    Host::OnlineStep joined = Step("phone", OnlineStepKind::WIFI, 3100ms);
    joined.ssid = "phone-7f3a";
    joined.security = "WPA2";
    joined.address = "192.168.43.17";
    Host::OnlineStep waiting = Step("phone", OnlineStepKind::HOTSPOT, 10ms);
    waiting.state = OnlineStepState::RUNNING;
    StepLog log({"+", "x", true});
    EXPECT_THAT(log.Take(Answer(OnlinePhase::RUNNING, {TABLET_AWAY, found, waiting})),
                ElementsAre("tablet        x away since 2 h", "phone         + found over Bluetooth  900 ms"));
    EXPECT_EQ(log.TakeWait(Answer(OnlinePhase::RUNNING, {TABLET_AWAY, found, waiting}), false), "");
    waiting.took = SLOW_STEP;
    EXPECT_EQ(log.TakeWait(Answer(OnlinePhase::RUNNING, {TABLET_AWAY, found, waiting}), false),
              "waiting for phone's hotspot");
    waiting.state = OnlineStepState::DONE;
    EXPECT_THAT(log.Take(Answer(OnlinePhase::FAILED, {TABLET_AWAY, found, waiting, joined, PHONE_OFFLINE})),
                ElementsAre("              + hotspot ready          2.0 s",
                            "              + Wi-Fi joined           3.1 s  \"phone-7f3a\" (WPA2) 192.168.43.17",
                            "              x online   phone has no internet: its mobile data is switched off"));

    joined.deviceName = "tel\x1b[2J";
    joined.ssid = std::string(32, 'x');
    const std::vector<std::string> lines = StepLines(joined, true, {"+", "x", false});
    EXPECT_EQ(lines[0].substr(0, 12), "tel\\x1b[2J  ");
    for (const std::string& line : lines) {
        EXPECT_LE(TextWidth(line), COLUMNS) << line;
    }
}

TEST(StepLogTest, RepeatedOwnerQuestionIsOneLineUntilAnswered)
{
    const Host::OnlineStep found = Step("phone", OnlineStepKind::FIND, 100ms);
    const Host::OnlineStep asked = FailedStep("phone", OnlineStepKind::HOTSPOT, OnlineFaultCode::OWNER_ASKED,
                                              "phone's owner is asked", "Answer there.");
    StepLog log({"+", "x", true});
    EXPECT_EQ(log.Take(Answer(OnlinePhase::RUNNING, {found, asked})).size(), 2U);
    Host::OnlineStep waiting = Step("phone", OnlineStepKind::HOTSPOT, 60s);
    waiting.state = OnlineStepState::RUNNING;
    Host::OnlineAnswer again = Answer(OnlinePhase::RUNNING, {found, asked, waiting});
    EXPECT_THAT(log.Take(again), ElementsAre());
    EXPECT_EQ(log.TakeWait(again, false), "waiting for the owner's answer");
    EXPECT_EQ(log.TakeWait(again, false), "") << "said already";
    again.steps.push_back(TABLET_AWAY);
    EXPECT_EQ(log.Take(again).size(), 1U) << "of another device, while that one waits";
    again.steps[2] = asked;
    EXPECT_THAT(log.Take(again), ElementsAre());
}

Host::UndoneChanges Back(const std::string& network, bool wasNotified, bool hasClosed)
{
    Host::UndoneChanges back;
    back.hasLeftWifi = true;
    back.backOn = network;
    back.networkId = back.deviceName = "phone";
    back.wasNotified = wasNotified;
    back.hasClosedHotspot = hasClosed;
    return back;
}

TEST(OnlineEndTest, EndReportsResultOfAttemptAndExitCode)
{
    Host::OnlineAnswer online = Answer(OnlinePhase::ONLINE, {});
    online.deviceName = "phone";
    online.facts = Host::DeviceFacts{};
    online.facts->uplink = Host::UplinkKind::MOBILE;
    online.facts->technology = "4G";
    online.facts->batteryPercent = 64;
    Host::OnlineAnswer cancelled = Answer(OnlinePhase::CANCELLED, {});
    cancelled.undoneChanges = Back("office", true, true);
    Host::OnlineAnswer kept = Answer(OnlinePhase::FAILED, {PHONE_OFFLINE});
    kept.networkId = "phone";
    Host::OnlineAnswer own = Answer(OnlinePhase::FAILED, {TABLET_AWAY});
    own.fault = Host::OnlineFault{OnlineFaultCode::WIFI_OFF, "", "", "this device's Wi-Fi is off", "Switch it on."};
    const Host::OnlineAnswer failed = Answer(OnlinePhase::FAILED, {TABLET_AWAY, TABLET_AWAY, PHONE_OFFLINE});
    const struct {
        Outcome outcome;
        int exitCode;
        std::string name;
        std::string message;
        std::string advice;
    } table[] = {
        {FromAttempt(online, true), EXIT_DONE, "OK",
         "You are online through phone (battery 64 %, 4G). `distnetctl down` ends it.", ""},
        {FromAttempt(failed, false), EXIT_FAILED, "NO_INTERNET", "none of your devices could get this device online",
         "Switch tablet on.\nOn phone: switch mobile data on."},
        {FromAttempt(kept, true), EXIT_FAILED, "NO_INTERNET", "phone has no internet: its mobile data is switched off",
         "On phone: switch mobile data on.\nThis device stays on its Wi-Fi; `distnetctl down` leaves it."},
        {FromAttempt(own, false), EXIT_FAILED, "WIFI_OFF", "this device's Wi-Fi is off", "Switch it on."},
        {FromCancelled(cancelled), EXIT_INTERRUPTED, "CANCELLED",
         "cancelled: this device is back on \"office\"; phone closed its hotspot", ""},
        {FromCancelled(Answer(OnlinePhase::IDLE, {})), EXIT_INTERRUPTED, "CANCELLED",
         "cancelled: nothing had to be undone", ""},
        {FromCancelled(online), EXIT_INTERRUPTED, "CANCELLED",
         "it was too late to cancel: you are online through phone; `distnetctl down` ends it", ""},
        {FromTimedOut(cancelled, "too short"), EXIT_TIMED_OUT, "TIMED_OUT",
         "too short; this device is back on \"office\"; phone closed its hotspot",
         "Allow more with --timeout SECONDS, or leave it out."},
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.outcome.exitCode, row.exitCode) << row.message;
        EXPECT_EQ(row.outcome.name, row.name) << row.message;
        EXPECT_EQ(row.outcome.message, row.message);
        EXPECT_EQ(row.outcome.advice, row.advice) << row.message;
    }
}

TEST(OnlineEndTest, DownReportsCurrentNetworkAndReleaseByOtherDevice)
{
    const struct {
        Host::DownAnswer down;
        std::string said;
    } table[] = {
        {{Host::DownResult::DONE, Back("office", true, true), {}},
         "You are off phone's hotspot and back on \"office\". phone closed its hotspot."},
        {{Host::DownResult::DONE, Back("", true, false), {}},
         "You are off phone's hotspot. phone left its hotspot as it was."},
        {{Host::DownResult::DONE, Back("", false, false), {}},
         "You are off phone's hotspot. phone could not be notified, and closes its hotspot\nwhen no device uses it."},
        {{Host::DownResult::NOT_JOINED, {}, {}}, "This device is on no hotspot of another device; nothing to leave."},
    };
    for (const auto& row : table) {
        EXPECT_EQ(FromDown(row.down).message, row.said);
        EXPECT_EQ(FromDown(row.down).exitCode, EXIT_DONE);
    }
}

TEST(FactsTest, FactsShowAbilitiesAndAge)
{
    Host::DeviceFacts good;
    good.at = NOW;
    good.uplink = Host::UplinkKind::MOBILE;
    good.technology = "4G";
    good.batteryPercent = 64;
    Host::DeviceFacts off = good;
    off.uplink = Host::UplinkKind::NONE;
    off.internet = Host::InternetState::NO;
    off.isMobileDataOff = true;
    Host::DeviceFacts closed = good;
    closed.permission = Host::SharingPermission::NOT_ALLOWED;
    closed.at = NOW - 2h;
    EXPECT_EQ(FactsText(good, NOW), "4G, battery 64 %");
    EXPECT_EQ(FactsText(off, NOW), "no internet: mobile data is off, battery 64 %");
    EXPECT_EQ(FactsText(closed, NOW), "does not allow this device, 4G, battery 64 % (2 h ago)");
}

TEST(FactsTest, DataAmountsUseDecimalMegabytesAndGigabytes)
{
    const std::pair<uint64_t, const char*> table[] = {{0, "0 MB"},
                                                      {340'000, "0.3 MB"},
                                                      {9'960'000, "10 MB"},
                                                      {212'000'000, "212 MB"},
                                                      {999'499'999, "999 MB"},
                                                      {999'500'000, "1 GB"},
                                                      {1'900'000'000, "1.9 GB"}};
    for (const auto& [bytes, text] : table) {
        EXPECT_EQ(BytesText(bytes), text);
    }
    EXPECT_EQ(BytesOfText(1'900'000'000, 5'000'000'000), "1.9 of 5 GB");
    EXPECT_EQ(BytesOfText(12'000'000, 5'000'000'000), "12 MB of 5 GB");
}

TEST(ShareTest, StatusShowsUsersBytesAndClosingTime)
{
    setenv("TZ", "UTC", 1);
    tzset();
    Host::ShareUser laptop{"id", "laptop", "02:00:00:00:00:01", NOW - 8min, 212'000'000, true, true};
    Host::ShareStatus status;
    status.isOn = status.isOpenedHere = true;
    status.users = {laptop};
    status.monthBytes = 1'900'000'000;
    status.monthLimitBytes = 5'000'000'000;
    status.closesAfter = 60s;
    const auto text = [&] {
        std::string joined;
        for (const StatusLine& line : ShareLines(status, NOW)) {
            joined += (joined.empty() ? line.label + ": " : " ") + line.text;
        }
        return joined;
    };
    EXPECT_EQ(text(), "share: laptop, since 12:00, 212 MB (1.9 of 5 GB this month); closes 1 min after it leaves");
    laptop.deviceName.clear();
    laptop.since = NOW - 24h;
    laptop.isConnected = false;
    status.users.push_back(laptop);
    status.closesAfter = 90s;
    EXPECT_EQ(text(),
              "share: laptop, since 12:00, 212 MB a device outside the account (02:00:00:00:00:01), since "
              "2026-11-20 12:08, 212 MB, not connected now 1.9 of 5 GB this month; closes 90 s after the last "
              "one leaves");
    status.users.clear();
    EXPECT_EQ(text(), "");
}

TEST(ShareTest, SuggestedCommandsQuoteNamesForShell)
{
    Host::ShareRequest request;
    const auto command = [&](const std::string& name) {
        request.deviceName = name;
        return RequestLines(request)[1];
    };
    EXPECT_EQ(command("laptop-2"), "  distnetctl share allow laptop-2 [--once|--today|--always]");
    EXPECT_EQ(command("Zoë's `id` $HOME"), "  distnetctl share allow 'Zoë'\\''s `id` $HOME' [--once|--today|--always]");
}

}  // namespace
}  // namespace Vexo::Ctl
