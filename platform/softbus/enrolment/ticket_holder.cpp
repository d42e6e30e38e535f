#include "platform/softbus/enrolment/ticket_holder.h"

#include <asio/post.hpp>
#include <cstdlib>
#include <optional>

#include "platform/base/text.h"
#include "platform/softbus/enrolment/conversation.h"
#include "platform/softbus/softbus_log.h"
#include "platform/trust/ticket_join.h"

namespace Vexo::SoftBus {

namespace {

constexpr size_t MAX_QUEUED_BYTES = 2 * MAX_JOIN_ANSWER_BYTES;
constexpr const char* HAS_EXPIRED = "the ticket has expired";
constexpr const char* WAS_WITHDRAWN = "the ticket was withdrawn";

}  // namespace

// The conversation with one joiner (a device that connects with the ticket).
class TicketHolder::Talk final : public Conversation {
public:
    Talk(std::weak_ptr<TicketHolder> holder, asio::io_context& reactor, std::shared_ptr<Link> link)
        : Conversation(reactor, std::move(link)), holder_(std::move(holder))
    {
    }

    void Start() { GetLink().Start(shared_from_this()); }

    // Returns false if the system provides no random bytes.
    bool SendNonce(const std::string& holderName, const std::string& account)
    {
        auto nonce = Trust::MakeJoinNonce();
        if (nonce) {
            nonce_ = std::move(nonce.value());
            GetLink().Send(FrameKind::JOIN_NONCE, EncodeJoinNonce({nonce_, holderName, account}));
        }
        return nonce.has_value();
    }

    void Answer(JoinFailure result, const std::string& text)
    {
        SendLast(FrameKind::JOIN_ANSWER, EncodeJoinAnswer({result, text}));
        isAnswered_ = true;
    }

    bool IsAnswered() const { return isAnswered_; }
    const Joiner& Who() const { return joiner_; }
    const std::string& RequestPem() const { return requestPem_; }
    int64_t ClockMs() const { return clockMs_; }

private:
    TalkPtr Self() { return std::static_pointer_cast<Talk>(shared_from_this()); }

    void OnJoinFrame(FrameKind kind, const std::string& payload) override
    {
        const auto holder = holder_.lock();
        if (!holder || isAnswered_) {
            return;
        }
        if (kind == FrameKind::JOIN_COMMIT && commitment_.empty()) {
            commitment_ = payload;
            holder->OnCommit(Self());
        } else if (kind == FrameKind::JOIN_REQUEST && !nonce_.empty() && requestPem_.empty()) {
            const auto read = Read(payload);
            if (read) {
                KeepAlive();
                holder->OnRequest(Self());
            } else {
                GetLink().Refuse(read.error().message);
            }
        } else {
            GetLink().Refuse("an unexpected frame during an enrolment by ticket");
        }
    }

    Result<void> Read(const std::string& payload)
    {
        if (Trust::JoinCommitment(payload) != commitment_) {
            return Fail(ErrorCode::UNTRUSTED, "its JOIN_REQUEST does not match its JOIN_COMMIT");
        }
        const auto request = DecodeJoinRequest(payload);
        if (!request) {
            return Failure(request.error());
        }
        auto enrolment = Trust::ReadRequest(request.value().requestDer);
        if (!enrolment) {
            return Failure(std::move(enrolment).error());
        }
        auto number = NumberOf(nonce_, payload);
        if (!number) {
            return Failure(std::move(number).error());
        }
        joiner_ = {enrolment.value().name, request.value().deviceType, enrolment.value().networkId,
                   std::move(number.value())};
        requestPem_ = std::move(enrolment.value().pem);
        clockMs_ = request.value().clockMs;
        return {};
    }

    void OnLost(const std::string& why) override
    {
        if (const auto holder = holder_.lock()) {
            holder->OnJoinerLost(Self(), why);
        }
    }

