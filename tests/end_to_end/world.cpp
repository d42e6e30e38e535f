#include "tests/end_to_end/world.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <random>
#include <regex>

#include "interfaces/host_answers_json.h"
#include "platform/trust/account.h"
#include "platform/trust/identity.h"
#include "tests/end_to_end/secrets.h"

namespace Vexo::EndToEnd {

namespace {

constexpr size_t KEY_LENGTH = 16;

std::string Member(const std::string& text, const std::string& key)
{
    const Json document = ParseJson(text);
    const cJSON* at = document.get();
    for (size_t from = 0; at != nullptr && from <= key.size();) {
        const size_t dot = std::min(key.find('.', from), key.size());
        at = cJSON_GetObjectItemCaseSensitive(at, key.substr(from, dot - from).c_str());
        from = dot + 1;
    }
    if (cJSON_IsString(at)) {
        return at->valuestring;
    }
    return cJSON_IsNumber(at) ? std::to_string(at->valueint) : "";
}

std::string MakeKey()
{
    std::random_device random;
    std::string key;
    while (key.size() < KEY_LENGTH) {
        key += static_cast<char>('a' + random() % 26);
    }
    return key;
}

}  // namespace

Device::Device(std::filesystem::path world, std::string name)
    : world_(std::move(world)), name_(std::move(name)), hotspotKey_(MakeKey()), program_(DISTNET_BIN_DIR "/distnetd")
{
    mkdir(StateDir().c_str(), 0700);
    std::ofstream(StateDir() / "device-state.json") << R"({"hotspot": {"key": ")" << hotspotKey_ << R"("}})";
}

Device::~Device()
{
    daemon_.reset();
    const std::string log = Log();
    EXPECT_TRUE(log.find("Sanitizer") == std::string::npos && log.find("runtime error:") == std::string::npos) << log;
}

void Device::Start()
{
    const std::filesystem::path file = world_ / (name_ + ".json");
    std::ofstream(file) << R"({"platform": "simulated", "state_dir": ")" << name_ << R"(", "device": {"name": ")"
                        << name_ << R"(", "type": "phone"}, "softbus": {"listen": "127.0.0.1", "announce_dir": "link"})"
                        << R"(, "access": {"policy": "policy.json"}, "config_policy": {"roots": [)"
                        << (hasShippedFiles_ ? "\"" DISTNET_SHIPPED_FILES "\", " : "") << "\"" << name_
                        << R"(/product"]}, "simulated": {"air_dir": "air"})" << settings_ << "}";
    daemon_ =
        std::make_unique<Process>(std::vector<std::string>{program_, "--config", file}, StateDir() / "daemon.log");
    ASSERT_TRUE(Eventually([&] { return Connect() != nullptr; })) << Log();
}

std::filesystem::path Device::WriteProductFile(const std::string& name, const std::string& text) const
{
    const std::filesystem::path folder = StateDir() / "product/etc/communication/network_connectivity_ext";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / name) << text;
    return folder / name;
}

int Device::Stop()
{
    daemon_->Signal(SIGTERM);
    const int exitCode = daemon_->Wait();
    daemon_.reset();
    return exitCode;
}

void Device::Kill()
{
    daemon_.reset();
}

std::string Device::NetworkId() const
{
    const auto identity = Trust::LoadIdentity(Identity());
    return identity ? identity.value().networkId : "";
}

std::unique_ptr<Client::DistNetClient> Device::Connect() const
{
    Client::CallResult result;
    return Client::DistNetClient::Connect(Socket(), result);
}

int32_t Device::Ask(const std::string& networkId) const
{
    const auto client = Connect();
    const auto result = client ? client->StartDistributedNetwork(0, 0, networkId)
                               : Client::CallResult{Client::CallStatus::UNREACHABLE, 0, ""};
    return result.status == Client::CallStatus::ANSWERED ? result.code : -static_cast<int32_t>(result.status);
}

Finished Device::Ctl(std::vector<std::string> arguments) const
{
    arguments.insert(arguments.begin(), {"--socket", Socket()});
    return EndToEnd::Ctl(arguments, world_);
}

