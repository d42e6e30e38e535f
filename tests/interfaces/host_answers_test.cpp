// Tests the text form of the daemon's answers. Parsing a text returns the answer that the text was made from. If a
// member of the text is damaged, the parser refuses the text and names the member.
#include <gtest/gtest.h>

#include "interfaces/host_answers_json.h"

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;

HostStatus Status()
{
    HostStatus status;
    status.version = "1.2.3";
    status.device = {"B\303\274ro", DeviceType::LAPTOP, "ab"};
    status.account = "home";
    status.abilities = {{1120, "Wi-Fi", "linux"}, {1163, "service", "service"}};
    status.wifi = {true, RadioState::BLOCKED, WifiState::FAILED, 7, "caf\\xe9", "", "wrong key", "WRONG_KEY"};
    status.hotspot = {true, std::nullopt};
    status.uptime = 90'061'001ms;
    return status;
}

// A row of a table of damaged answers. part: the text to replace in a good answer. instead: the new text. error: the
// start of the expected error message.
struct Damage {
    const char* part;
    const char* instead;
    const char* error;
};

template <typename Answer>
void ExpectRefused(const Answer& good, const std::vector<Damage>& table)
{
    const std::string text = AnswerText(good);
    ASSERT_TRUE(ParseAnswer<Answer>(text)) << text;
    for (const Damage& row : table) {
        std::string damaged = text;
        const size_t at = damaged.find(row.part);
        ASSERT_NE(at, std::string::npos) << row.part << " in " << text;
        damaged.replace(at, std::string(row.part).size(), row.instead);
        const auto read = ParseAnswer<Answer>(damaged);
        ASSERT_FALSE(read) << damaged;
        EXPECT_TRUE(read.error().message.starts_with(row.error)) << read.error().message << " of " << damaged;
    }
}

TEST(HostAnswersTest, DamagedAnswerIsRefusedWithMemberName)
{
    ExpectRefused(Status(), {{"{", "[", "it is no JSON"},
                             {"90061001}", "90061001", "it is no JSON"},
                             {"version", "versio", "version is missing"},
                             {"\"account\":\"home\"", "\"account\":7", "account is"},
                             {"\"id\":1163", "\"id\":1163.5", "abilities[1].id is"},
                             {"\"id\":1120", "\"id\":1e300", "abilities[0].id is"},
                             {"\"attempt\":7", "\"attempt\":-1", "wifi.attempt is"},
                             {"\"attempt\":7", "\"attempt\":4294967296", "wifi.attempt is"},
                             {"blocked", "broken", "wifi.radio is"},
                             {"\"active\":null", "\"active\":0", "hotspot.active is"},
                             {"\"link\":{\"listen\":null}", "\"link\":[]", "link"}});
    ExpectRefused(DeviceList{{{"phone", DeviceType::PHONE, "ab", "cd", true, {}}}},
                  {{"1970-01-01T00:00:00Z", "1969-12-31T23:59:59Z", "devices[0].last_seen is"},
                   {"1970-01-01T00:00:00Z", "9999-01-01T00:00:00Z", "devices[0].last_seen is"},
                   {"[", "{\"a\":", "it is no JSON"},
                   {"\"devices\":[", "\"devices\":7,\"b\":[", "devices is"}});
    ExpectRefused(EventPage{1, false, {{{}, "D", "N", EventType::FAULT, {{"KEY", 1}}}}},
                  {{"\"cursor\":1", "\"cursor\":1e17", "cursor is"},
                   {"{\"KEY\":1}", "[1]", "events[0].params is"},
                   {"{\"KEY\":1}", "{\"KEY\":true}", "events[0].params.KEY is"},
                   {"{\"KEY\":1}", "{\"KEY\":2147483648}", "events[0].params.KEY is"}});
}

}  // namespace
}  // namespace Vexo::Host
