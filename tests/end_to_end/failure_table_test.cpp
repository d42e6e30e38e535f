// The failure table. Each row makes something go wrong between devices. The row states the code that the caller gets,
// the events that are written and the error lines of the logs. After each row, the next request to the same daemons
// must succeed.

#include <fnmatch.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <thread>

#include "distributed/services/utils/distnet_errors.h"
#include "tests/end_to_end/failure_acts.h"

namespace Vexo::EndToEnd {
namespace {

using namespace NetManagerStandard;

constexpr uint32_t START_NETWORK = 2;
constexpr uint32_t REMOTE_INFO = 1001;
constexpr size_t LARGEST_SENT_JSON = 46075;

// ---- Expected outcomes. Their texts are patterns for fnmatch(3)

struct Outcome {
    int32_t code;
    std::string events;  // all events of the laptop, one per line; @ stands for the anonymised id of the peer
    std::string laptop;  // all error lines of the laptop, with a | after each
    std::string phone = "";
};

std::string Event(const char* domain, const char* name, int type, const std::string& parameters)
{
    return R"({"time":")" + std::string(24, '?') + R"(","domain":")" + domain + R"(","name":")" + name +
           R"(","type":)" + std::to_string(type) + R"(,"params":{)" + parameters + "}}\n";
}

std::string Error(int type, const std::string& message)
{
    return R"("ERROR_TYPE":)" + std::to_string(type) + R"(,"ERROR_MSG":")" + message + "\"";
}

const std::string ASKED = Event("NETMANAGER_UE", "NET_START_DIST_NETWORK_BEHAVIOR", 4, R"("DEVICE_ID":"@")");
const std::string ANSWERED = Event("NETMANAGER", "NET_REMOTE_DEVICE_INFO_BEHAVIOR", 4, "");

Outcome Succeeds(const std::string& laptop = "", const std::string& phone = "")
{
    return {0, ASKED + Event("NETMANAGER_UE", "NET_START_DIST_NETWORK_SUCCESS", 4, R"("DEVICE_ID":"@")"), laptop,
            phone};
}

std::string StartFails(int type, const std::string& message, const char* session = "[1-9]")
{
    return Event(
        "NETMANAGER_UE", "NET_START_DIST_NETWORK_FAIL", 4,
        std::string(R"("DEVICE_ID":"@","SESSION_ID":)") + session + "," + Error(type, "AP connect fail, " + message));
}

Outcome NotReached(int32_t code, int type, const std::string& laptop)
{
    return {code, ASKED + StartFails(type, "connect error", "0"), laptop + "SoftBusStartDisNet error|"};
}

Outcome NotServed(const std::string& laptop, int type = -96, const std::string& message = "request error")
{
    return {DISTNET_ERR_LINK, ASKED + StartFails(type, message),
            laptop + "SendStartHotspotMessage error|SoftBusStartDisNet error|"};
}

// Returns the outcome of a failed start over a collaboration. Such a start writes no event before it fails.
Outcome NotExchanged(int result, const std::string& laptop, const std::string& phone = "")
{
    return {DISTNET_ERR_LINK, StartFails(-96, "request error"),
            laptop + "SendStartHotspotMessage error, " + std::to_string(result) + "|", phone};
}

std::string NotParsed(const std::string& error, int code)
{
    return error + "|ParseStartHotspotResponseMessage error: " + std::to_string(code) + "|";
}

Outcome PeerFails(const std::string& phone)
{
    Outcome outcome = NotServed(NotParsed("info\\[res] not success", -97), -97, "save wlan error");
    outcome.phone = phone;
    return outcome;
}

Outcome Faults(int type, const char* message, const char* laptop)
{
    return {0, ANSWERED + Event("NETMANAGER", "NET_REMOTE_DEVICE_INFO_FAULT", 1, Error(type, message)), laptop};
}

// ---- The test of a row

struct Row {
    const char* name;
    Act act;
    Outcome outcome;
    // `where` determines the meaning of `what`. If `where` names a device, `what` is a setting with which this device
    // starts, such as "screen=off". If `where` is "policy", `what` is the access policy of the laptop. If `where` is
    // "product", `what` is unused, and the laptop uses no shipped file of the device configuration.
    const char* where = "";
    const char* what = "";
};

void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.name;
}

