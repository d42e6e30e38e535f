#include "host/account_operations.h"

#include <algorithm>
#include <utility>

#include "host/account_faults.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/trust/account.h"
#include "platform/trust/account_backup.h"
#include "platform/trust/key_transfer.h"
#include "platform/trust/membership.h"

namespace Vexo::Host {
namespace {

using std::chrono::floor;
using std::chrono::seconds;

JoiningDevice JoiningDeviceOf(const SoftBus::Joiner& joiner)
{
    return {joiner.name, static_cast<DeviceType>(joiner.type), joiner.networkId, joiner.number};
}

AccountFault Failed(const Error& error)
{
    return {AccountFaultCode::FAILED, error.message, "", ""};
}

InvitationAnswer Refused(AccountFault fault)
{
    InvitationAnswer answer;
    answer.fault = std::move(fault);
    return answer;
}

std::string HolderOf(const LinkFacts& facts)
{
    const Trust::Member* holder = facts.state ? facts.state->State().FindMember(facts.state->State().holder) : nullptr;
    return holder != nullptr ? holder->name : "";
}

}  // namespace

std::shared_ptr<AccountOperations> AccountOperations::Make(AccountOperationsOptions options)
{
    return std::shared_ptr<AccountOperations>(new AccountOperations(std::move(options)));
}

void AccountOperations::Changed(uint32_t& revision)
{
    revision = ++revision_;
    changed_.NotifyAll();
}

// Returns the LinkFacts of the AccountLink. If the device is not enrolled yet, first makes the AccountLink read the
// identity folder, because a command may have just written an enrolment that the folder watcher has not seen.
LinkFacts AccountOperations::CurrentFacts() const
{
    if (!options_.link->Facts().softBus) {
        options_.link->Refresh();
    }
    return options_.link->Facts();
}

std::optional<AccountFault> AccountOperations::WhyNotHolder() const
{
    const LinkFacts facts = CurrentFacts();
    if (!facts.softBus) {
        return NoAccount();
    }
    if (facts.removedAt) {
        return WasRemoved(facts.accountName, *facts.removedAt);
    }
    if (!facts.holdsAccountKey) {
        return NotHolder(HolderOf(facts));
    }
    return Trust::IsRestored(options_.identityFolder) ? std::optional(NotSettled()) : std::nullopt;
}

// ---- Inviting -------------------------------------------------------------------------------------------------------

InvitationAnswer AccountOperations::OpenInvitation(pid_t owner, bool admitsWithoutAsking)
{
    if (std::optional<AccountFault> fault = WhyNotHolder()) {
        return Refused(*std::move(fault));
    }
    const LinkFacts facts = options_.link->Facts();
    uint32_t number = 0;
    std::shared_ptr<SoftBus::Invitation> earlier;  // an earlier invitation with which a device was admitted
    {
        const MutexLock lock(mutex_);
        const bool isOpen = invitation_ && (invitation_->invitation || invitation_->answer.revision == 0);
        if (isOpen && invitation_->answer.phase != InvitationPhase::ADMITTED) {
            return Refused({AccountFaultCode::BUSY, "another program on this device shows a ticket already",
                            "End that one with Ctrl-C, or let its ticket expire", ""});
        }
        number = ++numbers_;
        earlier = invitation_ ? std::move(invitation_->invitation) : nullptr;
        invitation_ = OwnInvitation{owner, number, {}, false, nullptr};
    }
    if (earlier) {
        earlier->Close();
        earlier.reset();
    }
    const std::weak_ptr<AccountOperations> weak = weak_from_this();
    SoftBus::InvitationOptions options;
    options.confirmsItself = admitsWithoutAsking;
    options.admit = [weak](const std::string& request, const SoftBus::Joiner& joiner) -> Result<std::string> {
        const auto self = weak.lock();
        return self ? self->Admit(request, joiner) : Fail(ErrorCode::UNAVAILABLE, "the daemon ends");
    };
    options.suggestName = [link = options_.link](const std::string& taken) {
        const Trust::SignedStatePtr state = link->Facts().state;
        return state ? Trust::FreeName(state->State(), taken) : "";
    };
    options.changed = [weak, number](const SoftBus::InvitationStatus&) {
        if (const auto self = weak.lock()) {
            self->OnInvitationChanged(number);
        }
    };
    auto opened = facts.softBus->Invite(std::move(options));
    MutexLock lock(mutex_);
    if (!opened) {
        invitation_.reset();
        return Refused(Failed(opened.error()));
    }
    invitation_->invitation = std::move(opened.value());
    invitation_->answer.account = facts.accountName;
    lock.Unlock();
    OnInvitationChanged(number);
    lock.Lock();
    return invitation_ ? invitation_->answer : Refused(NotOpen("invitation"));
}

Result<std::string> AccountOperations::Admit(const std::string& requestPem, const SoftBus::Joiner& joiner)
{
    Trust::AdmitOptions options;
    options.type = joiner.type;
    Result<std::string> answer = Trust::Admit(options_.identityFolder, requestPem, options);
    options_.link->RefreshSoon();
    return answer;
}

// Updates the answer from the invitation's current status, which may be newer than the change that caused this call.
void AccountOperations::OnInvitationChanged(uint32_t number)
{
    // The variable is declared before the lock, so that the invitation is destroyed after the lock is released.
    std::shared_ptr<SoftBus::Invitation> ended;
    const MutexLock lock(mutex_);
    if (!invitation_ || invitation_->number != number || !invitation_->invitation) {
        return;
    }
    const SoftBus::InvitationStatus status = invitation_->invitation->Status();
    InvitationAnswer& answer = invitation_->answer;
    answer.phase = static_cast<InvitationPhase>(status.phase);
    answer.ticket = status.ticket;
    answer.expires = floor<seconds>(status.expires);
    answer.joiner = JoiningDeviceOf(status.joiner);
    answer.note = status.phase == SoftBus::InvitationPhase::WAITING ? status.why : "";
    if (status.phase == SoftBus::InvitationPhase::ENDED) {
        answer.fault = invitation_->isDenied
                           ? AccountFault{AccountFaultCode::DENIED, "the device was not admitted", "", ""}
                       : Clock::System().WallNow() >= status.expires
                           ? AccountFault{AccountFaultCode::EXPIRED, "the ticket has expired",
                                          "Make a new one: distnetctl account invite", ""}
                           : AccountFault{AccountFaultCode::FAILED, status.why, "", ""};
    }
    if (status.phase == SoftBus::InvitationPhase::ENDED) {
        ended = std::move(invitation_->invitation);
    }
    Changed(answer.revision);
}

InvitationAnswer AccountOperations::InvitationOf(pid_t owner) const
{
    return invitation_ && invitation_->owner == owner ? invitation_->answer : Refused(NotOpen("invitation"));
}

void AccountOperations::WaitForInvitation(pid_t owner, uint32_t revision, std::chrono::milliseconds limit,
                                          IDistNetHost::Answer<InvitationAnswer> answer)
{
    AnswerOnceChanged<InvitationAnswer>(*invitationWaits_, &AccountOperations::InvitationOf, owner, revision, limit,
                                        std::move(answer));
}

ChangeAnswer AccountOperations::AnswerJoiner(pid_t owner, const std::string& networkId, bool admit)
{
    std::shared_ptr<SoftBus::Invitation> invitation;
    {
        const MutexLock lock(mutex_);
        if (invitation_ && invitation_->owner == owner) {
            invitation = invitation_->invitation;
            invitation_->isDenied = !admit;
        }
    }
    if (!invitation) {
        return {NotOpen("invitation")};
    }
    if (const Result<void> answered = invitation->Answer(networkId, admit); !answered) {
        return {AccountFault{AccountFaultCode::LOST, answered.error().message, "", ""}};
    }
    return {};
}

ChangeAnswer AccountOperations::CloseInvitation(pid_t owner)
{
    const std::shared_ptr<SoftBus::Invitation> invitation = TakeInvitation(owner);
    if (!invitation) {
        return {NotOpen("invitation")};
    }
    invitation->Close();
    return {};
}

std::shared_ptr<SoftBus::Invitation> AccountOperations::TakeInvitation(std::optional<pid_t> owner)
{
    const MutexLock lock(mutex_);
    // An owner cannot cancel an invitation that has admitted a device, because a device that did not get the answer
    // asks again with the same ticket until the ticket expires.
    if (!invitation_ || !invitation_->invitation || (owner && invitation_->owner != *owner) ||
        (owner && invitation_->answer.phase == InvitationPhase::ADMITTED)) {
        return nullptr;
    }
    invitation_->answer.phase = InvitationPhase::ENDED;
    invitation_->answer.fault = AccountFault{AccountFaultCode::CANCELLED, "the ticket was closed", "", ""};
    Changed(invitation_->answer.revision);
    return std::exchange(invitation_->invitation, nullptr);
}

// ---- Members --------------------------------------------------------------------------------------------------------

MemberList AccountOperations::Members() const
{
    const LinkFacts facts = CurrentFacts();
    MemberList list;
    if (!facts.softBus) {
        list.fault = NoAccount();
        return list;
    }
    list.account = facts.accountName;
    const std::vector<SoftBus::Node> nodes = facts.softBus->Nodes();
    const auto add = [&](AccountMember member) {
        member.isThisDevice = member.networkId == facts.networkId;
        if (member.isThisDevice && member.type == DeviceType::UNKNOWN) {
            member.type = static_cast<DeviceType>(options_.softBus.deviceTypeId);
        }
        const auto node = std::find_if(nodes.begin(), nodes.end(), [&](const SoftBus::Node& candidate) {
            return candidate.networkId == member.networkId;
        });
        member.pending = !member.isThisDevice && node == nodes.end();
        if (node != nodes.end()) {
            member.online = node->online;
            member.lastReached = std::chrono::sys_seconds(seconds(node->lastSeenMs / 1000));
            member.type =
                member.type == DeviceType::UNKNOWN ? static_cast<DeviceType>(node->deviceTypeId) : member.type;
        }
        list.members.push_back(std::move(member));
    };
    if (facts.state) {
        const Trust::AccountState& state = facts.state->State();
        for (const Trust::Member& member : state.members) {
            add({.name = member.name,
                 .type = static_cast<DeviceType>(member.type),
                 .networkId = member.networkId,
                 .since = member.since,
                 .holdsKey = member.networkId == state.holder});
        }
        for (const Trust::RemovedKey& removed : state.removed) {
            list.removed.push_back({removed.name, removed.networkId, removed.at});
        }
        return list;
    }
    add({.name = options_.softBus.deviceName,
         .type = static_cast<DeviceType>(options_.softBus.deviceTypeId),
         .networkId = facts.networkId,
         .holdsKey = facts.holdsAccountKey});
    for (const SoftBus::Node& node : nodes) {
        add({.name = node.deviceName, .type = static_cast<DeviceType>(node.deviceTypeId), .networkId = node.networkId});
    }
    return list;
}

template <typename Change>
ChangeAnswer AccountOperations::ChangeAccount(AccountFaultCode missing, Change change)
{
    if (std::optional<AccountFault> fault = WhyNotHolder()) {
        return {std::move(fault)};
    }
    const Result<Trust::Identity> changed = change(options_.identityFolder);
    if (changed) {
        options_.link->Refresh();
        return {};
    }
    AccountFault fault = Failed(changed.error());
    if (changed.error().code == ErrorCode::NOT_FOUND) {
        fault.code = missing;
        fault.advice = "`distnetctl account devices` lists the members";
    } else if (changed.error().code == ErrorCode::INVALID_ARGUMENT) {
        fault.code = AccountFaultCode::BAD_NAME;
    }
    return {std::move(fault)};
}

ChangeAnswer AccountOperations::RenameMember(const std::string& networkId, const std::string& name)
{
    const LinkFacts facts = options_.link->Facts();
    const auto isTaken = [&](const Trust::Member& member) {
        return member.name == name && member.networkId != networkId;
    };
    if (facts.state && facts.holdsAccountKey &&
        std::any_of(facts.state->State().members.begin(), facts.state->State().members.end(), isTaken)) {
        return {NameTaken(name, Trust::FreeName(facts.state->State(), name), "distnetctl account rename DEVICE ")};
    }
    return ChangeAccount(AccountFaultCode::UNKNOWN_MEMBER,
                         [&](const auto& folder) { return Trust::RenameMember(folder, networkId, name); });
}

ChangeAnswer AccountOperations::RemoveMember(const std::string& networkId, bool announcesNewKeyOnly)
{
    if (networkId == options_.link->Facts().networkId) {
        return {AccountFault{AccountFaultCode::THIS_DEVICE, "a device cannot remove itself",
                             "To take this device out of its account: distnetctl account leave", ""}};
    }
    return ChangeAccount(AccountFaultCode::UNKNOWN_MEMBER, [&](const auto& folder) {
        return Trust::RemoveMember(folder, networkId, !announcesNewKeyOnly);
    });
}

ChangeAnswer AccountOperations::Renew()
{
    return ChangeAccount(AccountFaultCode::FAILED, [](const auto& folder) { return Trust::RenewAccount(folder); });
}

ChangeAnswer AccountOperations::Leave()
{
    const LinkFacts facts = options_.link->Facts();
    if (facts.holdsAccountKey && !facts.removedAt && facts.state && facts.state->State().members.size() > 1) {
        return {AccountFault{AccountFaultCode::HAS_MEMBERS,
                             "this device holds the account's key, and the account has other members",
                             "Hand the key over first: distnetctl account transfer DEVICE", ""}};
    }
    if (const auto invitation = TakeInvitation(std::nullopt)) {
        invitation->Close();
    }
    const Result<void> left = options_.link->Leave();
    return left ? ChangeAnswer{} : ChangeAnswer{Failed(left.error())};
}

void AccountOperations::Transfer(const std::string& networkId, IDistNetHost::Answer<ChangeAnswer> answer)
{
    const LinkFacts facts = options_.link->Facts();
    std::optional<AccountFault> fault = WhyNotHolder();
    if (!fault && networkId == facts.networkId) {
        fault = AccountFault{AccountFaultCode::THIS_DEVICE, "this device holds the account's key already", "", ""};
    }
    Result<std::string> key =
        fault ? Fail(ErrorCode::REFUSED, "") : Trust::ExportAccountKey(options_.identityFolder, networkId);
    if (!fault && !key) {
        fault = Failed(key.error());
        fault->code = key.error().code == ErrorCode::NOT_FOUND ? AccountFaultCode::UNKNOWN_MEMBER : fault->code;
    }
    if (fault) {
        answer(HOST_OK, {std::move(fault)});
        return;
    }
    facts.softBus->SendAccountKey(
        networkId, std::move(key.value()),
        [self = shared_from_this(), networkId, answer = std::move(answer)](const Result<void>& sent) {
            self->transfers_.Post(
                [self, networkId, answer, sent] { answer(HOST_OK, self->HandOver(networkId, sent)); });
        });
}

// sent: success if the member has stored the account's key. On success, completes the transfer. On failure, returns the
// cause.
ChangeAnswer AccountOperations::HandOver(const std::string& networkId, const Result<void>& sent)
{
    if (!sent) {
        AccountFault fault = Failed(sent.error());
        fault.message = "the device did not accept the key: " + sent.error().message;
        if (sent.error().code == ErrorCode::UNAVAILABLE) {
            fault = {AccountFaultCode::LOST, "the device is not reachable: " + sent.error().message,
                     "Bring the two near each other or onto one network, and try again", ""};
        }
        return {std::move(fault)};
    }
    const Result<Trust::Identity> handedOver = Trust::HandOverAccount(options_.identityFolder, networkId);
    if (!handedOver) {
        return {Failed(handedOver.error())};
    }
    options_.link->Refresh();
    return {};
}

void AccountOperations::OnProcessGone(pid_t process)
{
    if (const auto invitation = TakeInvitation(process)) {
        invitation->Close();
    }
    if (const auto attempt = TakeJoin(process)) {
        attempt->Cancel();
    }
}

void AccountOperations::Stop()
{
    if (const auto invitation = TakeInvitation(std::nullopt)) {
        invitation->Close();
    }
    if (const auto attempt = TakeJoin(std::nullopt)) {
        attempt->Cancel();
    }
}

}  // namespace Vexo::Host