    const std::weak_ptr<TicketHolder> holder_;
    std::string commitment_;
    std::string nonce_;
    Joiner joiner_;
    std::string requestPem_;  // empty before JOIN_REQUEST is received
    int64_t clockMs_ = 0;
    bool isAnswered_ = false;
};

// --- start and stop ---

Result<std::shared_ptr<TicketHolder>> TicketHolder::Make(Setup setup, InvitationOptions options, Tasks::Timers& timers)
{
    auto tls = Trust::TlsContext::MakeForTicket(setup.ticket);
    if (!tls) {
        return Failure(std::move(tls).error());
    }
    auto preamble = Trust::Preamble::Make(Trust::TicketKeys(setup.ticket));
    if (!preamble) {
        return Failure(std::move(preamble).error());
    }
    std::shared_ptr<TicketHolder> holder(new TicketHolder(std::move(setup), std::move(options), timers));
    holder->linkSetup_ = {std::move(tls.value()), std::move(preamble.value()), MAX_QUEUED_BYTES};
    holder->StartTimers();
    holder->setup_.announcer->Start();
    return holder;
}

TicketHolder::TicketHolder(Setup setup, InvitationOptions options, Tasks::Timers& timers)
    : setup_(std::move(setup)),
      options_(std::move(options)),
      timers_(timers),
      expires_(timers.BootNow() + Trust::TICKET_LIFE)
{
    status_.ticket = Trust::TicketText(setup_.ticket);
    status_.expires = timers.WallNow() + Trust::TICKET_LIFE;
}

void TicketHolder::StartTimers()
{
    const auto onReactor = [weak = weak_from_this()](auto work) {
        return [weak, work] {
            if (const auto self = weak.lock()) {
                self->Post([self, work] { work(*self); });
            }
        };
    };
    expiry_ = timers_.RunAfter(Trust::TICKET_LIFE,
                               onReactor([](TicketHolder& self) { self.End(JoinFailure::EXPIRED, HAS_EXPIRED); }));
    end_ = timers_.RunAfter(Trust::TICKET_ANSWER_TIME, onReactor([](TicketHolder& self) {
                                self.isForgotten_ = true;
                                self.setup_.announcer->Withdraw();
                                for (const TalkPtr& talk : std::exchange(self.talks_, {})) {
                                    talk->Abort();
                                }
                            }));
}

void TicketHolder::Stop()
{
    {
        const MutexLock lock(mutex_);
        isStopped_ = true;
    }
    for (const TalkPtr& talk : std::exchange(talks_, {})) {
        talk->Abort();
    }
    asking_.reset();
}

template <typename WorkOnReactor>
void TicketHolder::Post(WorkOnReactor work)
{
    const MutexLock lock(mutex_);
    if (!isStopped_) {
        asio::post(*setup_.reactor, std::move(work));
    }
}

template <typename Change>
void TicketHolder::Update(Change change)
{
    MutexLock lock(mutex_);
    change(status_);
    if (options_.changed && !isStopped_) {
        strand_.Post([changed = options_.changed, status = status_] { changed(status); });
    }
}

// --- the person's side ---

InvitationStatus TicketHolder::Status() const
{
    const MutexLock lock(mutex_);
    return status_;
}

bool TicketHolder::IsOpen() const
{
    const MutexLock lock(mutex_);
    return !isStopped_ && !isClosed_ &&
           (status_.phase == InvitationPhase::WAITING || status_.phase == InvitationPhase::ASKING);
}

Result<void> TicketHolder::Answer(const std::string& networkId, bool admit)
{
    std::string number;
    {
        const MutexLock lock(mutex_);
        if (isStopped_ || isAnswered_ || status_.phase != InvitationPhase::ASKING ||
            status_.joiner.networkId != networkId) {
            return Fail(ErrorCode::NOT_FOUND, "no device with that id asks to join (any more)");
        }
        isAnswered_ = true;
        number = status_.joiner.number;
    }
    Post([self = shared_from_this(), number, admit] {
        if (!self->asking_ || self->asking_->Who().number != number) {
            return;  // the joiner's link has ended, or the joiner asks again with another number
        }
        if (admit) {
            self->Admit(self->asking_);
        } else {
            self->End(JoinFailure::DENIED, "its request was turned down");
        }
    });
    return {};
}

void TicketHolder::Close()
{
    {
        const MutexLock lock(mutex_);
        isClosed_ = true;
    }
    Post([self = shared_from_this()] { self->End(JoinFailure::EXPIRED, WAS_WITHDRAWN); });
}

bool TicketHolder::HasEnded() const
{
    const InvitationPhase phase = Status().phase;
    return phase == InvitationPhase::ADMITTED || phase == InvitationPhase::ENDED;
}

// Ends the invitation if it is open, and rejects the joiner that asks. Does nothing while a joiner is being admitted,
// because EndIfDue is called after that.
void TicketHolder::End(JoinFailure result, const std::string& why)
{
    if (HasEnded() || isAdmitting_) {
        return;
    }
    if (const TalkPtr talk = std::exchange(asking_, nullptr)) {
        talk->Answer(result, why);
    }
    Update([&](InvitationStatus& status) {
        status.phase = InvitationPhase::ENDED;
        status.why = why;
    });
}

// --- joiners ---

bool TicketHolder::IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage) const
{
    return !isForgotten_ && linkSetup_.preamble->IsProof(proof, challenge, firstMessage);
}

