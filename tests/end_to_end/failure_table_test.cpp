// The failure table: whatever goes wrong between devices, with what the caller gets, which events are written, which
// lines the logs hold, and that the next request on the same daemons succeeds. One row is one case.

#include <fnmatch.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <sstream>
#include <thread>

#include "platform/ability/ability_ids.h"
#include "platform/ipc/ipc_client.h"
#include "tests/end_to_end/hand_made_peer.h"
#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

constexpr int32_t ERR_PERMISSION = 201;
constexpr int32_t ERR_GENERAL = 2200003;
constexpr int32_t ERR_NO_DEVICE = 1004500001;
constexpr int32_t ERR_COLLABORATION = 1004500002;
constexpr int32_t ERR_LINK = 1004500003;
constexpr int32_t ERR_READ_DATA = 1004500103;
constexpr int32_t ERR_WRITE_REPLY = 1004500105;
constexpr int32_t ERR_DESCRIPTOR = 1004500108;
constexpr const char16_t* DESCRIPTOR = u"Vexo.NetManagerStandard.IDistNetService";
constexpr uint32_t START_NETWORK = 2;
constexpr uint32_t REMOTE_INFO = 1001;
constexpr size_t LARGEST_SENT_JSON = 46075;
constexpr const char* HAND_MADE_KEY = "not-a-real-key";
const std::string REQUEST("\3\2\0", 3);

using Lacks = HandMadePeer::Lacks;
using Lines = std::vector<std::string>;

struct Stage {
    World world;
    Device& laptop{world.Add("laptop")};
    Device& phone{world.Add("phone")};
    std::unique_ptr<HandMadePeer> tablet;
    std::string peer = phone.NetworkId();  // whom the laptop asks

    void BringTablet(Lacks lacks)
    {
        tablet = std::make_unique<HandMadePeer>(world, world.Add("tablet"), lacks);
        world.KeepSecret(HAND_MADE_KEY);
        for (const Device* device : {&laptop, &phone}) {
            ASSERT_TRUE(
                Eventually([&] { return device->Sees(tablet->NetworkId()) && tablet->Sees(device->NetworkId()); }));
        }
    }
};

// ---- What is done; each returns the code that the caller got

using Act = std::function<int32_t(Stage&)>;

int32_t Start(Stage& stage)
{
    return stage.laptop.Ask(stage.peer);
}

Act StartWith(std::string networkId)
{
    return [networkId](Stage& stage) { return stage.laptop.Ask(networkId); };
}

// The laptop asks a tablet that answers with the frame.
Act TabletAnswers(std::string frame, Lacks lacks = Lacks::NOTHING)
{
    return [frame, lacks](Stage& stage) {
        stage.BringTablet(lacks);
        stage.tablet->AnswerWith(frame);
        stage.peer = stage.tablet->NetworkId();
        return Start(stage);
    };
}

// A tablet asks the phone, whose service the laptop has woken.
Act TabletSends(std::vector<std::string> frames, bool isAnswered)
{
    return [frames, isAnswered](Stage& stage) {
        stage.BringTablet(Lacks::NOTHING);
        const int32_t code = Start(stage);
        const auto patience = isAnswered ? PATIENCE : std::chrono::milliseconds(0);
        const std::string reply = stage.tablet->Ask(stage.phone.NetworkId(), frames, patience);
        EXPECT_EQ(reply.rfind("\4", 0) == 0, isAnswered) << stage.phone.Log();
        return code;
    };
}

// A process is killed or frozen: before the request, or once the phone has begun to open its hotspot.
Act StartWhile(const char* device, int signal, bool isServing)
{
    return [=](Stage& stage) {
        const auto strike = [&] {
            signal == SIGKILL ? stage.world[device].Kill() : stage.world[device].Daemon().Signal(signal);
        };
        if (!isServing) {
            strike();
            return Start(stage);
        }
        int32_t code = 0;
        std::thread request([&] { code = Start(stage); });
        EXPECT_TRUE(
            Eventually([&] { return stage.phone.Log().find("HandleMessageStartHotSpot start") != std::string::npos; }));
        strike();
        request.join();
        return code;
    };
}

