#include "tests/end_to_end/failure_acts.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <regex>
#include <thread>

#include "platform/ability/ability_ids.h"
#include "platform/ipc/ipc_client.h"
#include "platform/trust/account.h"

namespace Vexo::EndToEnd {
namespace {

constexpr const char* HAND_MADE_KEY = "not-a-real-key";
const std::string REQUEST("\3\2\0", 3);

// Answers each message that the tablet receives on a collaboration with the same frame.
struct AnsweringCallback : CollaborationFwk::DataCallback {
    explicit AnsweringCallback(std::string frame) : frame_(std::move(frame)) {}
    void OnDataReceived(int sessionId, const char*, unsigned int) override
    {
        CollaborationFwk::CollaborationAbility::GetInstance().SendCollaborationData(
            sessionId, frame_.data(), static_cast<unsigned int>(frame_.size()));
    }
    const std::string frame_;
};

}  // namespace

bool Stage::LogHas(const Device& device, const std::string& text) const
{
    return Eventually([&] { return device.Log().find(text) != std::string::npos; });
}

void Stage::BringTablet(Lacks lacks)
{
    world.KeepSecret(HAND_MADE_KEY);
    tablet = std::make_unique<HandMadePeer>(world, world.Add("tablet"), lacks);
    for (const Device* device : {&laptop, &phone}) {
        EXPECT_TRUE(Eventually([&] { return device->Sees(tablet->NetworkId()) && tablet->Sees(device->NetworkId()); }));
    }
}

int32_t Start(Stage& stage)
{
    return stage.laptop.Ask(stage.peer);
}

Act TabletAnswers(const std::string& frame, Lacks lacks)
{
    return [=](Stage& stage) {
        stage.BringTablet(lacks);
        stage.tablet->AnswerWith(frame);
        stage.peer = stage.tablet->NetworkId();
        return Start(stage);
    };
}

int32_t TabletAsksInTurn(Stage& stage)
{
    stage.BringTablet(Lacks::NOTHING);
    const Finished denied = stage.laptop.Ctl({"share", "deny", "tablet", "--never"});
    EXPECT_EQ(denied.exitCode, 0) << denied.output;
    stage.tablet->AnswerWith(REQUEST);
    stage.peer = stage.tablet->NetworkId();
    const int32_t code = Start(stage);
    EXPECT_EQ(stage.laptop.Log().find("HandleMessageStartHotSpot start"), std::string::npos);
    return code;
}

Act TabletSends(const std::string& message, bool waits)
{
    return [=](Stage& stage) {
        stage.BringTablet(Lacks::NOTHING);
        const int32_t code = Start(stage);
        const std::string reply = stage.tablet->Ask(stage.phone.NetworkId(), {message, REQUEST}, waits);
        EXPECT_EQ(reply.substr(0, 1), waits ? "\4" : "") << stage.phone.Log();
        return code;
    };
}

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
        EXPECT_TRUE(stage.LogHas(stage.phone, "HandleMessageStartHotSpot start"));
        strike();
        request.join();
        return code;
    };
}

// Restarts the device with collaboration_daemon as its program, and waits until the daemon can handle an answer.
void StartCollaborator(Stage& stage, Device& device)
{
    device.Kill();
    device.SetProgram(COLLABORATION_DAEMON);
    device.Start();
    EXPECT_TRUE(stage.LogHas(device, "InitHandleMessageMap"));
    EXPECT_TRUE(Eventually([&] { return World::Found(stage.laptop, stage.phone); }));
    stage.collaborates = true;
}

int32_t AskToCollaborate(const Device& device, const std::string& peer, const std::function<void()>& meanwhile)
{
    const size_t before = device.Log().size();
    std::ofstream(device.StateDir() / "requests") << peer << std::endl;
    meanwhile();
    std::smatch code;
    std::string log;
    const std::regex line("collaboration start: ([0-9]+)\n");
    EXPECT_TRUE(Eventually([&] { return std::regex_search(log = device.Log().substr(before), code, line); }));
    return code.empty() ? -1 : std::stoi(code[1]);
}

Act Collaborate(bool isKilled, bool isTablet, const std::string& frame)
{
    return [=](Stage& stage) {
        StartCollaborator(stage, stage.laptop);
        if (isKilled) {
            stage.phone.Kill();
        } else if (isTablet) {
            stage.BringTablet(Lacks::NOTHING);
            stage.peer = stage.tablet->NetworkId();
        }
        return AskToCollaborate(stage.laptop, stage.peer, [&] {
            auto& framework = CollaborationFwk::CollaborationAbility::GetInstance();
            std::vector<sptr<CollaborationFwk::StartInfo>> started;
            if (!frame.empty() && Eventually([&] {
                    framework.GetCollaborationStartInfos(COMM_DISTRIBUTED_NET_ABILITY_ID, started);
                    return !started.empty();
                })) {
                framework.RegisterCollaborationDataCallback(started.front()->GetCollaborationSessionId(),
                                                            MakeSptr<AnsweringCallback>(frame));
            }
        });
    };
}