class FailureTest : public testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        if (isRefused_) {
            stage_.world.SetPolicy(row_.what);
        } else if (std::string(row_.where) == "product") {
            stage_.laptop.OmitShippedFiles();
        } else if (*row_.what != '\0') {
            stage_.world[row_.where].Set({row_.what});
        }
        stage_.laptop.Start();
        stage_.world.SetPolicy(NATIVE_POLICY);
        stage_.phone.Start();
        ExpectTheyMeet();
    }
    void ExpectTheyMeet()
    {
        EXPECT_TRUE(Eventually([&] {
            return stage_.phone.Finds(stage_.laptop.NetworkId()) &&
                   (isRefused_ || stage_.laptop.Finds(stage_.phone.NetworkId()));
        }));
    }

    std::string Errors(Device& device)
    {
        std::string errors;
        std::istringstream log(device.Log());
        for (std::string line; std::getline(log, line);) {
            const size_t text = line.find(" E DistributedNet: ");
            const bool hasOwnFiles = &device == &stage_.laptop && std::string(row_.where) == "product";
            const bool isUsual =
                IsUsualError(line) && (!hasOwnFiles || line.find(" SetPending: ") != std::string::npos);
            errors += text == std::string::npos || isUsual ? "" : line.substr(text + 19) + "|";
        }
        return errors;
    }
    static bool Matches(const std::string& pattern, const std::string& text)
    {
        return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
    }

    void Mend()
    {
        for (Device* device : {&stage_.laptop, &stage_.phone}) {
            device->Runs() ? device->Daemon().Signal(SIGCONT) : device->Start();
        }
        const std::string fault = row_.what;
        if (!isRefused_ && !fault.empty()) {
            const std::string key = fault.substr(0, fault.find('='));
            const char* opposite = fault.ends_with("=false") ? "=true" : fault.ends_with("=true") ? "=false" : "=0";
            stage_.world[row_.where].Set({key + opposite});
            EXPECT_TRUE(stage_.LogHas(stage_.world[row_.where], "SimulatedDevice: " + key));
        }
        ExpectTheyMeet();
    }

    const Row& row_ = GetParam();
    const bool isRefused_ = std::string(row_.where) == "policy";
    Stage stage_;
};

TEST_P(FailureTest, FailureIsReportedAndNextRequestSucceeds)
{
    EXPECT_EQ(row_.act(stage_), row_.outcome.code);
    const std::string id = stage_.peer.substr(0, 5) + "\\*\\*" + stage_.peer.substr(stage_.peer.size() - 5);
    const std::string events = std::regex_replace(row_.outcome.events, std::regex("@"), id);
    EXPECT_TRUE(Matches(events, stage_.laptop.Events())) << stage_.laptop.Events() << "is not\n" << events;
    EXPECT_EQ(stage_.phone.Events(), "");
    for (const auto& [device, errors] :
         {std::pair(&stage_.laptop, row_.outcome.laptop), {&stage_.phone, row_.outcome.phone}}) {
        EXPECT_TRUE(Eventually([&, on = device, expected = errors] { return Matches(expected, Errors(*on)); }))
            << device->Log() << "has not just\n"
            << errors;
    }
    Mend();
    const Device& next = isRefused_ ? stage_.phone : stage_.laptop;
    const std::string other = (isRefused_ ? stage_.laptop : stage_.phone).NetworkId();
    EXPECT_EQ(stage_.collaborates ? AskToCollaborate(next, other) : next.Ask(other), 0) << next.Log();
    EXPECT_TRUE(Eventually([&] { return next.Status("wifi.state") == "connected"; })) << next.Log();
}

// ---- The table

constexpr const char* NO_ANSWER = "faults.hotspot.enable.no_answer=true";
constexpr const char* OTHER_ACCOUNT = "IsSameAccount verify failed.|";
constexpr const char* UNSENT = "SendBytes fail, errorCode:-[1-9]|SendStartHotspotResponseMessage error: 1004500123|";
constexpr const char* REFUSED = "info\\[res] not success";
constexpr const char* MAYBE_STOPPED = "*";  // StopCollaboration fails if the peer has stopped the collaboration first
constexpr const char* WRONG_SIZE =
    "file over maxSize|invalid file path.|Cannot read json file to string.|Load device config failed.|";
constexpr const char* NO_PERMISSION =
    "permission check failed, permission:vexo.permission.CONNECTIVITY_INTERNAL, callerToken:[0-9]*, tokenType:0|"
    "permission denied!|";
const Outcome SILENT = NotServed("SendStartHotspotMessage wait over time|");

