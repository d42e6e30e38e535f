// Runs many starts between two daemons with simulated radios, and injects failures. Writes the memory, the descriptors
// and the threads of both daemons to FOLDER/soak.jsonl. The exit code is 0 if every start returns the expected code and
// these values stay flat after the first 1,000 starts, else 1.
//   soak STARTS FOLDER

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "backends/simulated/device_state.h"
#include "distributed/services/utils/distnet_errors.h"
#include "tests/end_to_end/world.h"
#include "tests/soak/usage.h"

namespace Vexo::Soak {
namespace {

using Clock = std::chrono::steady_clock;
using EndToEnd::Device;
using NetManagerStandard::DISTNET_ERR_COLLABORATION_START;
using NetManagerStandard::DISTNET_ERR_GENERAL;
using NetManagerStandard::DISTNET_ERR_LINK;

constexpr int WARM_UP = 1000;
constexpr int SAMPLES = 200;
constexpr int STARTS_PER_ROUND = 25;
constexpr int STARTS_PER_SLOW_ROUND = 10'000;
// A collaboration is closed 30 s after its last use, and a worker thread ends after 10 s without work. A daemon is at
// rest when REST has passed since the last start and its resource usage has not changed for UNCHANGED.
constexpr std::chrono::seconds REST{45};
constexpr std::chrono::seconds UNCHANGED{12};
constexpr std::chrono::seconds REST_LIMIT{120};
constexpr size_t SHOWN_LOG_BYTES = 2000;
// Closes a hotspot 10 s after its last user has left, so that the phone comes to rest. Writes few log lines.
constexpr const char* SETTINGS = R"("log": {"level": "error"}, "share": {"close_after_s": 10})";
// A daemon at rest has returned its free heap pages to the system. The heap is divided into blocks that are freed in
// another order each time, so a few pages more or less remain in use.
constexpr int64_t MEMORY_LIMIT_KIB = 256;

// Starts of one kind that follow each other. Each start must return the value of `code`.
struct Round {
    const char* name;
    const char* device;             // whose state is changed
    std::vector<std::string> set;   // changes of device-state.json for the time of this round
    std::vector<std::string> undo;  // undoes these changes
    int32_t code;
    const char* peer = "phone";
    void (*damage)(const std::filesystem::path& air) = nullptr;  // changes the air folder in the middle of the round
    bool clientLeaves = false;  // the client closes its connection before the answer arrives
};

void RemoveRecords(const std::filesystem::path& air)
{
    for (const auto& record : std::filesystem::directory_iterator(air)) {
        std::error_code ignored;
        std::filesystem::remove(record, ignored);
    }
}

void WriteDamagedRecord(const std::filesystem::path& air)
{
    std::ofstream(air / ("hotspot-" + std::string(64, 'a') + ".json")) << R"({"version": 1, "ssid")";
}

// A start takes 3 s in this round, so the round has only one start.
const Round SILENT_RADIO{"radio does not answer",
                         "phone",
                         {"faults.hotspot.is_active.no_answer=true"},
                         {"faults.hotspot.is_active.no_answer=false"},
                         DISTNET_ERR_LINK};

const Round WIFI_OFF{"phone's Wi-Fi is off", "phone", {"wifi.enabled=false"}, {"wifi.enabled=true"}, DISTNET_ERR_LINK};

// While the phone's Wi-Fi is off, the phone's hotspot is closed. The next start that succeeds opens the hotspot again.
const std::vector<Round>& Rounds()
{
    static const std::vector<Round> rounds{
        {"no failure", "phone", {}, {}, 0},
        // The next three rounds turn the Wi-Fi off, set the fault and turn the Wi-Fi on. If the Wi-Fi were turned on
        // before the fault is set, a start could open the hotspot.
        {"phone's Wi-Fi is off", "phone", {"wifi.enabled=false"}, {}, DISTNET_ERR_LINK},
        {"phone's Wi-Fi is off and broken", "phone", {"faults.hotspot.enable.code=5"}, {}, DISTNET_ERR_LINK},
        {"hotspot is not enabled", "phone", {"wifi.enabled=true"}, {"faults.hotspot.enable.code=0"}, DISTNET_ERR_LINK},
        {"other hotspot", "phone", {"hotspot.ssid=other"}, {"hotspot.ssid="}, 0},
        WIFI_OFF,
        {"slow hotspot", "phone", {"hotspot.start_ms=20"}, {"hotspot.start_ms=0"}, 0},
        {"hotspot has no state",
         "phone",
         {"faults.hotspot.is_active.code=5"},
         {"faults.hotspot.is_active.code=0"},
         DISTNET_ERR_LINK},
        {"no failure", "phone", {}, {}, 0},
        {"hotspot has no configuration",
         "phone",
         {"faults.hotspot.get_config.code=5"},
         {"faults.hotspot.get_config.code=0"},
         DISTNET_ERR_LINK},
        WIFI_OFF,
        {"open hotspot", "phone", {"hotspot.security=open"}, {"hotspot.security=wpa2"}, 0},
        {"configuration is not added",
         "laptop",
         {"faults.wifi.add_config.code=5"},
         {"faults.wifi.add_config.code=0"},
         DISTNET_ERR_LINK},
        {"no failure", "phone", {}, {}, 0},
        {"connect fails", "laptop", {"faults.wifi.connect.code=5"}, {"faults.wifi.connect.code=0"}, DISTNET_ERR_LINK},
        {"laptop cannot join", "laptop", {"wifi.station_present=false"}, {"wifi.station_present=true"}, 0},
        {"hotspot disappears", "phone", {}, {}, 0, "phone", RemoveRecords},
        {"damaged record in the air", "phone", {}, {}, 0, "phone", WriteDamagedRecord},
        {"client leaves", "phone", {}, {}, 0, "phone", nullptr, true},
        {"peer has ended", "laptop", {}, {}, DISTNET_ERR_COLLABORATION_START, "tablet"},
    };
    return rounds;
}

class Soak {
public:
    Soak(int starts, const std::string& folder) : starts_(starts), lines_(folder + "/soak.jsonl", std::ios::trunc) {}