int32_t CollaborateBothWays(Stage& stage)
{
    StartCollaborator(stage, stage.laptop);
    StartCollaborator(stage, stage.phone);
    return AskToCollaborate(stage.laptop, stage.peer,
                            [&] { EXPECT_EQ(AskToCollaborate(stage.phone, stage.laptop.NetworkId()), 0); });
}

int32_t StartFromStranger(Stage& stage)
{
    Device& stranger = stage.world.AddUnenrolled("stranger");
    EXPECT_TRUE(Trust::CreateAccount(stranger.Identity(), "elsewhere", "stranger"));
    stranger.Start();
    const int32_t code = stranger.Ask(stage.phone.NetworkId());
    EXPECT_TRUE(stage.LogHas(stranger, "E DistributedNet: IsSameAccount verify failed."));
    EXPECT_FALSE(stage.phone.Sees(stranger.NetworkId()));
    return code;
}

Act StartWithProductFiles(const char* device, const char* scenario, uintmax_t size)
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

int32_t StartAmidJunk(Stage& stage)
{
    const std::string announced = std::filesystem::directory_iterator(stage.world.Path() / "link")->path().filename();
    const std::string copy = announced.substr(0, announced.find('-')) + "-01234567.json";
    const std::string hotspot = "hotspot-" + std::string(64, 'a') + ".json";
    for (const std::string& file : {"link/" + copy, "air/" + hotspot, std::string("laptop/device-state.json")}) {
        std::ofstream(stage.world.Path() / "junk") << "{\"version\":";
        std::filesystem::rename(stage.world.Path() / "junk", stage.world.Path() / file);
    }
    const int32_t code = Start(stage);
    for (const std::string& complaint : {copy, "air/" + hotspot, std::string("; keeping the previous state")}) {
        EXPECT_TRUE(stage.LogHas(stage.laptop, complaint)) << complaint;
    }
    return code;
}

int32_t TurnScreenOff(Stage& stage)
{
    const int32_t code = Start(stage);
    EXPECT_TRUE(stage.LogHas(stage.laptop, "register events[1792]"));
    stage.laptop.Set({"screen=off"});
    EXPECT_TRUE(stage.LogHas(stage.laptop, "Can't find default's config."));
    EXPECT_TRUE(stage.LogHas(stage.laptop, "Get device parameters falied."));
    return code;
}

Act Query(const char* item)
{
    return [=](Stage& stage) {
        std::string json;
        const int32_t code = stage.laptop.Connect()->GetRemoteDeviceInfo({item}, json).code;
        EXPECT_TRUE(std::regex_search(json, std::regex("\"value\":\t(\"\"|false)"))) << json;
        return code;
    };
}

int32_t ListDevicesWithoutPhone(Stage& stage)
{
    stage.phone.Kill();
    stage.laptop.Kill();
    std::filesystem::remove(stage.laptop.StateDir() / SoftBus::KNOWN_DEVICES_FILE);
    stage.laptop.Start();
    std::vector<Client::Device> devices;
    return stage.laptop.Connect()->GetAvailableDeviceList(devices).code;
}

Act Raw(uint32_t request, int32_t number, const std::string& token, size_t items)
{
    return [=](Stage& stage) {
        MessageParcel data;
        MessageParcel reply;
        data.WriteInterfaceToken(std::u16string(token.begin(), token.end()));
        items > 0 ? data.WriteStringVector(std::vector<std::string>(items, "bssid")) : data.WriteInt32(number);
        const auto connection = Ipc::IpcConnection::Connect(stage.laptop.Socket());
        int32_t code = connection.value()->Transact(COMM_DISTRIBUTED_NET_ABILITY_ID, request, data, reply, PATIENCE);
        reply.ReadInt32(code);
        return code;
    };
}

Act TabletSucceeds(size_t size, int64_t declared)
{
    std::string json = R"({"RES":0,"SSID":"hand-made","PRESHARED_KEY":"@","SECURITY_TYPE":4})";
    json.replace(json.find('@'), 1, HAND_MADE_KEY);
    json.resize(std::max(size, json.size()), ' ');
    return TabletAnswers(ResponseFrame(json, declared));
}

}  // namespace Vexo::EndToEnd
