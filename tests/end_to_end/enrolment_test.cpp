// Tests devices that are enrolled while their daemons run. Also tests a damaged enrolment that is repaired while the
// daemon runs.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

namespace fs = std::filesystem;

size_t CountOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(EnrolmentTest, RunningDaemonsStartAfterEnrolment)
{
    World world;
    Device& laptop = world.AddUnenrolled("laptop");
    Device& phone = world.AddUnenrolled("phone");
    for (Device* device : {&laptop, &phone}) {
        device->Start();
        EXPECT_EQ(device->Status("account") + device->Status("link.listen"), "");
        EXPECT_EQ(CountOf(device->Log(), "Join one: distnetctl account join"), 1U) << device->Log();
        EXPECT_NE(device->Ctl({"doctor"}).output.find("1 problem\n"), std::string::npos);
    }
    // The laptop loads the service before its daemon has registered the abilities that use the link.
    const auto client = laptop.Connect();
    uint32_t state = 0;
    ASSERT_TRUE(client->StartService(state).Succeeded());
    fs::rename(phone.Identity(), phone.StateDir() / "old");  // so the phone gets a new key
    world.Enrol(laptop);
    world.Enrol(phone);
    ASSERT_TRUE(Eventually([&] { return World::Found(laptop, phone); })) << laptop.Log() << phone.Log();
    for (Device* device : {&laptop, &phone}) {
        EXPECT_EQ(device->Status("account"), "home");
        EXPECT_EQ(device->Status("device.network_id"), device->NetworkId());
        const std::string line = "enrolled in account \"home\"; listening on " + device->Socket() + "; link on " +
                                 device->Status("link.listen") + "\n";
        EXPECT_TRUE(Eventually([&] { return CountOf(device->Log(), line) == 1; })) << device->Log();
    }
    EXPECT_EQ(laptop.Ask(phone.NetworkId()), 0) << laptop.Log() << phone.Log();
    EXPECT_EQ(laptop.Stop() + phone.Stop(), 0);
}

TEST(EnrolmentTest, DamagedEnrolmentIsReportedAndUsedOnceRepaired)
{
    World world;
    world.Add("laptop");
    Device& phone = world.Add("phone");
    const fs::path certificate = phone.Identity() / "device.crt";
    const fs::path linkKey = phone.Identity() / "link.key";
    const fs::path copy = world.Path() / "device.crt";
    fs::copy_file(certificate, copy);
    const struct {
        const char* said;
        std::function<void()> damage;
        std::function<void()> mend;
    } rows[] = {
        {"device.crt: not one certificate", [&] { fs::resize_file(certificate, 100); },
         [&] { fs::copy_file(copy, certificate, fs::copy_options::overwrite_existing); }},
        {"other users can read this key", [&] { chmod(linkKey.c_str(), 0644); }, [&] { chmod(linkKey.c_str(), 0600); }},
        {"this device was enrolled by version 0.1",
         [&] {
             fs::remove(linkKey);
             fs::remove(phone.Identity() / "account.state");
         },
         [&] { world.Enrol(phone); }},
    };
    for (const auto& row : rows) {
        row.damage();
        phone.Start();
        fs::create_directory(phone.Identity() / "other");  // a change that repairs nothing
        EXPECT_EQ(phone.Status("account"), "");
        row.mend();
        EXPECT_TRUE(Eventually([&] { return phone.Status("account") == "home"; })) << phone.Log();
        EXPECT_EQ(CountOf(phone.Log(), row.said), 1U) << phone.Log();
        EXPECT_EQ(phone.Stop(), 0);
        fs::remove(phone.Identity() / "other");
        // Now stop the daemon as soon as the link is up. The daemon may then still be registering the abilities that
        // use the link. The daemon must nevertheless withdraw its announcement.
        row.damage();
        phone.Start();
        row.mend();
        EXPECT_TRUE(Eventually([&] { return !phone.Status("link.listen").empty(); })) << phone.Log();
        EXPECT_EQ(phone.Stop(), 0);
        EXPECT_TRUE(fs::is_empty(world.Path() / "link")) << row.said << ": still announced";
    }
}

}  // namespace
}  // namespace Vexo::EndToEnd