int32_t StartFromStranger(Stage& stage)
{
    Device& stranger = stage.world.AddStranger("stranger");
    stranger.Start();
    return stranger.Ask(stage.phone.NetworkId());
}

Act StartWithProductFiles(const char* device, const char* scenario, uintmax_t size = 0)
{
    return [=](Stage& stage) {
        const std::filesystem::path file = stage.laptop.WriteProductFile("device.json", device);
        if (size > 0) {
            std::filesystem::resize_file(file, size);
        }
        if (scenario != nullptr) {
            stage.laptop.WriteProductFile("scenario.json", scenario);
        }
        return Start(stage);
    };
}

int32_t TurnScreenOff(Stage& stage)
{
    const int32_t code = Start(stage);
    EXPECT_TRUE(Eventually([&] { return stage.laptop.Log().find("register events[1792]") != std::string::npos; }));
    stage.laptop.Set({"screen=off"});
    return code;
}

Act Query(const char* item, const char* value)
{
    return [=](Stage& stage) {
        std::string json;
        const int32_t code = stage.laptop.Connect()->GetRemoteDeviceInfo({item}, json).code;
        EXPECT_NE(json.find(std::string("\"value\":\t") + value), std::string::npos) << json;
        return code;
    };
}

int32_t ListDevicesWithoutPhone(Stage& stage)
{
    stage.phone.Kill();
    EXPECT_TRUE(Eventually([&] { return !stage.laptop.Sees(stage.peer); }));
    std::vector<Client::Device> devices;
    return stage.laptop.Connect()->GetAvailableDeviceList(devices).code;
}

// One datagram: the int32 of the reply where it has one, else the status.
Act Raw(uint32_t request, std::u16string token, std::vector<int32_t> numbers, std::vector<std::string> items = {})
{
    return [=](Stage& stage) {
        MessageParcel data;
        MessageParcel reply;
        data.WriteInterfaceToken(token);
        for (const int32_t number : numbers) {
            data.WriteInt32(number);
        }
        if (!items.empty()) {
            data.WriteStringVector(items);
        }
        int32_t code = Ipc::IpcConnection::Connect(stage.laptop.Socket())
                           .Value()
                           ->Transact(COMM_DISTRIBUTED_NET_ABILITY_ID, request, data, reply, PATIENCE);
        reply.ReadInt32(code);
        return code;
    };
}

// ---- What the events say: patterns of fnmatch(3), @ for the anonymised id of the peer

std::string Event(const char* domain, const char* name, int type, const std::string& parameters)
{
    return std::string(R"({"time":"*Z","domain":")") + domain + R"(","name":")" + name + R"(","type":)" +
           std::to_string(type) + R"(,"params":{)" + parameters + "}*}";
}

const std::string ASKED = Event("NETMANAGER_UE", "NET_START_DIST_NETWORK_BEHAVIOR", 4, R"("DEVICE_ID":"@")");

Lines Succeeds()
{
    return {ASKED, Event("NETMANAGER_UE", "NET_START_DIST_NETWORK_SUCCESS", 4, R"("DEVICE_ID":"@")")};
}

Lines Fails(int type, const char* message, const char* session = "[1-9]*")
{
    return {ASKED, Event("NETMANAGER_UE", "NET_START_DIST_NETWORK_FAIL", 4,
                         std::string(R"("DEVICE_ID":"@","SESSION_ID":)") + session + R"(,"ERROR_TYPE":)" +
                             std::to_string(type) + R"(,"ERROR_MSG":"AP connect fail, )" + message + "\"")};
}

