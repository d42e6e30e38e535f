#include "platform/softbus/account/state_exchange.h"

#include <openssl/crypto.h>
#include <openssl/x509.h>

#include <algorithm>
#include <asio/post.hpp>
#include <utility>

#include "platform/base/check.h"
#include "platform/base/text.h"
#include "platform/dfx/guard.h"
#include "platform/dfx/sys_event.h"
#include "platform/softbus/softbus_log.h"
#include "platform/trust/account_backup.h"
#include "platform/trust/key_transfer.h"
#include "platform/trust/membership.h"

namespace Vexo::SoftBus {

namespace {

using Verdict = Standing::Verdict;

constexpr const char* KEY_DEVICE_ID = "DEVICE_ID";

// Returns the signature of a certificate. Two certificates are the same if their signatures are the same.
std::string SignatureOf(X509* certificate)
{
    const ASN1_BIT_STRING* signature = nullptr;
    X509_get0_signature(&signature, nullptr, certificate);
    return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(signature)),
            static_cast<size_t>(ASN1_STRING_length(signature))};
}

std::string TextOf(const Trust::LinkKeys& keys)
{
    std::string text = std::to_string(keys.current.number) + Trust::FingerprintOf(keys.current);
    if (keys.previous) {
        text += Trust::FingerprintOf(keys.previous->key) +
                std::to_string(keys.previous->validUntil.time_since_epoch().count());
    }
    return text;
}

Result<std::optional<Trust::Identity>> AsChange(Result<Trust::Identity> identity)
{
    return identity ? Result<std::optional<Trust::Identity>>(std::move(identity.value()))
                    : Failure(std::move(identity).error());
}

}  // namespace

// The values that Prepare derives from an identity. Apply stores them in the ReactorContext.
struct StateExchange::Prepared {
    std::string ownNetworkId;
    std::shared_ptr<Trust::TlsContext> tls;           // null: keep the present one
    std::shared_ptr<const Trust::Preamble> preamble;  // null: keep the present one
    Sightings::TransportTokens tokens;
    Trust::SignedStatePtr state;
    std::optional<std::chrono::sys_seconds> removedAt;
    Trust::Certificate account;
    bool holdsAccountKey = false;
    bool isRestored = false;
};

StateExchange::~StateExchange()
{
    strand_.Drain();
}

// --- the identity ---

Result<void> StateExchange::Begin(const Trust::Identity& identity)
{
    auto prepared = Prepare(identity);
    if (!prepared) {
        return Failure(std::move(prepared).error());
    }
    Apply(*prepared.value());
    context_.linkSetup.guard = this;
    return {};
}

void StateExchange::UseIdentity(Trust::Identity identity)
{
    const auto shared = std::make_shared<Trust::Identity>(std::move(identity));
    strand_.Post([this, shared] {
        auto prepared = shared->networkId == context_.ownNetworkId
                            ? Prepare(*shared)
                            : Fail(ErrorCode::INVALID_ARGUMENT, "it belongs to another device");
        if (!prepared) {
            QuviewDFX::LogError(LOG_SOFTBUS, "the changed identity is not used: %{public}s", prepared.error().message);
            return;
        }
        options_.post([this, made = prepared.value()] {
            Apply(*made);
            options_.used();
        });
    });
}

Result<std::shared_ptr<StateExchange::Prepared>> StateExchange::Prepare(const Trust::Identity& identity)
{
    if (!identity.Enrolled()) {
        return Fail(ErrorCode::NOT_FOUND, "the soft bus needs an identity that is enrolled in an account");
    }
    auto prepared = std::make_shared<Prepared>();
    prepared->ownNetworkId = identity.networkId;
    std::string certificates = SignatureOf(identity.certificate.get()) + SignatureOf(identity.accountCertificate.get());
    if (certificates != certificates_) {
        auto tls = Trust::TlsContext::Make(identity);
        if (!tls) {
            return Failure(std::move(tls).error());
        }
        prepared->tls = std::move(tls.value());
    }
    std::string linkKeys = TextOf(*identity.linkKeys);
    if (linkKeys != linkKeys_) {
        auto preamble = Trust::Preamble::Make(*identity.linkKeys);
        if (!preamble) {
            return Failure(std::move(preamble).error());
        }
        prepared->preamble = std::move(preamble.value());
    }
    if (!options_.folder.empty()) {
        prepared->state = identity.state;
        prepared->removedAt = identity.removedAt;
    }
    const bool announcesPrevious = prepared->state && prepared->state->State().announcesPreviousKey;
    for (const auto& transport : context_.transports) {
        auto tokens =
            Trust::AnnouncementTokens::Make(*identity.linkKeys, transport->Name(), Clock::System(), announcesPrevious);
        if (!tokens) {
            return Failure(std::move(tokens).error());
        }
        prepared->tokens[transport->Name()] = std::move(tokens.value());
    }
    prepared->account.reset(X509_dup(identity.accountCertificate.get()));
    prepared->holdsAccountKey = identity.holdsAccountKey;
    prepared->isRestored = !options_.folder.empty() && Trust::IsRestored(options_.folder);
    certificates_ = std::move(certificates);
    linkKeys_ = std::move(linkKeys);
    return prepared;
}

