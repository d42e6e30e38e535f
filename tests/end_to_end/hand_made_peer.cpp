#include "tests/end_to_end/hand_made_peer.h"

#include <chrono>

#include "platform/ability/system_ability.h"
#include "platform/softbus/session.h"
#include "platform/trust/identity.h"

namespace Vexo::EndToEnd {

namespace {

using State = HandMadePeer::State;

// Where callbacks, which carry no context, find the peer's state.
struct Current {
    Mutex mutex;
    std::shared_ptr<State> state GUARDED_BY(mutex);
};

Current& CurrentPeer()
{
    static auto* const current = std::make_unique<Current>().release();  // callbacks may come to the very end
    return *current;
}

std::shared_ptr<State> PeerState()
{
    const MutexLock lock(CurrentPeer().mutex);
    return CurrentPeer().state ? CurrentPeer().state : std::make_shared<State>();
}

void SetPeerState(std::shared_ptr<State> state)
{
    const MutexLock lock(CurrentPeer().mutex);
    CurrentPeer().state = std::move(state);
}

int OnOpened(int sessionId, int result)
{
    const std::shared_ptr<State> peer = PeerState();
    const MutexLock lock(peer->mutex);
    if (sessionId == peer->asked) {
        (result == SOFTBUS_OK ? peer->opened : peer->ended) = true;
        peer->changed.NotifyAll();
    }
    return 0;
}

void OnClosed(int sessionId)
{
    const std::shared_ptr<State> peer = PeerState();
    const MutexLock lock(peer->mutex);
    if (sessionId == peer->asked) {
        peer->ended = true;
        peer->changed.NotifyAll();
    }
}

void OnBytes(int sessionId, const void* data, unsigned int size)
{
    const std::shared_ptr<State> peer = PeerState();
    const MutexLock lock(peer->mutex);
    if (sessionId == peer->asked) {
        peer->reply.assign(static_cast<const char*>(data), size);
        peer->changed.NotifyAll();
    } else if (!peer->answer.empty()) {
        SendBytes(sessionId, peer->answer.data(), static_cast<unsigned int>(peer->answer.size()));
    }
}

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

HandMadePeer::HandMadePeer(const World& world, const Device& device, Lacks lacks)
    : manager_(MakeSptr<SystemAbilityManager>())
{
    SetPeerState(state_);
    if (lacks != Lacks::SERVICE) {
        manager_->AddOnDemandAbility(COMM_DISTRIBUTED_NET_ABILITY_ID, RegisterWakeOnly);
    }
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
    if (lacks != Lacks::SESSION_SERVER) {
        CreateSessionServer(HOTSPOT_PACKAGE, HOTSPOT_SESSION, &LISTENER);
    }
}

HandMadePeer::~HandMadePeer()
{
    collaboration_->Stop();
    softBus_->Stop();
    SetPeerState(nullptr);
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
    const MutexLock lock(state_->mutex);
    state_->answer = std::move(frame);
}

std::string HandMadePeer::Ask(const std::string& networkId, const std::vector<std::string>& messages,
                              std::chrono::milliseconds patience)
{
    const SessionAttribute attribute{TYPE_BYTES, 1, {LINK_TYPE_WIFI_5G}};
    MutexLock lock(state_->mutex);
    state_->opened = state_->ended = false;
    state_->reply.clear();
    state_->asked = OpenSession(HOTSPOT_SESSION, HOTSPOT_SESSION, networkId.c_str(), "", &attribute);
    const auto opened = std::chrono::steady_clock::now() + PATIENCE;
    while (!state_->opened && !state_->ended && state_->changed.WaitUntil(state_->mutex, opened)) {
    }
    for (const std::string& message : messages) {
        SendBytes(state_->asked, message.data(), static_cast<unsigned int>(message.size()));
    }
    const auto answered = std::chrono::steady_clock::now() + patience;
    while (state_->reply.empty() && !state_->ended && state_->changed.WaitUntil(state_->mutex, answered)) {
    }
    CloseSession(state_->asked);
    return state_->reply;
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
