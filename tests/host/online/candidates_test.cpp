// Tests the order in which the class Online tries the other devices.
#include "host/online/candidates.h"

#include <gtest/gtest.h>

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;
const std::chrono::sys_seconds NOW{std::chrono::hours(24) * 365 * 50};

KnownDevice Named(const std::string& name, bool isOnline = true, std::chrono::seconds ago = 0s)
{
    KnownDevice device;
    device.name = device.networkId = name;
    device.online = isOnline;
    device.lastSeen = NOW - ago;
    return device;
}

std::string Order(const std::vector<KnownDevice>& devices, const Experience& experience)
{
    std::string names;
    for (const KnownDevice& device : RankCandidates(devices, experience)) {
        names += device.name;
    }
    return names;
}

TEST(CandidatesTest, EachReasonOutweighsAllLaterReasons)
{
    // Each function changes one criterion in favour of one device. This criterion must outweigh all later criteria,
    // which the test changes in favour of the other device. better: the index of the favoured device.
    using Change = std::function<void(std::vector<KnownDevice> & devices, Experience & experience, size_t better)>;
    const auto name = [](size_t device) { return std::string(1, "ab"[device]); };
    const Change reasons[] = {
        [](auto& devices, auto&, size_t better) { devices[1 - better].online = false; },
        [&](auto&, auto& e, size_t better) { e.facts[name(1 - better)].internet = InternetState::NO; },
        [&](auto&, auto& e, size_t better) { e.preferred = {name(better)}; },
        [&](auto&, auto& e, size_t better) { e.successes[name(better)] = NOW; },
        [&](auto&, auto& e, size_t better) { e.facts[name(1 - better)].batteryPercent = 20; },
        [&](auto&, auto& e, size_t better) { e.facts[name(better)].signalPercent = 80; },
        [&](auto&, auto& e, size_t better) { e.facts[name(1 - better)].isMetered = true; },
    };
    for (size_t reason = 0; reason < std::size(reasons); ++reason) {
        std::vector<KnownDevice> devices{Named("a"), Named("b")};
        Experience experience{{}, {}, {{"a", {}}, {"b", {}}}, NOW};
        experience.facts["a"].at = experience.facts["b"].at = NOW;
        reasons[reason](devices, experience, 1);
        for (size_t weaker = reason + 1; weaker < std::size(reasons); ++weaker) {
            const auto preferred = experience.preferred;
            reasons[weaker](devices, experience, 0);
            experience.preferred = preferred.empty() || weaker != 2 ? experience.preferred : preferred;
        }
        EXPECT_EQ(Order(devices, experience), "ba") << reason;
    }
}

TEST(CandidatesTest, OldFactsAreIgnoredAndFewAwayDevicesAreTried)
{
    Experience experience{{}, {}, {{"a", {}}}, NOW};
    experience.facts["a"].permission = SharingPermission::NOT_ALLOWED;
    experience.facts["a"].at = NOW - 9min;
    EXPECT_EQ(Order({Named("a"), Named("b")}, experience), "ba");
    experience.facts["a"].at = NOW - 10min;
    EXPECT_EQ(Order({Named("a"), Named("b")}, experience), "ab");
    EXPECT_EQ(Order({Named("a", false, 24h * 31), Named("b", false, 24h * 29), Named("c", false), Named("d", false),
                     Named("e", false), Named("f")},
                    experience),
              "fbcd");
}

}  // namespace
}  // namespace Vexo::Host