void StateExchange::Apply(const Prepared& prepared)
{
    if (prepared.tls) {
        context_.linkSetup.tls = prepared.tls;
    }
    if (prepared.preamble) {
        context_.linkSetup.preamble = prepared.preamble;
    }
    context_.sightings.SetTokens(prepared.ownNetworkId, prepared.tokens);
    context_.account.Use(prepared.ownNetworkId, prepared.state, prepared.removedAt);
    account_.reset(X509_dup(prepared.account.get()));
    holdsAccountKey_ = prepared.holdsAccountKey && prepared.state;
    isRestored_ = prepared.isRestored;
    if (prepared.state) {
        for (const Trust::RemovedKey& removed : prepared.state->State().removed) {
            context_.linkSetup.tls->Forget(removed.networkId);
        }
        std::erase_if(numbers_, [&](const auto& known) { return !context_.account.IsMember(known.first); });
    }
}

// --- the state of other devices ---

Standing StateExchange::OnHello(Link& link, const Hello& hello)
{
    DISTNET_ASSERT(context_.RunsOnThisThread(), "on the reactor thread");
    const Trust::SignedStatePtr state = context_.account.State();
    const uint64_t own = context_.account.Number();
    const std::string& peer = link.PeerNetworkId();
    const bool isMember = context_.account.IsMember(peer);
    const bool lacksState = hello.version >= HELLO_VERSION && hello.stateNumber < own;
    if (isMember) {
        numbers_[peer] = lacksState ? own : hello.stateNumber;
    }
    const bool hasOldKey = link.GetRole() == Link::Role::SERVER && link.Key() == Trust::ProvenKey::PREVIOUS;
    const bool isRenewed = isMember && !hasOldKey && holdsAccountKey_ && hello.version >= HELLO_VERSION &&
                           ShowsOlderCertificate(link) &&
                           RenewCertificate(link.shared_from_this(), lacksState ? state : nullptr);
    if (lacksState && !isRenewed) {
        link.Send(FrameKind::STATE, state->Bytes());
    } else if (own != 0 && hello.stateNumber == own && hello.stateDigest != state->Digest()) {
        ReportConflict(peer, own);
    }
    Standing standing;
    standing.isPending = isRenewed || (hello.stateNumber > own && !options_.folder.empty()) ||
                         (isMember && isRestored_ && CompleteRestore(link));
    if (isMember) {
        standing.verdict = hasOldKey ? Verdict::LEAVE : Verdict::TALK;
        return standing;
    }
    // AddMemberWithoutState starts work that makes the peer a member. Wait for OnStateHandled, as for a peer that sends
    // a newer state.
    standing.isPending =
        standing.isPending || (holdsAccountKey_ && hello.stateNumber == 0 && AddMemberWithoutState(link, hello));
    standing.verdict = standing.isPending ? Verdict::AWAIT_STATE : Verdict::LEAVE;
    if (!standing.isPending) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "%{public}s has a certificate of the account, but is not a member: refused",
                           ShortId(peer));
    }
    return standing;
}

bool StateExchange::IsBehind(const std::string& networkId) const
{
    const auto known = numbers_.find(networkId);
    return context_.account.Number() > (known != numbers_.end() ? known->second : 0);
}