Lines Answers(int type = 0, const char* message = "")
{
    Lines events{Event("NETMANAGER", "NET_REMOTE_DEVICE_INFO_BEHAVIOR", 4, "")};
    if (type != 0) {
        events.push_back(Event("NETMANAGER", "NET_REMOTE_DEVICE_INFO_FAULT", 1,
                               R"("ERROR_TYPE":)" + std::to_string(type) + R"(,"ERROR_MSG":")" + message + "\""));
    }
    return events;
}

const Lines NOT_REQUESTED = Fails(-96, "request error");
const Lines NOT_SAVED = Fails(-97, "save wlan error");

// ---- What the logs say: device, level and text. Every error line is named, in order; of the others only some.

Lines EndsWith(Lines lines, const Lines& more)
{
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

Lines Unsent(const Lines& lines)
{
    return EndsWith(lines, {"laptop E SendStartHotspotMessage error", "laptop E SoftBusStartDisNet error"});
}

Lines Silent(const Lines& lines = {})
{
    return Unsent(EndsWith(lines, {"laptop E SendStartHotspotMessage wait over time"}));
}

Lines Refused(const std::string& parseError, const std::string& code)
{
    return Unsent({"laptop E " + parseError, "laptop E ParseStartHotspotResponseMessage error: " + code});
}

Lines PeerFailed(const std::string& error)
{
    return EndsWith({"phone E " + error}, Refused("info\\[res] not success", "-97"));
}

const Lines NO_CONFIGURATION{"laptop E Did't define device in json.", "laptop E Parse device config failed.",
                             "laptop E Did't define scenario in json.", "laptop E Parse scenario config failed."};
const Lines UNREADABLE{"laptop E Cannot read json file to string.", "laptop E Load device config failed."};

// ---- The table

struct Row {
    const char* name;
    Act act;
    int32_t code;
    Lines events;  // the laptop's, all of them
    Lines log;
    std::vector<std::pair<const char*, const char*>> faults = {};  // simulated device, KEY=VALUE from its start
    const char* policy = "";                                       // the laptop's
};

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.name;
}

