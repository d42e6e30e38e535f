#include "platform/softbus/discovery/known_devices.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/base/files.h"
#include "tests/support/eventually.h"
#include "tests/support/log_capture.h"
#include "tests/support/manual_timers.h"
#include "tests/support/temp_folder.h"

namespace Vexo::SoftBus {
namespace {

std::string IdOf(size_t number)
{
    const std::string digits = std::to_string(number);
    return std::string(64 - digits.size(), '0') + digits;
}

// A device type that this version does not know.
constexpr uint16_t TYPE = 65535;
constexpr const char* NAME = "\"phone\\ \x1b[2J \u2028";

class KnownDevicesTest : public testing::Test {
protected:
    void Meet(KnownDevices& devices, size_t number, size_t addresses = 1)
    {
        Hello hello{TYPE, IdOf(number), NAME, {}};
        for (size_t i = 0; i < addresses; ++i) {
            hello.addresses.push_back({"tcp", "192.0.2.7:" + std::to_string(i + 1)});
        }
        devices.AddOrUpdate(IdOf(number), hello, "tcp");
    }
    std::string Text() const { return ReadWholeFile(file, 1024 * 1024).value(); }

    const Vexo::Tests::TempFolder folder;
    const Vexo::Tests::LogCapture log;
    const std::filesystem::path file = folder.Path() / "known-devices.json";
    const std::filesystem::path aside = folder.Path() / "known-devices.json.unusable";
    const std::string account = std::string(64, 'a');
};

TEST_F(KnownDevicesTest, UnusableFileIsSetAsideAndOtherAccountsFileIsDropped)
{
    KnownDevices first;
    first.UseFile(file, account);
    Meet(first, 1);
    first.Flush();
    const std::string good = Text();
    const struct {
        std::string from, to;
        const char* fault;
        bool isSetAside;
    } cases[] = {
        {"\n}", "", "ends too early", true},
        {"\"version\":\t1", "\"version\":\t2,\"later\":0", "newer version of this program", true},
        {IdOf(1), "../../phone", "no such id", true},
        {account, std::string(64, 'b'), "another account", false},
    };
    for (const auto& c : cases) {
        std::string text = good;
        ASSERT_NE(text.rfind(c.from), std::string::npos) << c.from;
        std::ofstream(file) << text.replace(text.rfind(c.from), c.from.size(), c.to);
        KnownDevices devices;
        devices.UseFile(file, account);
        devices.Flush();
        EXPECT_TRUE(devices.List().empty()) << c.fault;
        EXPECT_EQ(log.Count(c.fault), 1u) << log.Text();
        if (c.isSetAside) {
            EXPECT_FALSE(std::filesystem::exists(file)) << c.fault;
            EXPECT_EQ(ReadWholeFile(aside, text.size()).value(), text);
        } else {
            EXPECT_EQ(Text().find(IdOf(1)), std::string::npos) << "dropped";
        }
        Meet(devices, 2);
        const auto isSaved = [&] { return ReadWholeFile(file, 1024 * 1024).value_or("").find(IdOf(2)) != text.npos; };
        EXPECT_TRUE(Vexo::Tests::Eventually(isSaved)) << "without Flush, after: " << c.fault;
    }
}

TEST_F(KnownDevicesTest, FileIsPrivateAndKeepsMostRecentDevices)
{
    Vexo::Tests::ManualTimers clock;
    KnownDevices before(clock);
    before.UseFile(file, account);
    for (size_t i = 0; i <= MAX_KNOWN_DEVICES; ++i) {
        Meet(before, i, MAX_KNOWN_ADDRESSES + 1);
        EXPECT_TRUE(before.HadRecentContact(IdOf(i)));
        clock.Advance(CONTACT_LIFE);
        EXPECT_FALSE(before.HadRecentContact(IdOf(i)));
        before.RecordContact(IdOf(0), {});  // keeps device 0 from becoming the oldest
    }
    before.AddOrUpdate(IdOf(2), {TYPE, IdOf(2), NAME, {{"tcp", "192.0.2.7:3"}}}, "tcp");
    before.MarkAway(IdOf(2), {});
    EXPECT_FALSE(before.HadRecentContact(IdOf(2)));
    before.Flush();
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
    KnownDevices devices;
    devices.UseFile(file, account);
    ASSERT_EQ(devices.List().size(), MAX_KNOWN_DEVICES) << log.Text();
    EXPECT_EQ(devices.List()[0].deviceName, NAME);
    EXPECT_EQ(devices.List()[0].deviceTypeId, TYPE);
    EXPECT_TRUE(devices.IsKnown(IdOf(0)));
    EXPECT_FALSE(devices.List()[0].online) << "in this run";
    EXPECT_FALSE(devices.IsKnown(IdOf(1)));
    const auto addresses = devices.Addresses(IdOf(2));
    ASSERT_EQ(addresses.size(), MAX_KNOWN_ADDRESSES);
    EXPECT_EQ(addresses[0].address, "192.0.2.7:3") << "the last good one";
    EXPECT_EQ(addresses[1].address, "192.0.2.7:1");
}

TEST_F(KnownDevicesTest, FailedWritesLogOneLineAndKeepDevices)
{
    KnownDevices devices;
    devices.UseFile(folder.Path() / "missing" / "known-devices.json", account);
    for (size_t i = 0; i < 3; ++i) {
        Meet(devices, i);
        devices.Flush();
    }
    EXPECT_EQ(log.Count("unknown after a restart"), 1u) << log.Text();
    EXPECT_EQ(devices.List().size(), 3u);
}

}  // namespace
}  // namespace Vexo::SoftBus
