#include "tests/end_to_end/hand_made_peer.h"

#include <atomic>
#include <chrono>

#include "platform/ability/system_ability.h"
#include "platform/softbus/session.h"
#include "platform/trust/identity.h"

namespace Vexo::EndToEnd {

namespace {

std::atomic<HandMadePeer*> g_peer{nullptr};

// Stands for the service, so that it can be woken.
class WakeOnly : public SystemAbility, public IPCObjectStub {
public:
    WakeOnly() : SystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID, true) {}

protected:
    void OnStart() override { Publish(sptr<IRemoteObject>(this)); }
};

bool RegisterWakeOnly()
{
    static WakeOnly ability;
    static const bool registered = SystemAbility::MakeAndRegisterAbility(&ability);
    return registered;
}

}  // namespace

HandMadePeer::HandMadePeer(const World& world, const Device& device) : manager_(MakeSptr<SystemAbilityManager>())
{
    g_peer = this;
    manager_->AddOnDemandAbility(COMM_DISTRIBUTED_NET_ABILITY_ID, RegisterWakeOnly);
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(manager_);
    const auto identity = Trust::LoadIdentity(device.Identity());
    networkId_ = identity.Value().networkId;
    SoftBus::SoftBusOptions options;
    options.deviceName = device.Name();
    options.announceFolder = world.Path() / "link";
    softBus_ = SoftBus::SoftBusServer::Start(identity.Value(), options).Value();
    manager_->AddSystemAbility(SOFTBUS_SERVER_SA_ID, softBus_);
    collaboration_ = CollaborationFwk::CollaborationServer::Start().Value();
    manager_->AddSystemAbility(COLL_FWK_SA_ID, collaboration_);
    static const ISessionListener LISTENER{OnOpened, OnClosed, OnBytes, nullptr, nullptr, nullptr};
    CreateSessionServer(HOTSPOT_PACKAGE, HOTSPOT_SESSION, &LISTENER);
}

HandMadePeer::~HandMadePeer()
{
    collaboration_->Stop();
    softBus_->Stop();
    g_peer = nullptr;
}

bool HandMadePeer::Sees(const std::string& networkId) const
{
    for (const SoftBus::Node& node : softBus_->Nodes()) {
        if (node.networkId == networkId && node.online) {
            return true;
        }
    }
    return false;
}

void HandMadePeer::AnswerWith(std::string frame)
{
    const MutexLock lock(mutex_);
    answer_ = std::move(frame);
}

std::string HandMadePeer::Ask(const std::string& networkId, const std::string& bytes)
{
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    const SessionAttribute attribute{TYPE_BYTES, 1, {LINK_TYPE_WIFI_5G}};
    MutexLock lock(mutex_);
    opened_ = ended_ = false;
    reply_.clear();
    asked_ = OpenSession(HOTSPOT_SESSION, HOTSPOT_SESSION, networkId.c_str(), "", &attribute);
    while (!opened_ && !ended_ && changed_.WaitUntil(mutex_, deadline)) {
    }
    if (opened_ && SendBytes(asked_, bytes.data(), static_cast<unsigned int>(bytes.size())) == SOFTBUS_OK) {
        while (reply_.empty() && !ended_ && changed_.WaitUntil(mutex_, deadline)) {
        }
    }
    CloseSession(asked_);
    return reply_;
}

int HandMadePeer::OnOpened(int sessionId, int result)
{
    HandMadePeer* peer = g_peer;
    const MutexLock lock(peer->mutex_);
    if (sessionId == peer->asked_) {
        (result == SOFTBUS_OK ? peer->opened_ : peer->ended_) = true;
        peer->changed_.NotifyAll();
    }
    return 0;
}

void HandMadePeer::OnClosed(int sessionId)
{
    HandMadePeer* peer = g_peer;
    const MutexLock lock(peer->mutex_);
    if (sessionId == peer->asked_) {
        peer->ended_ = true;
        peer->changed_.NotifyAll();
    }
}

void HandMadePeer::OnBytes(int sessionId, const void* data, unsigned int size)
{
    HandMadePeer* peer = g_peer;
    const MutexLock lock(peer->mutex_);
    if (sessionId == peer->asked_) {
        peer->reply_.assign(static_cast<const char*>(data), size);
        peer->changed_.NotifyAll();
    } else if (!peer->answer_.empty()) {
        SendBytes(sessionId, peer->answer_.data(), static_cast<unsigned int>(peer->answer_.size()));
    }
}

std::string ResponseFrame(const std::string& json, int64_t declared)
{
    const auto length = static_cast<uint32_t>(declared >= 0 ? declared : static_cast<int64_t>(json.size()));
    std::string frame{4};
    for (unsigned shift = 0; shift < 32; shift += 8) {
        frame += static_cast<char>((length >> shift) & 0xFFU);
    }
    return frame + json;
}

}  // namespace Vexo::EndToEnd