class FailureTest : public testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        for (const auto& [device, assignment] : GetParam().faults) {
            stage_.world[device].Set({assignment});
        }
        const std::string policy = GetParam().policy;
        if (!policy.empty()) {
            stage_.world.SetPolicy(policy);
        }
        stage_.laptop.Start();
        stage_.world.SetPolicy(NATIVE_POLICY);
        stage_.phone.Start();
        ASSERT_TRUE(Eventually([&] { return HaveMet(); })) << stage_.laptop.Log() << stage_.phone.Log();
    }
    bool IsRefused() const { return *GetParam().policy != '\0'; }
    bool HaveMet()
    {
        return stage_.phone.Sees(stage_.laptop.NetworkId()) &&
               (IsRefused() || stage_.laptop.Sees(stage_.phone.NetworkId()));
    }

    void ExpectEvents()
    {
        Lines patterns = GetParam().events;
        for (std::string& pattern : patterns) {
            if (const size_t at = pattern.find('@'); at != std::string::npos) {
                pattern.replace(at, 1,
                                stage_.peer.substr(0, 5) + "\\*\\*" + stage_.peer.substr(stage_.peer.size() - 5));
            }
        }
        std::istringstream events(stage_.laptop.Events());
        std::string line;
        for (const std::string& pattern : patterns) {
            EXPECT_TRUE(std::getline(events, line)) << pattern;
            EXPECT_EQ(fnmatch(pattern.c_str(), line.c_str(), 0), 0) << line << "\n" << pattern;
        }
        EXPECT_FALSE(std::getline(events, line)) << line;
        EXPECT_EQ(stage_.phone.Events(), "");
    }

    // What the log of the device lacks, or has too many of.
    std::string Difference(const std::string& device)
    {
        Lines errors;
        Lines others;
        for (const std::string& entry : GetParam().log) {
            if (entry.starts_with(device + " ")) {
                const std::string line = entry.substr(device.size() + 1);
                (line[0] == 'E' ? errors : others)
                    .push_back("* " + line.substr(0, 2) + "DistributedNet: " + line.substr(2));
            }
        }
        const auto matches = [](const std::string& pattern, const std::string& line) {
            return fnmatch(pattern.c_str(), line.c_str(), 0) == 0;
        };
        // A session that the other side opened, and a device without product files: nothing is wrong.
        const Lines usual{"* SetPending: sessionId=*", "* Json file path error.", "* Load device config failed."};
        std::istringstream log(stage_.world[device].Log());
        auto next = errors.begin();
        for (std::string line; std::getline(log, line);) {
            std::erase_if(others, [&](const std::string& pattern) { return matches(pattern, line); });
            if (next != errors.end() && matches(*next, line)) {
                ++next;
            } else if (matches("* E DistributedNet:*", line) &&
                       std::none_of(usual.begin(), usual.end(),
                                    [&](const auto& text) { return matches(text, line); })) {
                return "unexpected: " + line;
            }
        }
        return next != errors.end() ? "missing: " + *next : !others.empty() ? "missing: " + others.front() : "";
    }

    void Mend()
    {
        for (Device* device : {&stage_.laptop, &stage_.phone}) {
            device->Runs() ? device->Daemon().Signal(SIGCONT) : device->Start();
        }
        for (const auto& [device, assignment] : GetParam().faults) {
            const std::string text = assignment;
            const size_t equals = text.find('=');
            const std::string key = text.substr(0, equals);
            const std::map<std::string, std::string> opposite{
                {"true", "false"}, {"false", "true"}, {"off", "on"}, {"locked", "loaded"}};
            const auto found = opposite.find(text.substr(equals + 1));
            stage_.world[device].Set({key + "=" + (found == opposite.end() ? "0" : found->second)});
            const Device& mended = stage_.world[device];
            ASSERT_TRUE(Eventually([&] { return mended.Log().find("SimulatedDevice: " + key) != std::string::npos; }));
        }
        ASSERT_TRUE(Eventually([&] { return HaveMet(); })) << stage_.laptop.Log() << stage_.phone.Log();
    }

    Stage stage_;
};

TEST_P(FailureTest, IsReportedAndTheNextRequestSucceeds)
{
    const Row& row = GetParam();
    EXPECT_EQ(row.act(stage_), row.code);
    ExpectEvents();
    for (const char* device : {"laptop", "phone"}) {
        EXPECT_TRUE(Eventually([&] { return Difference(device).empty(); })) << Difference(device);
    }
    ASSERT_NO_FATAL_FAILURE(Mend());
    Device& next = IsRefused() ? stage_.phone : stage_.laptop;
    EXPECT_EQ(next.Ask((IsRefused() ? stage_.laptop : stage_.phone).NetworkId()), 0);
    EXPECT_TRUE(Eventually([&] { return next.Status("wifi.state") == "connected"; }));
    if (HasFailure()) {
        ADD_FAILURE() << "laptop:\n" << stage_.laptop.Log() << "phone:\n" << stage_.phone.Log();
    }
}

// A success answer, padded with spaces to the size.
std::string Answer(size_t size = 0)
{
    std::string json =
        R"({"RES":0,"SSID":"hand-made","PRESHARED_KEY":")" + std::string(HAND_MADE_KEY) + R"(","SECURITY_TYPE":4})";
    json.resize(std::max(size, json.size()), ' ');
    return json;
}

constexpr const char* NO_ANSWER = "faults.hotspot.enable.no_answer=true";
constexpr const char* DELAY = "faults.hotspot.enable.delay_ms=600";

