#include "platform/base/json_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>

namespace Vexo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct Station {
    std::string name;
    bool isOpen = false;
    bool operator==(const Station&) const = default;
};

struct Radio {
    std::chrono::milliseconds wait{5};
    bool isOn = true;
    std::array<bool, 2> locked{};
    std::string key;
    std::vector<std::string> names{"a", "b"};
    std::vector<Station> stations;
    bool operator==(const Radio&) const = default;
};

JsonKind<std::string> Name()
{
    return TextKind("a text that is not empty", [](const std::string& text) { return text.empty() ? "is empty" : ""; });
}

const JsonKeys<Radio>& RadioKeys()
{
    static const JsonKeys<Station> station(
        {{"name", Name(), &Station::name, Required()}, {"open", FlagKind(), &Station::isOpen}},
        [](const Station& made) { return made.isOpen && made.name == "home" ? "home must not be open" : ""; });
    static const JsonKind<std::string> key =
        TextKind("8 bytes", [](const std::string& text) { return text.size() == 8 ? "" : "is too short"; });
    static const JsonKeys<Radio> keys({
        {"timing.wait_ms", WholeNumberKind<std::chrono::milliseconds>(0, 60, "0: none"), &Radio::wait, Required()},
        {"timing.on", NamedKind<bool>({{"off", false}, {"on", true}}), &Radio::isOn, OmittedByDefault()},
        {"slots.0.locked", FlagKind(), [](Radio& radio) -> bool& { return radio.locked[0]; }},
        {"slots.1.locked", FlagKind(), [](Radio& radio) -> bool& { return radio.locked[1]; }},
        {"link.key", Secret(key), &Radio::key},
        {"names", ListKind(Name(), "a list of names"), &Radio::names},
        {"stations", ListKind(station, "a list of stations"), &Radio::stations},
    });
    return keys;
}

std::vector<std::string> FaultsOf(const std::string& members)
{
    Radio radio;
    const std::string timing = members.starts_with(R"("timing": )") ? "" : R"("timing": {"wait_ms": 1}, )";
    return RadioKeys().Read("{" + timing + members + "}", "f", radio);
}

TEST(JsonKeys, FaultNamesFileKeyValueAndAllowedValues)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"("timing": {"wait_ms": 61})", "timing.wait_ms: 61 is out of range (0 to 60; 0: none)"},
        {R"("timing": {"wait_ms": -1})", "timing.wait_ms: -1 is out of range (0 to 60; 0: none)"},
        {R"("timing": {"wait_ms": 1e400})", "timing.wait_ms: inf is out of range (0 to 60; 0: none)"},
        {R"("timing": {"wait_ms": 0.5})", "timing.wait_ms: 0.5 is not a whole number (0 to 60; 0: none)"},
        {R"("timing": {"wait_ms": "6"})", "timing.wait_ms: \"6\" is not a number (0 to 60; 0: none)"},
        {R"("timing": {"on": true, "wait_ms": 1})", R"(timing.on: true is not a text ("off" or "on"))"},
        {R"("timing": {"on": "0123456789012345678901234567890123456€789", "wait_ms": 1})",
         R"(timing.on: "0123456789012345678901234567890123456… is none of its values ("off" or "on"))"},
        {R"("timing": {})", "timing.wait_ms: missing (0 to 60; 0: none)"},
        {R"("timing": {"wait_ms": 1}, "timing": {"wait_ms": 2})", "timing: given twice (once)"},
        {R"("link": {"kye": "example-key"})", R"(link.kye: unknown key (did you mean "link.key"?))"},
        {R"("link": {"colour": 1})", R"(link.colour: unknown key (here: "key"))"},
        {R"("z": {"z": 1})", R"(z: unknown key (here: "timing", "slots", "link", "names", "stations"))"},
        {R"("link.key": "example-key")", R"("link.key": unknown key (a dotted key is a member of a member))"},
        {R"("a\nb": 1)", R"("a\nb": unknown key (here: "timing", "slots", "link", "names", "stations"))"},
        {R"("slots": {})", R"(slots: an object is not a list (a list with "0", "1"))"},
        {R"("slots": [3])", R"(slots.0: 3 is not an object (an object with "locked"))"},
        {R"("slots": [{}, {}, {}])", R"(slots.2: unknown key (did you mean "slots.0"?))"},
        {R"("slots": [{}, {"locked": null}])", R"(slots.1.locked: null is not allowed (true or false))"},
        {R"("names": "a")", R"(names: "a" is not a list (a list of names))"},
        {R"("names": ["a", ["b"]])", R"(names.1: a list is not a text (a text that is not empty))"},
        {R"("names": [""])", R"(names.0: "" is empty (a text that is not empty))"},
        {R"("stations": [{"name": "a"}, {"open": true}])", "stations.1.name: missing (a text that is not empty)"},
        {R"("stations": [{"open": true, "name": "home"}])", "stations.0: home must not be open"},
        // A fault must not show the value of a key that may be secret.
        {R"("link": {"key": "example"})", "link.key: the value is too short (8 bytes)"},
        {R"("link": {"key": 4711})", "link.key: the value is not a text (8 bytes)"},
        {R"("link": "example")", "link: the value is not an object (an object with \"key\")"},
    };
    for (const auto& [json, fault] : cases) {
        EXPECT_THAT(FaultsOf(json), ElementsAre(std::string("f: ") + fault)) << json;
    }
}