    bool Run();

private:
    struct Sample {
        int starts;
        std::map<std::string, Usage> usage;  // by device
    };

    bool RunUntil(int starts);
    bool RunRound(const Round& round, int starts = STARTS_PER_ROUND);
    bool Start(const Round& round);
    bool AwaitRest();

    void Change(const Round& round);
    Sample Read(bool isAtRest);
    static bool IsFlat(const Sample& before, const Sample& after);

    const int starts_;
    std::ofstream lines_;
    EndToEnd::World world_;
    const Clock::time_point began_ = Clock::now();
    std::unique_ptr<Client::DistNetClient> client_;
    int done_ = 0;
    int failed_ = 0;    // starts that failed because of an injected failure
    int32_t code_ = 0;  // of the latest start
    size_t next_ = 0;   // the next round
    const Round* previous_ = nullptr;
};

bool Soak::Run()
{
    for (const char* name : {"laptop", "phone", "tablet"}) {
        world_.Add(name).AddSettings(SETTINGS);
        world_[name].Start();
    }
    const auto sees = [this](const char* peer) { return world_["laptop"].Sees(world_[peer].NetworkId()); };
    if (!EndToEnd::Eventually([&] { return sees("phone") && sees("tablet"); })) {
        std::printf("the devices do not meet\n");
        return false;
    }
    world_["tablet"].Kill();
    if (!RunUntil(WARM_UP) || !AwaitRest()) {
        return false;
    }
    const Sample before = Read(true);
    if (!RunUntil(starts_) || !AwaitRest()) {
        return false;
    }
    std::printf("%d starts in %.0f s, %d of them with an injected failure\n", done_,
                std::chrono::duration<double>(Clock::now() - began_).count(), failed_);
    return IsFlat(before, Read(true)) && testing::UnitTest::GetInstance()->ad_hoc_test_result().Passed();
}

// Runs all rounds in turn, and ends after the last one. Then opens the hotspot anew, so that the devices are in the
// same state after each call: the laptop has joined the phone's hotspot.
bool Soak::RunUntil(int starts)
{
    bool isExpected = true;
    while (isExpected && (done_ < starts || next_ % Rounds().size() != 0)) {
        const int slowRounds = done_ / STARTS_PER_SLOW_ROUND;
        isExpected = RunRound(Rounds()[next_++ % Rounds().size()]);
        if (isExpected && done_ / STARTS_PER_SLOW_ROUND > slowRounds) {
            isExpected = RunRound(SILENT_RADIO, 1);
        }
    }
    return isExpected && RunRound(WIFI_OFF) && RunRound(Rounds().front());
}

bool Soak::RunRound(const Round& round, int starts)
{
    Change(round);
    client_ = world_["laptop"].Connect();
    // The daemon applies a change of its state soon after the change.
    bool isExpected = EndToEnd::Eventually([&] { return Start(round); });
    for (int i = 1; isExpected && i < starts; ++i) {
        if (round.damage != nullptr && i == starts / 2) {
            round.damage(world_.Path() / "air");
        }
        isExpected = Start(round);
    }
    if (!isExpected) {
        const std::string log = world_["laptop"].Log();
        std::printf("start %d, %s: code %d, expected %d; the end of the laptop's log:\n%s", done_, round.name, code_,
                    round.code, log.substr(log.size() - std::min(log.size(), SHOWN_LOG_BYTES)).c_str());
    }
    return isExpected;
}

// Undoes the changes of the previous round and makes the changes of this round. Each state file is written only once,
// because the daemon could serve a start of this round in the state between two writes.
void Soak::Change(const Round& round)
{
    std::map<std::string, std::vector<std::string>> assignments;
    if (previous_ != nullptr) {
        assignments[previous_->device] = previous_->undo;
    }
    std::vector<std::string>& added = assignments[round.device];
    added.insert(added.end(), round.set.begin(), round.set.end());
    for (const auto& [device, texts] : assignments) {
        EXPECT_TRUE(Simulated::UpdateDeviceState(world_[device].StateDir(), texts));
    }
    previous_ = &round;
}

// Returns true if the start returned the expected code.
bool Soak::Start(const Round& round)
{
    if (round.clientLeaves) {
        client_ = world_["laptop"].Connect();
        client_->SetLimit(std::chrono::milliseconds(1));
    }
    const auto result = client_->StartDistributedNetwork(0, 0, world_[round.peer].NetworkId());
    const bool hasLeft = round.clientLeaves && result.status == Client::CallStatus::TIMED_OUT;
    code_ = hasLeft ? round.code : result.status == Client::CallStatus::ANSWERED ? result.code : -1;
    failed_ += code_ == 0 && !hasLeft ? 0 : 1;
    if (++done_ % std::max(starts_ / SAMPLES, 1) == 0) {
        Read(false);
    }
    return code_ == round.code;
}

// Waits until both daemons are at rest. Returns false if they do not come to rest.
bool Soak::AwaitRest()
{
    client_.reset();
    const auto began = Clock::now();
    auto changed = began;
    std::map<std::string, Usage> usage;
    while (Clock::now() - began < REST || Clock::now() - changed < UNCHANGED) {
        if (Clock::now() - began > REST_LIMIT) {
            std::printf("the daemons do not come to rest\n");
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        for (const char* device : {"laptop", "phone"}) {
            const Usage now = UsageOf(world_[device].Daemon().Pid());
            changed = now == usage[device] ? changed : Clock::now();
            usage[device] = now;
        }
    }
    return true;
}

Soak::Sample Soak::Read(bool isAtRest)
{
    Sample sample{done_, {}};
    const double seconds = std::chrono::duration<double>(Clock::now() - began_).count();
    for (const char* device : {"laptop", "phone"}) {
        const Usage usage = UsageOf(world_[device].Daemon().Pid());
        sample.usage[device] = usage;
        lines_ << R"({"starts": )" << done_ << R"(, "seconds": )" << seconds << R"(, "device": ")" << device
               << R"(", "private_kib": )" << usage.privateKib << R"(, "descriptors": )" << usage.descriptors
               << R"(, "threads": )" << usage.threads << R"(, "at_rest": )" << (isAtRest ? "true" : "false") << "}"
               << std::endl;
    }
    return sample;
}

bool Soak::IsFlat(const Sample& before, const Sample& after)
{
    bool isFlat = true;
    for (const auto& [device, first] : before.usage) {
        const Usage& last = after.usage.at(device);
        const bool isDeviceFlat = last.privateKib - first.privateKib <= MEMORY_LIMIT_KIB &&
                                  last.descriptors == first.descriptors && last.threads == first.threads;
        std::printf(
            "%s after %d and %d starts: private memory %ld and %ld KiB, descriptors %ld and %ld, "
            "threads %ld and %ld: %s\n",
            device.c_str(), before.starts, after.starts, first.privateKib, last.privateKib, first.descriptors,
            last.descriptors, first.threads, last.threads, isDeviceFlat ? "flat" : "NOT FLAT");
        isFlat = isFlat && isDeviceFlat;
    }
    return isFlat;
}

}  // namespace
}  // namespace Vexo::Soak

int main(int argc, char** argv)
{
    const int starts = argc == 3 ? std::atoi(argv[1]) : 0;
    if (starts <= 0) {
        std::fprintf(stderr, "usage: soak STARTS FOLDER\n");
        return 2;
    }
    return Vexo::Soak::Soak(starts, argv[2]).Run() ? 0 : 1;
}