INSTANTIATE_TEST_SUITE_P(
    Peer, FailureTest,
    testing::Values(
        Row{"OfNoAccount", StartWith(std::string(64, 'a')), ERR_GENERAL, {}, {"laptop E IsSameAccount verify failed."}},
        Row{"WithoutName", StartWith(""), ERR_GENERAL, {}, {"laptop E IsSameAccount verify failed."}},
        Row{"AskedByAStranger", StartFromStranger, ERR_GENERAL, {}, {"stranger E IsSameAccount verify failed."}},
        Row{"KilledBefore",
            StartWhile("phone", SIGKILL, false),
            ERR_COLLABORATION,
            Fails(-100, "connect error", "0"),
            {"laptop E StartCollaboration fail, [34]", "laptop E SoftBusStartDisNet error"}},
        Row{"FrozenBefore",
            StartWhile("phone", SIGSTOP, false),
            ERR_COLLABORATION,
            Fails(-100, "connect error", "0"),
            {"laptop E StartCollaboration fail, 5", "laptop E SoftBusStartDisNet error"}},
        Row{"CannotBeWoken",
            TabletAnswers("", Lacks::SERVICE),
            ERR_COLLABORATION,
            Fails(-100, "connect error", "0"),
            {"laptop E StartCollaboration fail, 4", "laptop E SoftBusStartDisNet error"}},
        Row{"AcceptsNoSession",
            TabletAnswers("", Lacks::SESSION_SERVER),
            ERR_LINK,
            Fails(-99, "connect error", "0"),
            {"laptop E  wait SessionOpen fail, sessionId = [1-9]*", "laptop E OpenSoftBusSession failed.",
             "laptop E OpenSoftBusSession error, [1-9]*", "laptop E SoftBusStartDisNet error"}},
        Row{"KilledWhileServing",
            StartWhile("phone", SIGKILL, true),
            ERR_LINK,
            NOT_REQUESTED,
            Silent(),
            {{"phone", NO_ANSWER}}},
        Row{"FrozenWhileServing",
            StartWhile("phone", SIGSTOP, true),
            ERR_LINK,
            NOT_REQUESTED,
            Silent(),
            {{"phone", NO_ANSWER}}},
        Row{"KilledRequester",
            StartWhile("laptop", SIGKILL, true),
            -1,
            {ASKED},
            {"phone E SendBytes fail, errorCode:-[1-9]*", "phone E SendStartHotspotResponseMessage error: 1004500123"},
            {{"phone", DELAY}}},
        Row{"HangsUpBeforeTheAnswer",
            TabletSends({REQUEST}, false),
            0,
            Succeeds(),
            {"phone E SendBytes fail, errorCode:-[1-9]*", "phone E SendStartHotspotResponseMessage error: 1004500123"},
            {{"phone", "faults.hotspot.is_active.delay_ms=600"}}}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Frame, FailureTest,
    testing::Values(Row{"Success",
                        TabletAnswers(ResponseFrame(Answer())),
                        0,
                        Succeeds(),
                        {"laptop I ParseStartHotspotResponseMessage len:*"}},
                    Row{"LargestThatIsSent",
                        TabletAnswers(ResponseFrame(Answer(LARGEST_SENT_JSON))),
                        0,
                        Succeeds(),
                        {"laptop I OnBytesReceived, sessionId: [1-9]*, dataLen:46080"}},
                    Row{"LargerThanIsSent",
                        TabletAnswers(ResponseFrame(Answer(LARGEST_SENT_JSON + 1))),
                        0,
                        Succeeds(),
                        {"laptop I OnBytesReceived, sessionId: [1-9]*, dataLen:46081"}},
                    Row{"DeclaredFourGigabytes",
                        TabletAnswers(ResponseFrame(Answer(), 0xFFFFFFFF)),
                        0,
                        Succeeds(),
                        {"laptop I ParseStartHotspotResponseMessage len:*"}},
                    Row{"FailedPeer", TabletAnswers(ResponseFrame(R"({"RES":-97})")), ERR_LINK, NOT_SAVED,
                        Refused("info\\[res] not success", "-97")},
                    Row{"FailedOpening", TabletAnswers(ResponseFrame(R"({"RES":-98})")), ERR_LINK,
                        Fails(-98, "request open hotspot error"), Refused("info\\[res] not success", "-98")},
                    Row{"UnknownFailure", TabletAnswers(ResponseFrame(R"({"RES":7})")), ERR_LINK, NOT_REQUESTED,
                        Refused("info\\[res] not success", "7")},
                    Row{"NotJson", TabletAnswers(ResponseFrame("{\"RES\":")), ERR_LINK, NOT_REQUESTED,
                        Refused("json parse error", "1004500115")},
                    Row{"DeclaredZero", TabletAnswers(ResponseFrame(Answer(), 0)), ERR_LINK, NOT_REQUESTED,
                        Refused("memcpy data fail size:0", "1004500114")},
                    Row{"DeclaredLess", TabletAnswers(ResponseFrame(Answer(), 7)), ERR_LINK, NOT_REQUESTED,
                        Refused("memcpy data fail size:7", "1004500114")},
                    Row{"HeaderCutOff", TabletAnswers(std::string("\4\1\0", 3)), ERR_LINK, NOT_REQUESTED,
                        Refused("len less MESSAGE_TYPE_START_HOTSPOT_RESPONSE_LENGTH", "401")},
                    Row{"TwoBytes", TabletAnswers(std::string("\4\1", 2)), ERR_LINK, NOT_REQUESTED,
                        Silent({"laptop E OnBytesReceived param check failed"})},
                    Row{"UnknownType", TabletAnswers(std::string("\11\2\0", 3)), ERR_LINK, NOT_REQUESTED, Silent()},
                    Row{"RequestOfTwoBytes",
                        TabletSends({REQUEST.substr(0, 2), REQUEST}, true),
                        0,
                        Succeeds(),
                        {"phone E OnBytesReceived param check failed"}},
                    Row{"HelloAndUnknownRequests",
                        TabletSends({std::string("\1\2\0\3", 4), std::string("\2\0\0", 3), std::string("\11\0\0", 3),
                                     REQUEST},
                                    true),
                        0,
                        Succeeds(),
                        {"phone I OnBytesReceived , messageType is 9"}}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Radio, FailureTest,
    testing::Values(
        Row{"PeerQuery",
            Start,
            ERR_LINK,
            NOT_SAVED,
            PeerFailed("IsHotspotActive error: 5"),
            {{"phone", "faults.hotspot.is_active.code=5"}}},
        Row{"PeerEnable",
            Start,
            ERR_LINK,
            NOT_SAVED,
            PeerFailed("Enable hotspot error: 5"),
            {{"phone", "faults.hotspot.enable.code=5"}}},
        Row{"PeerReadConfig",
            Start,
            ERR_LINK,
            NOT_SAVED,
            PeerFailed("Get hotspot config error: 5"),
            {{"phone", "faults.hotspot.get_config.code=5"}}},
        Row{"PeerSwitchedOff",
            Start,
            ERR_LINK,
            NOT_SAVED,
            PeerFailed("Enable hotspot error: [1-9]*"),
            {{"phone", "wifi.enabled=false"}}},
        Row{"PeerWithoutHotspot", Start, ERR_LINK, NOT_REQUESTED, Silent(), {{"phone", "wifi.hotspot_present=false"}}},
        Row{"PeerSilent", Start, ERR_LINK, NOT_REQUESTED, Silent(), {{"phone", NO_ANSWER}}},
        Row{"Add",
            Start,
            ERR_LINK,
            NOT_REQUESTED,
            Unsent({"laptop E Add device config error: 5"}),
            {{"laptop", "faults.wifi.add_config.code=5"}}},
        Row{"Connect",
            Start,
            ERR_LINK,
            NOT_REQUESTED,
            Unsent({"laptop E ConnectToDevice error: 5"}),
            {{"laptop", "faults.wifi.connect.code=5"}}},
        Row{"ConnectSilent",
            Start,
            ERR_LINK,
            NOT_REQUESTED,
            Silent({}),
            {{"laptop", "faults.wifi.connect.delay_ms=4000"}}},
        Row{"WithoutStation", Start, 0, Succeeds(), {}, {{"laptop", "wifi.station_present=false"}}}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Ability, FailureTest,
    testing::Values(Row{"HotspotNameWithoutHotspot",
                        Query("hotspotName", "\"\""),
                        0,
                        Answers(-88, "get hotspot name error"),
                        {"laptop E WifiHotspot wifiHotspotPtr == nullptr!", "laptop E GetHotspotName fail"},
                        {{"laptop", "wifi.hotspot_present=false"}}},
                    Row{"HotspotName",
                        Query("hotspotName", "\"\""),
                        0,
                        Answers(-88, "get hotspot name error"),
                        {"laptop E GetHotspotConfig error: 5", "laptop E GetHotspotName fail"},
                        {{"laptop", "faults.hotspot.get_config.code=5"}}},
                    Row{"BssidWithoutStation",
                        Query("bssid", "\"\""),
                        0,
                        Answers(-89, "get current bssid error"),
                        {"laptop E WifiDevice wifiDevicePtr == nullptr!", "laptop E GetCurrentBssid fail"},
                        {{"laptop", "wifi.station_present=false"}}},
                    Row{"Bssid",
                        Query("bssid", "\"\""),
                        0,
                        Answers(-89, "get current bssid error"),
                        {"laptop E GetDeviceConfigs error: 5", "laptop E GetCurrentBssid fail"},
                        {{"laptop", "faults.wifi.get_configs.code=5"}}},
                    Row{"SimState",
                        Query("supportSmartHotSpot", "false"),
                        0,
                        Answers(),
                        {"laptop E GetSimState 0 error, 5", "laptop E GetSimState 1 error, 5",
                         "laptop I GetSimState SimState not ready, 0, 0"},
                        {{"laptop", "faults.telephony.sim_state.code=5"}}},
                    Row{"SimLocked",
                        Query("supportSmartHotSpot", "false"),
                        0,
                        Answers(),
                        {"laptop I GetSimState SimState not ready, 2, [01]"},
                        {{"laptop", "sims.0.state=locked"}}},
                    Row{"RadioQuery",
                        Query("supportSmartHotSpot", "false"),
                        0,
                        Answers(),
                        {"laptop E IsRadioOn error, 5", "laptop E IsRadioOn error, 5"},
                        {{"laptop", "faults.telephony.radio_state.code=5"}}},
                    Row{"RadioAnswer",
                        Query("supportSmartHotSpot", "false"),
                        0,
                        Answers(),
                        {"laptop E OnGetRadioStateCallback error = 5", "laptop E OnGetRadioStateCallback error = 5"},
                        {{"laptop", "faults.telephony.radio_callback.code=5"}}},
                    Row{"CellularData",
                        Query("supportSmartHotSpot", "false"),
                        0,
                        Answers(),
                        {"laptop E IsCellularDataEnabled error, 5", "laptop I IsCellularDataEnabled false"},
                        {{"laptop", "faults.telephony.cellular_data.code=5"}}},
                    Row{"NoDeviceInSight",
                        ListDevicesWithoutPhone,
                        ERR_NO_DEVICE,
                        {},
                        {"laptop E GetAvailableDeviceListAsync deviceList empty"}}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Caller, FailureTest,
    testing::Values(
        Row{"AnotherUnitInTheToken",
            Raw(0, u"Vexo.NetManagerStandard.IDistNetServicf", {}),
            ERR_DESCRIPTOR,
            {},
            {"laptop E descriptor checked fail"}},
        Row{"OneUnitMoreInTheToken",
            Raw(0, u"Vexo.NetManagerStandard.IDistNetService2", {}),
            ERR_DESCRIPTOR,
            {},
            {"laptop E descriptor checked fail"}},
        Row{"UnknownCode", Raw(5, DESCRIPTOR, {}), IPC_UNKNOWN_REQUEST, {}, {}},
        Row{"ArgumentsCutOff", Raw(START_NETWORK, DESCRIPTOR, {0, 0}), ERR_READ_DATA, {}, {}},
        Row{"ItemsThatCannotFit", Raw(REMOTE_INFO, DESCRIPTOR, {1 << 30}), ERR_READ_DATA, {}, {}},
        Row{"MoreItemsThanAReplyHolds",
            Raw(REMOTE_INFO, DESCRIPTOR, {}, Lines(8000, "bssid")),
            ERR_WRITE_REPLY,
            Answers(),
            {}},
        Row{"NoSystemApplication",
            Raw(START_NETWORK, DESCRIPTOR, {0, 0}),
            ERR_PERMISSION,
            {},
            {"laptop E not system APP!"},
            {},
            R"("token_type": "application", "privilege_level": 2,
               "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"])"},
        Row{"WithoutThePermission",
            Raw(START_NETWORK, DESCRIPTOR, {0, 0}),
            ERR_PERMISSION,
            {},
            {"laptop E permission check failed, permission:vexo.permission.CONNECTIVITY_INTERNAL, callerToken:[0-9]*, "
             "tokenType:0",
             "laptop E permission denied!"},
            {},
            R"("token_type": "application", "privilege_level": 2, "system_app": true)"},
        Row{"OfNormalPrivilege",
            Raw(START_NETWORK, DESCRIPTOR, {0, 0}),
            ERR_PERMISSION,
            {},
            {"laptop E permission check failed, permission:vexo.permission.CONNECTIVITY_INTERNAL, callerToken:[0-9]*, "
             "tokenType:0",
             "laptop E permission denied!"},
            {},
            R"("token_type": "application", "privilege_level": 1, "system_app": true,
                   "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"])"},
        Row{"Shell",
            Raw(START_NETWORK, DESCRIPTOR, {0, 0}),
            ERR_PERMISSION,
            {},
            {"laptop E permission check failed, callerToken:[0-9]*, tokenType:2",
             "laptop E permission check failed, permission:vexo.permission.CONNECTIVITY_INTERNAL, callerToken:[0-9]*, "
             "tokenType:2",
             "laptop E permission denied!"},
            {},
            R"("token_type": "shell", "system_app": true)"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    ProductFile, FailureTest,
    testing::Values(Row{"OfDevicesMissing",
                        Start,
                        0,
                        Succeeds(),
                        {"laptop E Json file path error.", "laptop E Load device config failed."}},
                    Row{"OfScenariosMissing",
                        StartWithProductFiles("{}", nullptr),
                        0,
                        Succeeds(),
                        {"laptop E Json file path error.", "laptop E Load scenario config failed."}},
                    Row{"BothThere", StartWithProductFiles(R"({"device": {}})", R"({"scenario": {"deviceCaps": []}})"),
                        0, Succeeds(), NO_CONFIGURATION},
                    Row{"Empty", StartWithProductFiles("", nullptr), 0, Succeeds(),
                        EndsWith({"laptop E file over maxSize", "laptop E invalid file path."}, UNREADABLE)},
                    Row{"TooLarge", StartWithProductFiles("{}", nullptr, 0x20000001), 0, Succeeds(),
                        EndsWith({"laptop E file over maxSize", "laptop E invalid file path."}, UNREADABLE)},
                    Row{"NotJson",
                        StartWithProductFiles("{\"device\": ?}", nullptr),
                        0,
                        Succeeds(),
                        {"laptop E errorMsg is *", "laptop E Load device config failed."}},
                    Row{"NoneAtScreenOff",
                        TurnScreenOff,
                        0,
                        Succeeds(),
                        {"laptop I OnScreenStateChanged, off", "laptop I Can't find default's config.",
                         "laptop E Get device net feature failed.", "laptop I Get device parameters falied."}}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace Vexo::EndToEnd
