#include "tests/end_to_end/hand_made_peer.h"

#include "platform/ability/system_ability.h"
#include "platform/trust/identity.h"

namespace Vexo::EndToEnd {

namespace {

// Has the ability id of the service and does nothing. Other devices can start this ability as the peer's service.
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
    events_.Clear();
    if (lacks != Lacks::SERVICE) {
        manager_->AddOnDemandAbility(COMM_DISTRIBUTED_NET_ABILITY_ID, RegisterWakeOnly);
    }
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(manager_);
    const auto identity = Trust::LoadIdentity(device.Identity());
    networkId_ = identity.value().networkId;
    SoftBus::SoftBusOptions options;
    options.announceFolder = world.Path() / "link";
    softBus_ = SoftBus::Tests::StartBus(identity.value(), device.Name(), {}, options);
    manager_->AddSystemAbility(SOFTBUS_SERVER_SA_ID, softBus_);
    collaboration_ = CollaborationFwk::CollaborationServer::Start().value();
    manager_->AddSystemAbility(COLL_FWK_SA_ID, collaboration_);
    if (lacks != Lacks::SESSION_SERVER) {
        softBus_->CreateSessionServer(HOTSPOT_PACKAGE, HOTSPOT_SESSION, PeerListener::Table());
    }
}

HandMadePeer::~HandMadePeer()
{
    collaboration_->Stop();
    softBus_->Stop();
    events_.Clear();
}

bool HandMadePeer::Sees(const std::string& networkId) const
{
    return SoftBus::Tests::SeesOnline(softBus_, networkId);
}

void HandMadePeer::AnswerWith(const std::string& frame)
{
    events_.OnEvent(SoftBus::Tests::Kind::BYTES, [frame, softBus = softBus_](const SoftBus::Tests::Event& request) {
        softBus->SendBytes(request.id, frame.data(), static_cast<unsigned int>(frame.size()));
    });
}

int HandMadePeer::Open(const std::string& networkId)
{
    const int id = softBus_->OpenSession(HOTSPOT_SESSION, HOTSPOT_SESSION, networkId, SoftBus::Tests::ByteSession());
    EXPECT_EQ(events_.WaitFor(SoftBus::Tests::Kind::OPENED, id).result, SOFTBUS_OK);
    return id;
}

std::string HandMadePeer::Ask(const std::string& networkId, const std::vector<std::string>& messages, bool waits)
{
    const int id = Open(networkId);
    for (const std::string& message : messages) {
        softBus_->SendBytes(id, message.data(), static_cast<unsigned int>(message.size()));
    }
    const std::string reply = waits ? events_.WaitFor(SoftBus::Tests::Kind::BYTES, id).bytes : "";
    softBus_->CloseSession(id);
    return reply;
}

void HandMadePeer::SendUntilClosed(const std::string& networkId, const std::string& message)
{
    const int id = Open(networkId);
    softBus_->SendBytes(id, message.data(), static_cast<unsigned int>(message.size()));
    events_.WaitFor(SoftBus::Tests::Kind::CLOSED, id);
}

}  // namespace Vexo::EndToEnd