void StateExchange::ReportConflict(const std::string& from, uint64_t number)
{
    if (const auto leftOut = refusals_.Admit(from)) {
        QuviewDFX::LogWarn(LOG_SOFTBUS,
                           "%{public}s has another account state with the number %{public}s: this device keeps its "
                           "own; the account's key was used on two devices%{public}s",
                           ShortId(from), std::to_string(number), *leftOut);
        QuviewDFX::QuSysEvent::Write("NETMANAGER", "NET_ACCOUNT_STATE_CONFLICT", QuviewDFX::QuSysEvent::SECURITY,
                                     KEY_DEVICE_ID, ShortId(from));
    }
}

// --- only on the holder of the account's key ---

bool StateExchange::ShowsOlderCertificate(const Link& link) const
{
    X509* const shown = link.PeerCertificate();
    return shown != nullptr && ASN1_TIME_compare(X509_get0_notBefore(shown), X509_get0_notBefore(account_.get())) < 0;
}

// On the strand, sends the peer its renewed certificate, if one exists, and then the account's state. Calls
// link->StateHandled() afterwards. state: the account's state; null: no state is sent. Returns false if the strand
// accepts no work.
bool StateExchange::RenewCertificate(const std::shared_ptr<Link>& link, const Trust::SignedStatePtr& state)
{
    const std::shared_ptr<X509> shown(X509_dup(link->PeerCertificate()), X509_free);
    return StartAdoption(link, [this, link, state, shown]() -> Result<std::optional<Trust::Identity>> {
        const auto der = Trust::RenewedCertificate(options_.folder, link->PeerNetworkId(), shown.get());
        if (der && der->size() <= MAX_CERTIFICATE_BYTES) {
            link->Send(FrameKind::CERTIFICATE, *der);
        }
        if (state) {
            link->Send(FrameKind::STATE, state->Bytes());
        }
        return std::nullopt;
    });
}

// Makes a device a member if the device was enrolled before the account had a state. Calls StateHandled afterwards.
// Returns false if the strand accepts no work.
bool StateExchange::AddMemberWithoutState(Link& link, const Hello& hello)
{
    Trust::Member member{link.PeerNetworkId(), hello.deviceName, hello.deviceTypeId,
                         std::chrono::floor<std::chrono::seconds>(Clock::System().WallNow())};
    return StartAdoption(link.shared_from_this(), [this, member = std::move(member)] {
        return Trust::AddMemberWithoutState(options_.folder, member);
    });
}

// --- adoption ---

void StateExchange::OnAccountFrame(const std::shared_ptr<Link>& link, FrameKind kind, std::string payload)
{
    if (options_.folder.empty()) {
        return;
    }
    const auto secret = std::make_shared<Trust::SecretText>(std::move(payload));
    if (kind == FrameKind::ACCOUNT_KEY) {
        StoreAccountKey(link, secret);
        return;
    }
    StartAdoption(link, [this, kind, secret]() -> Result<std::optional<Trust::Identity>> {
        if (kind == FrameKind::CERTIFICATE) {
            return AsChange(Trust::AdoptCertificate(options_.folder, secret->text));
        }
        auto adopted = Trust::AdoptState(options_.folder, secret->text);
        return adopted && Trust::IsRestored(options_.folder) ? AsChange(Trust::CompleteRestore(options_.folder))
                                                             : std::move(adopted);
    });
}

// Ends the restore of this device from a backup, so that this device may sign states of the account. Call when the
// HELLO of another member shows that the member has no newer state than this device. Returns false if the strand
// accepts no work.
bool StateExchange::CompleteRestore(Link& link)
{
    return StartAdoption(link.shared_from_this(), [this] { return AsChange(Trust::CompleteRestore(options_.folder)); });
}

// Stores the account's private key that another member has sent, and sends KEY_STORED.
void StateExchange::StoreAccountKey(const std::shared_ptr<Link>& link, const std::shared_ptr<Trust::SecretText>& key)
{
    if (!context_.account.IsMember(link->PeerNetworkId())) {
        link->Refuse("the account's key from a device that is not a member");
        return;
    }
    StartAdoption(link, [this, link, key]() -> Result<std::optional<Trust::Identity>> {
        if (auto stored = Trust::StoreAccountKey(options_.folder, key->text); !stored) {
            options_.post([link, why = stored.error().message] { link->Refuse(why); });
            return Failure(std::move(stored).error());
        }
        link->Send(FrameKind::KEY_STORED);
        return AsChange(Trust::LoadIdentity(options_.folder));
    });
}