void Device::Set(const std::vector<std::string>& assignments) const
{
    std::vector<std::string> arguments{"sim", "set", "--state", StateDir()};
    arguments.insert(arguments.end(), assignments.begin(), assignments.end());
    const Finished finished = EndToEnd::Ctl(arguments, world_);
    ASSERT_EQ(finished.exitCode, 0) << finished.output;
}

std::string Device::Status(const std::string& key) const
{
    Host::HostStatus status;
    const auto client = Connect();
    return client && client->GetStatus(status).Succeeded() ? Member(Host::AnswerText(status), key) : "";
}

int Device::Count(const std::string& key) const
{
    Host::HostCounts counts;
    const auto client = Connect();
    const std::string text =
        client && client->GetCounts(counts).Succeeded() ? Member(Host::AnswerText(counts), key) : "";
    return text.empty() ? -1 : std::stoi(text);
}

static bool IsOnlineIn(const std::vector<Host::KnownDevice>& devices, const std::string& networkId)
{
    return std::any_of(devices.begin(), devices.end(),
                       [&](const Host::KnownDevice& device) { return device.networkId == networkId && device.online; });
}

bool Device::Sees(const std::string& networkId) const
{
    std::vector<Host::KnownDevice> devices;
    const auto client = Connect();
    return client && client->GetDevices(devices).Succeeded() && IsOnlineIn(devices, networkId);
}

bool Device::Finds(const std::string& networkId) const
{
    std::vector<Host::KnownDevice> devices;
    const auto client = Connect();
    return client && client->ScanDevices(devices).Succeeded() && IsOnlineIn(devices, networkId);
}

bool IsUsualError(const std::string& line)
{
    static const std::regex USUAL(
        " E DistributedNet: (SetPending: sessionId=[0-9]+, result=0|Did't define (device|scenario) in json\\.|"
        "Parse (device|scenario) config failed\\.)$");
    return std::regex_search(line, USUAL);
}

World::World()
{
    mkdir((Path() / "link").c_str(), 0700);
    mkdir((Path() / "air").c_str(), 0700);
    SetPolicy(NATIVE_POLICY);
}

World::~World()
{
    for (const auto& [name, device] : devices_) {
        secrets_.push_back(device->HotspotKey());
    }
    devices_.clear();  // ends the daemons, so their files are complete
    std::ofstream(Path() / "test.log") << log_.Text();
    for (const std::string& finding : FindSecrets(Path(), secrets_)) {
        ADD_FAILURE() << finding;
    }
}

void World::SetPolicy(const std::string& members) const
{
    std::ofstream(Path() / "policy.json") << R"({"entries": [{"user": ")" << getuid() << R"(", )" << members << "}]}";
}

Device& World::AddUnenrolled(const std::string& name)
{
    return *(devices_[name] = std::make_unique<Device>(Path(), name));
}

void World::Enrol(const Device& device) const
{
    if (device.Name() == "laptop") {
        EXPECT_TRUE(Trust::CreateAccount(device.Identity(), "home", device.Name()));
        return;
    }
    const auto request = Trust::MakeRequest(device.Identity(), device.Name());
    const auto answer = Trust::Admit(devices_.at("laptop")->Identity(), request.value());
    EXPECT_TRUE(Trust::Install(device.Identity(), answer.value()));
}

Device& World::Add(const std::string& name)
{
    Device& device = AddUnenrolled(name);
    Enrol(device);
    return device;
}

void World::StartLaptopAndPhone()
{
    Add("laptop").Start();
    Add("phone").Start();
    ASSERT_TRUE(Eventually([&] { return Found((*this)["laptop"], (*this)["phone"]); }))
        << (*this)["laptop"].Log() << (*this)["phone"].Log();
}

bool World::Found(const Device& one, const Device& other)
{
    return one.Sees(other.NetworkId()) && other.Sees(one.NetworkId());
}

}  // namespace Vexo::EndToEnd