void TicketHolder::Accept(Stream stream, const std::string& firstMessage)
{
    if (talks_.size() >= MAX_JOIN_LINKS) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "a joiner's connection was refused: %{public}s are open already",
                           std::to_string(talks_.size()));
        return;
    }
    auto link =
        Link::MakeServer(*setup_.reactor, std::move(stream), linkSetup_, firstMessage, Trust::ProvenKey::TICKET);
    if (link) {
        const auto talk = std::make_shared<Talk>(weak_from_this(), *setup_.reactor, std::move(link));
        talks_.insert(talk);
        talk->Start();
    }
}

std::optional<JoinAnswer> TicketHolder::RefusalOf(const std::string& key) const
{
    const bool isOver = timers_.BootNow() >= expires_;
    if (!admittedKey_.empty()) {
        return isOver || (!key.empty() && key != admittedKey_)
                   ? std::optional(JoinAnswer{JoinFailure::USED, "another device has joined with the ticket"})
                   : std::nullopt;
    }
    if (isOver) {
        return JoinAnswer{JoinFailure::EXPIRED, HAS_EXPIRED};
    }
    if (IsOpen()) {
        return std::nullopt;
    }
    return JoinAnswer{JoinFailure::EXPIRED, HasEnded() ? Status().why : WAS_WITHDRAWN};
}

void TicketHolder::OnCommit(const TalkPtr& talk)
{
    if (tries_ >= MAX_JOIN_TRIES) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "a ticket was tried %{public}d times and is closed", tries_);
        End(JoinFailure::EXPIRED, "the ticket was tried too often");
    }
    if (const auto refusal = RefusalOf("")) {
        talk->Answer(refusal->result, refusal->text);
        return;
    }
    if (tries_ >= MAX_JOIN_TRIES) {
        talk->Answer(JoinFailure::REFUSED, "the ticket was tried too often");
        return;
    }
    if (!talk->SendNonce(setup_.holderName, setup_.account)) {
        talk->Answer(JoinFailure::REFUSED, "the inviting device has no random bytes");
        return;
    }
    ++tries_;
}

void TicketHolder::OnRequest(const TalkPtr& talk)
{
    const std::string& key = talk->Who().networkId;
    if (const auto refusal = RefusalOf(key)) {
        talk->Answer(refusal->result, refusal->text);
        return;
    }
    if (asking_ && asking_->Who().networkId != key) {
        talk->Answer(JoinFailure::BUSY, "another device asks to join right now");
        return;
    }
    const auto difference =
        std::chrono::abs(std::chrono::milliseconds(talk->ClockMs()) -
                         std::chrono::duration_cast<std::chrono::milliseconds>(timers_.WallNow().time_since_epoch()));
    if (difference > MAX_JOIN_CLOCK_DIFFERENCE) {
        Refuse(talk, JoinFailure::WRONG_CLOCK,
               "the two devices' clocks differ by " +
                   std::to_string(std::chrono::floor<std::chrono::hours>(difference).count()) + " hours");
        return;
    }
    AskPerson(talk);
}