bool StateExchange::StartAdoption(const std::shared_ptr<Link>& link, Change change)
{
    ++adopting_;
    const bool isPosted = strand_.Post([this, link, change = std::move(change)] { Adopt(link, change); });
    if (!isPosted) {
        AdoptionEnded();
    }
    return isPosted;
}

// Runs on the strand. Calls change(), and then uses the identity that change() has returned.
void StateExchange::Adopt(const std::shared_ptr<Link>& link, const Change& change)
{
    const std::string& from = link->PeerNetworkId();
    std::shared_ptr<Prepared> made;
    bool isConflict = false;
    const auto adopt = [&]() -> Result<void> {
        auto adopted = change();
        if (!adopted) {
            isConflict = adopted.error().code == ErrorCode::ALREADY_EXISTS;
            return Failure(std::move(adopted).error());
        }
        if (adopted.value()) {
            auto prepared = Prepare(*adopted.value());
            if (!prepared) {
                return Failure(std::move(prepared).error());
            }
            made = prepared.value();
        }
        return {};
    };
    Result<void> result = Fail(ErrorCode::SYSTEM, "an internal error of this device");
    QuviewDFX::RunGuarded(LOG_SOFTBUS, "adopting the account's state", [&] { result = adopt(); });
    if (!result && !isConflict) {
        if (const auto leftOut = refusals_.Admit(from)) {
            QuviewDFX::LogWarn(LOG_SOFTBUS, "what %{public}s sent about the account is refused: %{public}s%{public}s",
                               ShortId(from), result.error().message, *leftOut);
        }
    }
    options_.post([this, made, isConflict, link] {
        const std::string& peer = link->PeerNetworkId();
        if (made) {
            Apply(*made);
            QuviewDFX::LogInfo(LOG_SOFTBUS, "state %{public}s of the account is in use after contact with %{public}s",
                               std::to_string(context_.account.Number()), ShortId(peer));
            options_.used();
        } else if (isConflict) {
            ReportConflict(peer, context_.account.Number());
        }
        link->StateHandled();
        AdoptionEnded();
    });
    if (made) {
        QuviewDFX::RunGuarded(LOG_SOFTBUS, "identity callback", options_.identityChanged);
    }
}

void StateExchange::AdoptionEnded()
{
    --adopting_;
    if (adopting_ == 0) {
        for (auto& then : std::exchange(waiting_, {})) {
            asio::post(*context_.reactor, std::move(then));
        }
    }
}

void StateExchange::WhenAdopted(std::function<void()> then)
{
    waiting_.push_back(std::move(then));
    if (adopting_ == 0) {
        ++adopting_;
        AdoptionEnded();
    }
}

// --- removal ---

std::string StateExchange::RemovalOf(const std::string& networkId)
{
    const Trust::SignedStatePtr state = context_.account.State();
    const Trust::RemovedKey* const removed = state ? state->State().FindRemoved(networkId) : nullptr;
    return removed != nullptr ? Trust::EncodeRemoval(*removed) : "";
}

std::string StateExchange::OnRemoved(const std::string& payload)
{
    const auto statement = Trust::DecodeRemoval(payload, context_.ownNetworkId, account_.get());
    if (!statement) {
        return statement.error().message;
    }
    const bool isNew = context_.account.OwnRemovalText().empty();
    context_.account.SetOwnRemoval(statement.value().at);
    std::string why = context_.account.OwnRemovalText();
    if (isNew) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "%{public}s", why);
    }
    if (isNew && !options_.folder.empty()) {
        strand_.Post([this, removal = statement.value()] {
            const auto recorded = Trust::RecordOwnRemoval(options_.folder, removal);
            if (!recorded) {
                QuviewDFX::LogError(LOG_SOFTBUS,
                                    "the removal of this device is forgotten at the next start: %{public}s",
                                    recorded.error().message);
            }
            QuviewDFX::RunGuarded(LOG_SOFTBUS, "identity callback", options_.identityChanged);
        });
    }
    return why;
}

}  // namespace Vexo::SoftBus
