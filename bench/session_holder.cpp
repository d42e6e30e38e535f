#include "bench/session_holder.h"

#include <atomic>
#include <chrono>
#include <semaphore>

#include "bench/bench.h"
#include "platform/collaboration/collaboration_server.h"
#include "platform/trust/identity.h"
#include "tests/platform/softbus/device_fixture.h"

namespace Vexo::Bench {
namespace {

constexpr const char* NAME = CollaborationFwk::COLLABORATION_SESSION;

// The callbacks have no context, so this state belongs to the process.
struct Opens {
    std::counting_semaphore<> done{0};
    std::atomic<int> failure{0};  // the last result that is not 0
};
Opens& TheOpens()
{
    static Opens opens;
    return opens;
}

}  // namespace

SessionHolder::SessionHolder(const EndToEnd::World& world, const EndToEnd::Device& device)
{
    SoftBus::SoftBusOptions options;
    options.announceFolder = world.Path() / "link";
    auto identity = Trust::LoadIdentity(device.Identity());
    Check(identity.has_value(), "load the identity of a device");
    bus_ = SoftBus::Tests::StartBus(identity.value(), device.Name(), {}, std::move(options));
    ISessionListener table{};
    table.OnSessionOpened = [](int, int result) {
        if (result != 0) {
            TheOpens().failure = result;
        }
        TheOpens().done.release();
        return 0;
    };
    Check(bus_->CreateSessionServer("bench", NAME, table) == 0, "create a session server");
}

SessionHolder::~SessionHolder()
{
    bus_->Stop();
}

void SessionHolder::Find(const EndToEnd::Device& device) const
{
    const std::string networkId = device.NetworkId();
    const bool isFound = EndToEnd::Eventually([&] { return SoftBus::Tests::SeesOnline(bus_, networkId); });
    Check(isFound, ("find the device " + device.Name()).c_str());
}

double SessionHolder::Open(const std::string& networkId, int count)
{
    const auto from = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
        sessions_.push_back(bus_->OpenSession(NAME, NAME, networkId, SoftBus::Tests::ByteSession()));
        Check(sessions_.back() > 0, "open a session");
    }
    for (int i = 0; i < count; ++i) {
        TheOpens().done.acquire();
    }
    const int failure = TheOpens().failure;
    Check(failure == 0, ("open a session to a daemon, result " + std::to_string(failure)).c_str());
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - from).count();
}

void SessionHolder::CloseAll()
{
    for (const int session : sessions_) {
        bus_->CloseSession(session);
    }
    sessions_.clear();
}

}  // namespace Vexo::Bench
