// The part of AccountOperations that joins an account by a ticket.
#include <utility>

#include "host/account_faults.h"
#include "host/account_operations.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/trust/account.h"
#include "platform/trust/ticket.h"

namespace Vexo::Host {
namespace {

JoinAnswer NotJoined(AccountFault fault)
{
    JoinAnswer answer;
    answer.fault = std::move(fault);
    return answer;
}

bool HasEnded(const JoinAnswer& answer)
{
    return answer.phase == JoinPhase::DONE || answer.phase == JoinPhase::FAILED;
}

}  // namespace

std::optional<AccountFault> AccountOperations::WhyNoJoin() const
{
    const LinkFacts facts = options_.link->Facts();
    if (facts.removedAt) {
        return WasRemoved(facts.accountName, *facts.removedAt);
    }
    if (facts.softBus) {
        return MemberAlready(facts.accountName);
    }
    const MutexLock lock(mutex_);
    if (join_ && !HasEnded(join_->answer)) {
        return AccountFault{AccountFaultCode::BUSY, "another program on this device is joining an account",
                            "Wait for it, or end it with Ctrl-C", ""};
    }
    return std::nullopt;
}

JoinAnswer AccountOperations::StartJoin(pid_t owner, const std::string& ticket, const std::string& deviceName)
{
    if (std::optional<AccountFault> fault = WhyNoJoin()) {
        return NotJoined(*std::move(fault));
    }
    Result<Trust::Ticket> parsed = Trust::ParseTicket(ticket);
    if (!parsed) {
        return NotJoined({AccountFaultCode::BAD_TICKET, "this is no ticket: " + parsed.error().message, "", ""});
    }
    JoinAnswer answer;
    answer.phase = JoinPhase::SEARCHING;
    answer.deviceName = deviceName.empty() ? options_.softBus.deviceName : deviceName;
    uint32_t number = 0;
    {
        const MutexLock lock(mutex_);
        number = ++numbers_;
        Changed(answer.revision);
        join_ = OwnJoin{owner, number, answer, nullptr};
    }
    auto options = JoinOptionsFor(number, answer, parsed.value());
    auto attempt = options ? SoftBus::JoinAttempt::Start(std::move(options.value())) : Failure(options.error());
    const MutexLock lock(mutex_);
    if (!attempt) {
        join_.reset();
        return NotJoined({AccountFaultCode::FAILED, attempt.error().message, "", ""});
    }
    if (!join_ || join_->number != number) {
        return NotJoined(NotOpen("join"));  // the attempt is destroyed when this function returns
    }
    if (!HasEnded(join_->answer)) {
        join_->attempt = std::move(attempt.value());
    }
    return join_->answer;
}

Result<SoftBus::JoinOptions> AccountOperations::JoinOptionsFor(uint32_t number, const JoinAnswer& answer,
                                                               const Trust::Ticket& ticket)
{
    Result<std::string> request = Trust::MakeRequest(options_.identityFolder, answer.deviceName);
    if (!request) {
        return Failure(std::move(request).error());
    }
    const Result<Trust::Identity> identity = Trust::LoadOrCreateUnenrolled(options_.identityFolder);
    if (!identity) {
        return Failure(identity.error());
    }
    SoftBus::JoinOptions options;
    options.ticket = ticket;
    options.deviceName = answer.deviceName;
    options.deviceTypeId = options_.softBus.deviceTypeId;
    options.networkId = identity.value().networkId;
    options.requestPem = std::move(request.value());
    options.install = [folder = options_.identityFolder](const std::string& answerPem) {
        return Trust::Install(folder, answerPem);
    };
    options.changed = [weak = weak_from_this(), number](const SoftBus::JoinStatus& status) {
        if (const auto self = weak.lock()) {
            self->OnJoinChanged(number, status);
        }
    };
    options.listenAddress = options_.softBus.listenAddress;
    options.peerAddresses = options_.softBus.peerAddresses;
    options.announceFolder = options_.softBus.announceFolder;
    options.channels = options_.softBus.channels;
    options.moreTransports = options_.softBus.moreTransports;
    return options;
}

void AccountOperations::OnJoinChanged(uint32_t number, const SoftBus::JoinStatus& status)
{
    const MutexLock lock(mutex_);
    if (!join_ || join_->number != number || HasEnded(join_->answer)) {
        return;
    }
    JoinAnswer answer = join_->answer;
    answer.phase = static_cast<JoinPhase>(status.phase);
    answer.transport = status.over;
    answer.holder = status.holderName;
    answer.account = status.account;
    answer.number = status.number;
    if (status.phase == SoftBus::JoinPhase::FAILED) {
        answer.fault = JoinFault(status, answer.deviceName);
    }
    if (HasEnded(answer)) {
        // FinishJoin runs later on the pool, because it destroys the attempt, and the attempt cannot be destroyed in
        // its own callback. FinishJoin notifies the attempt's owner when the account can be used.
        Tasks::ElasticPool::Shared().Post(
            [self = shared_from_this(), number, answer] { self->FinishJoin(number, answer); });
        return;
    }
    join_->answer = std::move(answer);
    Changed(join_->answer.revision);
}

void AccountOperations::FinishJoin(uint32_t number, JoinAnswer answer)
{
    std::shared_ptr<SoftBus::JoinAttempt> attempt;
    {
        const MutexLock lock(mutex_);
        if (join_ && join_->number == number) {
            attempt = std::exchange(join_->attempt, nullptr);
        }
    }
    if (attempt) {
        attempt->Cancel();  // returns soon: the attempt has ended, so Cancel only waits for the attempt's thread
        attempt.reset();
    }
    if (answer.phase == JoinPhase::DONE) {
        options_.link->Refresh();
    }
    const MutexLock lock(mutex_);
    if (join_ && join_->number == number && !HasEnded(join_->answer)) {
        join_->answer = std::move(answer);
        Changed(join_->answer.revision);
    }
}

JoinAnswer AccountOperations::JoinOf(pid_t owner) const
{
    return join_ && join_->owner == owner ? join_->answer : NotJoined(NotOpen("join"));
}

void AccountOperations::WaitForJoin(pid_t owner, uint32_t revision, std::chrono::milliseconds limit,
                                    IDistNetHost::Answer<JoinAnswer> answer)
{
    AnswerOnceChanged<JoinAnswer>(*joinWaits_, &AccountOperations::JoinOf, owner, revision, limit, std::move(answer));
}

ChangeAnswer AccountOperations::CancelJoin(pid_t owner)
{
    const std::shared_ptr<SoftBus::JoinAttempt> attempt = TakeJoin(owner);
    if (!attempt) {
        return {NotOpen("join")};
    }
    attempt->Cancel();
    return {};
}

std::shared_ptr<SoftBus::JoinAttempt> AccountOperations::TakeJoin(std::optional<pid_t> owner)
{
    const MutexLock lock(mutex_);
    if (!join_ || !join_->attempt || HasEnded(join_->answer) || (owner && join_->owner != *owner)) {
        return nullptr;
    }
    join_->answer.phase = JoinPhase::FAILED;
    join_->answer.fault =
        JoinFault({SoftBus::JoinPhase::FAILED, {}, {}, {}, {}, SoftBus::JoinFailure::CANCELLED, {}, {}},
                  join_->answer.deviceName);
    Changed(join_->answer.revision);
    return std::exchange(join_->attempt, nullptr);
}

}  // namespace Vexo::Host
