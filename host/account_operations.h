// AccountOperations: the operations on this device's account that local programs request (ability 1164, requests 10 to
// 22): invite a device, join by a ticket, list, rename and remove members, leave, renew, and transfer the account's
// key. At most one invitation and one join exist at a time. Each belongs to the process that began it, and is cancelled
// when that process ends; but an invitation that has admitted a device stays open until its ticket expires. The caller
// checks the rights (account_requests.h). Any thread may call, and several calls may run at once.
// - WaitForInvitation and WaitForJoin do not block.
// - CancelJoin, OnProcessGone and Stop block on the disk and until the join has ended.
// - Leave blocks on the disk and for as long as SoftBusServer::Stop does.
// - All other functions block on the disk.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/account_link.h"
#include "host/change_waits.h"
#include "interfaces/account_answers.h"
#include "interfaces/i_distnet_host.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/enrolment/invitation.h"
#include "platform/softbus/enrolment/join_attempt.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {

struct AccountOperationsOptions {
    std::filesystem::path identityFolder;
    std::shared_ptr<AccountLink> link;
    SoftBus::SoftBusOptions softBus;  // says how a join finds the other device, and the type of this device
};

class AccountOperations : public NoCopyable, public std::enable_shared_from_this<AccountOperations> {
public:
    static std::shared_ptr<AccountOperations> Make(AccountOperationsOptions options);

    InvitationAnswer OpenInvitation(pid_t owner, bool admitsWithoutAsking);
    void WaitForInvitation(pid_t owner, uint32_t revision, std::chrono::milliseconds limit,
                           IDistNetHost::Answer<InvitationAnswer> answer);
    ChangeAnswer AnswerJoiner(pid_t owner, const std::string& networkId, bool admit);
    ChangeAnswer CloseInvitation(pid_t owner);

    JoinAnswer StartJoin(pid_t owner, const std::string& ticket, const std::string& deviceName);
    void WaitForJoin(pid_t owner, uint32_t revision, std::chrono::milliseconds limit,
                     IDistNetHost::Answer<JoinAnswer> answer);
    ChangeAnswer CancelJoin(pid_t owner);

    MemberList Members() const;
    ChangeAnswer RenameMember(const std::string& networkId, const std::string& name);
    ChangeAnswer RemoveMember(const std::string& networkId, bool announcesNewKeyOnly);
    ChangeAnswer Leave();
    // Transfers the account's key to the member with the given network id. Does not wait for that member. Answers
    // within the soft bus's SEEKING_OPEN_LIMIT.
    void Transfer(const std::string& networkId, IDistNetHost::Answer<ChangeAnswer> answer);
    ChangeAnswer Renew();

    // Call when the last connection of the given process has closed. Cancels the process's join, and cancels its
    // invitation unless the invitation has admitted a device.
    void OnProcessGone(pid_t process);
    // Cancels the invitation and the join. Call before the AccountLink stops.
    void Stop();

private:
    struct OwnInvitation {
        pid_t owner = 0;
        uint32_t number = 0;  // distinguishes the callbacks of this invitation from those of an earlier one
        InvitationAnswer answer;
        bool isDenied = false;  // the person denied the device that asked
        std::shared_ptr<SoftBus::Invitation> invitation{};
    };
    struct OwnJoin {
        pid_t owner = 0;
        uint32_t number = 0;
        JoinAnswer answer;
        std::shared_ptr<SoftBus::JoinAttempt> attempt{};
    };

    explicit AccountOperations(AccountOperationsOptions options) : options_(std::move(options)) {}

    LinkFacts CurrentFacts() const;
    // Returns why this device may not change the account now, or no value if it may.
    std::optional<AccountFault> WhyNotHolder() const;
    Result<std::string> Admit(const std::string& requestPem, const SoftBus::Joiner& joiner);
    void OnInvitationChanged(uint32_t number) EXCLUDES(mutex_);
    void OnJoinChanged(uint32_t number, const SoftBus::JoinStatus& status) EXCLUDES(mutex_);
    void FinishJoin(uint32_t number, JoinAnswer answer) EXCLUDES(mutex_);
    std::optional<AccountFault> WhyNoJoin() const EXCLUDES(mutex_);
    Result<SoftBus::JoinOptions> JoinOptionsFor(uint32_t number, const JoinAnswer& answer, const Trust::Ticket& ticket);
    void Changed(uint32_t& revision) REQUIRES(mutex_);
    InvitationAnswer InvitationOf(pid_t owner) const REQUIRES(mutex_);
    JoinAnswer JoinOf(pid_t owner) const REQUIRES(mutex_);
    // A member function that returns the current answer for the given process: InvitationOf or JoinOf.
    template <typename Value>
    using Read = Value (AccountOperations::*)(pid_t owner) const;
    // Answers as soon as the revision of the value that `read` returns for the given process differs from the given
    // revision, or after the time limit.
    template <typename Value>
    void AnswerOnceChanged(ChangeWaits& waits, Read<Value> read, pid_t owner, uint32_t revision,
                           std::chrono::milliseconds limit, IDistNetHost::Answer<Value> answer);
    // TakeInvitation and TakeJoin mark the invitation or the join as cancelled, so that its owner can still read how it
    // ended. They return the object that the caller must stop, or null if there is nothing to cancel. owner: the id of
    // the process; no value: any process.
    std::shared_ptr<SoftBus::Invitation> TakeInvitation(std::optional<pid_t> owner) EXCLUDES(mutex_);
    std::shared_ptr<SoftBus::JoinAttempt> TakeJoin(std::optional<pid_t> owner) EXCLUDES(mutex_);
    ChangeAnswer HandOver(const std::string& networkId, const Result<void>& sent);
    // Changes the identity folder with the function `change`, and then applies the changed folder. missing: the code of
    // the fault if `change` fails with NOT_FOUND.
    template <typename Change>
    ChangeAnswer ChangeAccount(AccountFaultCode missing, Change change);

    const AccountOperationsOptions options_;
    const std::shared_ptr<ChangeWaits> invitationWaits_ = ChangeWaits::Make();
    const std::shared_ptr<ChangeWaits> joinWaits_ = ChangeWaits::Make();
    mutable Mutex mutex_;
    CondVar changed_;
    uint32_t revision_ GUARDED_BY(mutex_) = 0;  // revision of the latest change of an invitation or a join
    uint32_t numbers_ GUARDED_BY(mutex_) = 0;   // number of the latest invitation or join
    std::optional<OwnInvitation> invitation_ GUARDED_BY(mutex_);
    std::optional<OwnJoin> join_ GUARDED_BY(mutex_);
    Tasks::Strand transfers_;  // has its own synchronisation
};

template <typename Value>
void AccountOperations::AnswerOnceChanged(ChangeWaits& waits, Read<Value> read, pid_t owner, uint32_t revision,
                                          std::chrono::milliseconds limit, IDistNetHost::Answer<Value> answer)
{
    const auto readNow = [self = shared_from_this(), read, owner] { return ((*self).*read)(owner); };
    waits.AddForRevision<Value>({&mutex_, &changed_, readNow}, revision, limit,
                                [answer = std::move(answer)](const Value& now) { answer(HOST_OK, now); });
}

}  // namespace Vexo::Host