TEST(JsonKeys, CollectsFaultsInFileOrderThenMissingKeys)
{
    Radio radio;
    EXPECT_THAT(RadioKeys().Read(R"({"names": [1, ""], "colour": {}})", "f", radio),
                ElementsAre(HasSubstr("names.0: 1"), HasSubstr("names.1: \"\""), HasSubstr("colour"),
                            HasSubstr("timing.wait_ms: missing")));
}

TEST(JsonKeys, FaultNamesPositionOfJsonError)
{
    const std::pair<std::string, const char*> cases[] = {
        {"{\n  \"a\": ?}", ":2:8: not JSON from here on"},
        {"{} x", ":1:4: not JSON from here on"},
        {std::string("{}\0", 3), ":1:3: not JSON from here on"},
        {std::string("{\"names\": [\"a\0b\"]}", 19), ":1:14: not JSON from here on"},
        {"{\"names\": [\"\\\\u0000\",\n \"\\u0000\"]}", ":2:3: a text holds \\u0000"},
        {"{\"names\": [\"\xE2\x82\xAC\",\n \"caf\xE9\"]}", ":2:6: not UTF-8 from here on"},
        {"", ":1:1: the JSON ends too early"},
        {"{\n  \"a\": {\n", ":2:9: the JSON ends too early"},
        {"{\"a\": \"b\n", ":1:9: the JSON ends too early"},
        {"[1]", ": a list is not an object"},
        {"\"a\"", ": the value is not an object"},  // The fault shows no value, because this object has a secret key.
    };
    for (const auto& [text, fault] : cases) {
        EXPECT_EQ(RadioKeys().Parse(text, "f").error().message, std::string("f") + fault + " (one JSON object)");
    }
    const auto list = ListKind(RadioKeys(), "a list of radios");
    EXPECT_EQ(list.Parse("[", "f").error().message, "f:1:2: the JSON ends too early (one JSON list)");
    EXPECT_THAT(list.Parse("[{}]", "f").error().message, HasSubstr("f: 0.timing.wait_ms: missing"));
}

TEST(JsonKeys, KeyIsSetAndShownAsTyped)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"timing.wait_ms", "12", ""},
        {"timing.wait_ms", "12 ms", "timing.wait_ms: \"12 ms\" is not a number (0 to 60; 0: none)"},
        {"timing.on", "off", ""},
        {"timing.on", "12", "timing.on: \"12\" is none of its values (\"off\" or \"on\")"},
        {"slots.1.locked", "true", ""},
        {"link.key", "12345678", ""},
        {"link.key", "example", "link.key: the value is too short (8 bytes)"},
        {"timing.no", "off", "timing.no: unknown key (did you mean \"timing.on\"?)"},
        {"slots.9.lights.left", "1", "slots.9.lights.left: unknown key (here: \"0\", \"1\")"},
        {"slots", "[]", "slots: no key by itself (below it: \"0\", \"1\")"},
    };
    for (const auto& [name, typed, fault] : cases) {
        Radio radio;
        const Result<void> set = RadioKeys().SetTyped(radio, name, typed);
        ASSERT_EQ(set ? "" : set.error().message, fault) << name << "=" << typed;
        EXPECT_EQ(radio == Radio{}, !set) << name << "=" << typed;
        for (const JsonKey& key : RadioKeys().Keys()) {
            EXPECT_TRUE(!set || key.name != name || RadioKeys().Typed(key, radio) == typed) << name;
        }
    }
    Radio radio;
    EXPECT_THAT(RadioKeys().SetTyped(radio, "link.key", std::string_view("example\0", 8)).error().message,
                HasSubstr("link.key: the value holds a NUL byte"));
    EXPECT_THAT(RadioKeys().SetTyped(radio, "link.key", "exampl\xC3\xA9\xFF").error().message,
                HasSubstr("link.key: the value is not UTF-8"));
}

}  // namespace
}  // namespace Vexo