INSTANTIATE_TEST_SUITE_P(
    Table, FailureTest,
    testing::ValuesIn(std::vector<Row>{
        // The following rows are about peers.
        Row{"PeerOfNoAccount", [](Stage& stage) { return stage.laptop.Ask(std::string(64, 'a')); },
            Outcome{DISTNET_ERR_GENERAL, "", OTHER_ACCOUNT}},
        Row{"Stranger", StartFromStranger, Outcome{DISTNET_ERR_GENERAL, "", ""}},
        Row{"PeerKilled", StartWhile("phone", SIGKILL, false),
            NotReached(DISTNET_ERR_COLLABORATION_START, -100, "StartCollaboration fail, [34]|")},
        Row{"PeerFrozen", StartWhile("phone", SIGSTOP, false),
            NotReached(DISTNET_ERR_COLLABORATION_START, -100, "StartCollaboration fail, 5|")},
        Row{"PeerNotWoken", TabletAnswers("", Lacks::SERVICE),
            NotReached(DISTNET_ERR_COLLABORATION_START, -100, "StartCollaboration fail, 4|")},
        Row{"PeerOpensNoSession", TabletAnswers("", Lacks::SESSION_SERVER),
            NotReached(DISTNET_ERR_LINK, -99,
                       " wait SessionOpen fail, sessionId = [1-9]|OpenSoftBusSession failed.|"
                       "OpenSoftBusSession error, [1-9]|")},
        Row{"PeerKilledWhileServing", StartWhile("phone", SIGKILL, true), SILENT, "phone", NO_ANSWER},
        Row{"PeerFrozenWhileServing", StartWhile("phone", SIGSTOP, true), SILENT, "phone", NO_ANSWER},
        Row{"RequesterKilled", StartWhile("laptop", SIGKILL, true), Outcome{-1, ASKED, "", UNSENT}, "phone",
            "faults.hotspot.enable.delay_ms=600"},
        Row{"RequesterHangsUp", TabletSends("", false), Succeeds("", UNSENT), "phone",
            "faults.hotspot.is_active.delay_ms=300"},
        Row{"NobodyInSight", ListDevicesWithoutPhone,
            Outcome{DISTNET_ERR_NO_DEVICE, "", "GetAvailableDeviceListAsync deviceList empty|"}},
        // The following rows are about frames.
        Row{"AnswerGood", TabletSucceeds(), Succeeds()},
        Row{"AnswerLargest", TabletSucceeds(LARGEST_SENT_JSON), Succeeds()},
        Row{"AnswerLargerThanSent", TabletSucceeds(LARGEST_SENT_JSON + 1), Succeeds()},
        Row{"AnswerDeclaresFourGigabytes", TabletSucceeds(0, 0xFFFFFFFF), Succeeds()},
        Row{"AnswerDeclaresNothing", TabletSucceeds(0, 0), NotServed(NotParsed("memcpy data fail size:0", 1004500114))},
        Row{"AnswerNotSaved", TabletAnswers(ResponseFrame(R"({"RES":-97})")), PeerFails("")},
        Row{"AnswerNotOpened", TabletAnswers(ResponseFrame(R"({"RES":-98})")),
            NotServed(NotParsed(REFUSED, -98), -98, "request open hotspot error")},
        Row{"AnswerUnknownFailure", TabletAnswers(ResponseFrame(R"({"RES":7})")), NotServed(NotParsed(REFUSED, 7))},
        Row{"AnswerNotJson", TabletAnswers(ResponseFrame("{\"RES\":")),
            NotServed(NotParsed("json parse error", 1004500115))},
        Row{"AnswerHeaderCutOff", TabletAnswers(std::string("\4\1\0", 3)),
            NotServed(NotParsed("len less MESSAGE_TYPE_START_HOTSPOT_RESPONSE_LENGTH", 401))},
        Row{"AnswerTwoBytes", TabletAnswers("\4\1"),
            NotServed("OnBytesReceived param check failed|SendStartHotspotMessage wait over time|")},
        Row{"AnswerUnknownType", TabletAnswers("\11\2\1"), SILENT},
        Row{"AnswerIsRequest", TabletAsksInTurn,
            Outcome{DISTNET_ERR_LINK,
                    Event("NETMANAGER", "NET_SHARE_DECIDED", 4, "*") + ASKED +
                        Event("NETMANAGER", "NET_SHARE_REFUSED", 4, "*") + StartFails(-96, "request error"),
                    SILENT.laptop}},
        Row{"RequestTwoBytes", TabletSends("\3\2"), Succeeds("", "OnBytesReceived param check failed|")},
        Row{"RequestHello", TabletSends(std::string("\1\2\0\3", 4)), Succeeds()},
        Row{"RequestUnknownType", TabletSends("\11\2\1"), Succeeds()},
        // The following rows are about radios and telephony.
        Row{"PeerQuery", Start, PeerFails("IsHotspotActive error: 5|"), "phone", "faults.hotspot.is_active.code=5"},
        Row{"PeerEnable", Start, PeerFails("Enable hotspot error: 5|"), "phone", "faults.hotspot.enable.code=5"},
        Row{"PeerConfig", Start, PeerFails("Get hotspot config error: 5|"), "phone",
            "faults.hotspot.get_config.code=5"},
        Row{"PeerWifiOff", Start, PeerFails("Enable hotspot error: [1-9]|"), "phone", "wifi.enabled=false"},
        Row{"PeerWithoutHotspot", Start, SILENT, "phone", "wifi.hotspot_present=false"},
        Row{"PeerSilent", Start, SILENT, "phone", NO_ANSWER},
        Row{"Add", Start, NotServed("Add device config error: 5|"), "laptop", "faults.wifi.add_config.code=5"},
        Row{"Connect", Start, NotServed("ConnectToDevice error: 5|"), "laptop", "faults.wifi.connect.code=5"},
        Row{"ConnectSlow", Start, SILENT, "laptop", "faults.wifi.connect.delay_ms=4000"},
        Row{"WithoutStation", Start, Succeeds(), "laptop", "wifi.station_present=false"},
        Row{"NameWithoutHotspot", Query("hotspotName"),
            Faults(-88, "get hotspot name error", "WifiHotspot wifiHotspotPtr == nullptr!|GetHotspotName fail|"),
            "laptop", "wifi.hotspot_present=false"},
        Row{"Name", Query("hotspotName"),
            Faults(-88, "get hotspot name error", "GetHotspotConfig error: 5|GetHotspotName fail|"), "laptop",
            "faults.hotspot.get_config.code=5"},
        Row{"BssidWithoutStation", Query("bssid"),
            Faults(-89, "get current bssid error", "WifiDevice wifiDevicePtr == nullptr!|GetCurrentBssid fail|"),
            "laptop", "wifi.station_present=false"},
        Row{"Bssid", Query("bssid"),
            Faults(-89, "get current bssid error", "GetDeviceConfigs error: 5|GetCurrentBssid fail|"), "laptop",
            "faults.wifi.get_configs.code=5"},
        Row{"SimState", Query("supportSmartHotSpot"),
            Outcome{0, ANSWERED, "GetSimState 0 error, 5|GetSimState 1 error, 5|"}, "laptop",
            "faults.telephony.sim_state.code=5"},
        Row{"RadioQuery", Query("supportSmartHotSpot"), Outcome{0, ANSWERED, "IsRadioOn error, 5|IsRadioOn error, 5|"},
            "laptop", "faults.telephony.radio_state.code=5"},
        Row{"RadioAnswer", Query("supportSmartHotSpot"),
            Outcome{0, ANSWERED, "OnGetRadioStateCallback error = 5|OnGetRadioStateCallback error = 5|"}, "laptop",
            "faults.telephony.radio_callback.code=5"},
        Row{"CellularData", Query("supportSmartHotSpot"), Outcome{0, ANSWERED, "IsCellularDataEnabled error, 5|"},
            "laptop", "faults.telephony.cellular_data.code=5"},
        // The following rows are about collaborations.
        Row{"CollaborationsBothWays", CollaborateBothWays, Outcome{0, "", ""}},
        Row{"CollaborationWithKilled", Collaborate(true),
            Outcome{DISTNET_ERR_COLLABORATION_START, StartFails(-100, "connect error", "0"),
                    "StartCollaboration fail, [34]|StartCollaboration error, [34]|"}},
        Row{"CollaborationNeverReady", Collaborate(false, true),
            NotExchanged(1004500116, "SendStartHotspotMessage callback wait over time|")},
        Row{"CollaborationWithoutHotspot", Collaborate(),
            NotExchanged(1004500116, "SendStartHotspotMessage wait over time|"), "phone", "wifi.hotspot_present=false"},
        Row{"CollaborationConfig", Collaborate(),
            NotExchanged(5, NotParsed(REFUSED, 5) + MAYBE_STOPPED,
                         std::string("Get hotspot config error: 5|") + MAYBE_STOPPED),
            "phone", "faults.hotspot.get_config.code=5"},
        Row{"CollaborationAdd", Collaborate(), Outcome{0, "", "Add device config error: 5|"}, "laptop",
            "faults.wifi.add_config.code=5"},
        Row{"CollaborationConnect", Collaborate(), Outcome{0, "", "ConnectToDevice error: 5|"}, "laptop",
            "faults.wifi.connect.code=5"},
        Row{"CollaborationNotJson", Collaborate(false, true, ResponseFrame("{\"RES\":")),
            NotExchanged(1004500115, NotParsed("json parse error", 1004500115))},
        Row{"CollaborationMistyped", Collaborate(false, true, ResponseFrame(R"({"SSID":1,"PRESHARED_KEY":null})")),
            Outcome{0, "", "Add device config error: [1-9]|"}},
        Row{"CollaborationTwoBytes", Collaborate(false, true, "\4\1"),
            NotExchanged(1004500116, "onDataReceived param check failed|SendStartHotspotMessage wait over time|")},
        Row{"CollaborationUnknownType", Collaborate(false, true, "\1\2\3"),
            NotExchanged(1004500116, "SendStartHotspotMessage wait over time|")},
        // The following rows are about callers.
        Row{"TokenOfAnother", Raw(0, 0, "Vexo.NetManagerStandard.IDistNetServicf"),
            Outcome{DISTNET_ERR_DESCRIPTOR_MISMATCH, "", "descriptor checked fail|"}},
        Row{"TokenTooLong", Raw(0, 0, "Vexo.NetManagerStandard.IDistNetService2"),
            Outcome{DISTNET_ERR_DESCRIPTOR_MISMATCH, "", "descriptor checked fail|"}},
        Row{"ArgumentsCutOff", Raw(START_NETWORK, 0), Outcome{DISTNET_ERR_READ_DATA, "", ""}},
        Row{"ItemsThatCannotFit", Raw(REMOTE_INFO, 1 << 30), Outcome{DISTNET_ERR_READ_DATA, "", ""}},
        Row{"MoreThanAReplyHolds", Raw(REMOTE_INFO, 0, DESCRIPTOR, 8000),
            Outcome{DISTNET_ERR_WRITE_REPLY, ANSWERED, ""}},
        Row{"NoSystemApplication", Raw(START_NETWORK, 0),
            Outcome{DISTNET_ERR_PERMISSION_DENIED, "", "not system APP!|"}, "policy",
            R"("token_type": "application", "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"])"},
        Row{"NoPermission", Raw(START_NETWORK, 0), Outcome{DISTNET_ERR_PERMISSION_DENIED, "", NO_PERMISSION}, "policy",
            R"("token_type": "application", "privilege_level": 2, "system_app": true)"},
        Row{"Shell", Raw(START_NETWORK, 0),
            Outcome{DISTNET_ERR_PERMISSION_DENIED, "",
                    "permission check failed, callerToken:[0-9]*, tokenType:2|permission check failed, *, tokenType:2|"
                    "permission denied!|"},
            "policy", R"("token_type": "shell", "system_app": true)"},
        // The following rows are about product files.
        Row{"NoDeviceFile", Start, Succeeds("Json file path error.|Load device config failed.|"), "product"},
        Row{"NoScenarioFile", StartWithProductFiles("{}"),
            Succeeds("Json file path error.|Load scenario config failed.|"), "product"},
        Row{"BothFiles", StartWithProductFiles(R"({"device": {}})", R"({"scenario": {"deviceCaps": []}})"),
            Succeeds("Did't define device in json.|Parse device config failed.|"
                     "Did't define scenario in json.|Parse scenario config failed.|"),
            "product"},
        Row{"EmptyFile", StartWithProductFiles(""), Succeeds(WRONG_SIZE), "product"},
        Row{"TooLargeFile", StartWithProductFiles("{}", nullptr, 0x20000001), Succeeds(WRONG_SIZE), "product"},
        Row{"FileNotJson", StartWithProductFiles("{\"device\": ?}"),
            Succeeds("errorMsg is ?}|Load device config failed.|"), "product"},
        Row{"JunkEverywhere", StartAmidJunk, Succeeds()},
        Row{"NothingKnownAtScreenOff", TurnScreenOff, Succeeds("Get device net feature failed.|")}}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace Vexo::EndToEnd