// Rejects this joiner. The invitation stays open, so other devices may still join.
void TicketHolder::Refuse(const TalkPtr& talk, JoinFailure result, const std::string& text)
{
    talk->Answer(result, text);
    Update([&](InvitationStatus& status) { status.why = talk->Who().name + ": " + text; });
}

void TicketHolder::AskPerson(const TalkPtr& talk)
{
    if (const TalkPtr before = std::exchange(asking_, talk)) {
        talks_.erase(before);  // an earlier link of the same device, which has broken
        before->Abort();
    }
    if (isAdmitting_) {
        return;  // OnAdmitted will send the joiner the answer of the running admission
    }
    if (!admittedKey_.empty()) {
        Admit(talk);
        return;
    }
    {
        const MutexLock lock(mutex_);
        isAnswered_ = options_.confirmsItself;
    }
    QuviewDFX::LogInfo(LOG_SOFTBUS, "device %{public}s asks to join", ShortId(talk->Who().networkId));
    Update([&](InvitationStatus& status) {
        status.phase = InvitationPhase::ASKING;
        status.joiner = talk->Who();
        status.why.clear();
    });
    if (options_.confirmsItself) {
        Admit(talk);
    }
}

void TicketHolder::Admit(const TalkPtr& talk)
{
    isAdmitting_ = true;
    const bool isPosted = strand_.Post([self = shared_from_this(), talk] {
        auto answer = self->options_.admit(talk->RequestPem(), talk->Who());
        const bool isTaken = !answer && answer.error().code == ErrorCode::ALREADY_EXISTS;
        std::string freeName =
            isTaken && self->options_.suggestName ? self->options_.suggestName(talk->Who().name) : "";
        self->Post(
            [self, answer = std::move(answer), freeName = std::move(freeName)] { self->OnAdmitted(answer, freeName); });
    });
    if (!isPosted) {
        OnAdmitted(Fail(ErrorCode::SYSTEM, "this device has no free thread"), "");
    }
}

void TicketHolder::OnAdmitted(const Result<std::string>& answer, const std::string& freeName)
{
    isAdmitting_ = false;
    const TalkPtr talk = std::exchange(asking_, nullptr);
    if (answer) {
        talk->Answer(JoinFailure::NONE, answer.value());
        if (std::exchange(admittedKey_, talk->Who().networkId).empty()) {
            QuviewDFX::LogInfo(LOG_SOFTBUS, "device %{public}s was admitted", ShortId(admittedKey_));
            Update([](InvitationStatus& status) { status.phase = InvitationPhase::ADMITTED; });
        }
        return;
    }
    const ErrorCode code = answer.error().code;
    const JoinFailure result = code == ErrorCode::ALREADY_EXISTS ? JoinFailure::NAME_TAKEN
                               : code == ErrorCode::REFUSED      ? JoinFailure::REMOVED_KEY
                                                                 : JoinFailure::REFUSED;
    QuviewDFX::LogWarn(LOG_SOFTBUS, "device %{public}s was not admitted: %{public}s", ShortId(talk->Who().networkId),
                       answer.error().message);
    talk->Answer(result, result == JoinFailure::NAME_TAKEN ? freeName : answer.error().message);
    if (admittedKey_.empty()) {
        Update([&](InvitationStatus& status) {
            status.phase = InvitationPhase::WAITING;
            status.why = answer.error().message;
        });
        EndIfDue();
    }
}

// Call after a failed admission. Ends the invitation if it has expired or was closed during the admission.
void TicketHolder::EndIfDue()
{
    if (timers_.BootNow() >= expires_) {
        End(JoinFailure::EXPIRED, HAS_EXPIRED);
    } else if (!IsOpen()) {
        End(JoinFailure::EXPIRED, WAS_WITHDRAWN);
    }
}

void TicketHolder::OnJoinerLost(const TalkPtr& talk, const std::string& why)
{
    talks_.erase(talk);
    if (talk != asking_ || isAdmitting_) {
        return;
    }
    asking_.reset();
    Update([&](InvitationStatus& status) {
        status.phase = InvitationPhase::WAITING;
        status.why = talk->Who().name + " went away before it was admitted: " + why;
    });
}

}  // namespace Vexo::SoftBus
