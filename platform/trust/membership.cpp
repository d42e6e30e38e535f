#include "platform/trust/membership.h"

#include <openssl/x509.h>

#include <algorithm>
#include <system_error>

#include "platform/base/files.h"
#include "platform/base/utf8.h"
#include "platform/trust/account.h"
#include "platform/trust/account_holder.h"
#include "platform/trust/certificates.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

// Checks that this device's certificate is valid under the account certificate in the given state. Without this check,
// a device that adopts the state could lose its enrolment.
Result<void> CheckOwnCertificate(const Identity& identity, const AccountState& state)
{
    const std::vector<Certificate> account = CertificatesFromPem(state.accountCertificate);
    auto verified = VerifySignedBy(identity.certificate.get(), account.front().get());
    return verified ? verified
                    : Fail(ErrorCode::UNTRUSTED,
                           "the account's state has an account certificate under which this device's own certificate "
                           "is not valid");
}

Failure UnknownMember(const std::string& networkId)
{
    return Fail(ErrorCode::NOT_FOUND, networkId + ": no member of the account");
}

// Returns the reason why this device must keep the account's key, or an empty string when the key may be deleted.
std::string ReasonToKeepKey(const std::filesystem::path& folder, const Identity& identity)
{
    const AccountState* const state = identity.state ? &identity.state->State() : nullptr;
    const bool isKnown = state != nullptr && !FileExists(folder / RESTORED_FILE);
    if (!identity.HasCertificate() || (!isKnown && !identity.removedAt)) {
        return "this device holds an account's key and does not know which members need it; `distnetctl doctor` says "
               "how to repair the account";
    }
    const bool isNeeded = !identity.removedAt && state->holder == identity.networkId && state->members.size() > 1;
    return isNeeded ? "this device holds the account's key, which the other members need; first move it: "
                      "distnetctl account transfer DEVICE"
                    : "";
}

// The files that LeaveAccount deletes, in this order. The account's key is the first one. If only the key remained
// after an interrupted deletion, the device could not join another account.
constexpr const char* DELETED_FILES[] = {
    ACCOUNT_KEY_FILE,        RESTORED_FILE, OLDER_ACCOUNT_FILE, BACKUP_FILE,   REMOVAL_FILE,
    DEVICE_CERTIFICATE_FILE, STATE_FILE,    STATE_NUMBER_FILE,  LINK_KEY_FILE, ACCOUNT_CERTIFICATE_FILE,
    DEVICE_KEY_FILE,         DEVICE_ID_FILE};

// Returns the link keys for the state after the removal of a member. at: the time of the removal.
Result<LinkKeys> NextLinkKeys(const LinkKeys& keys, std::chrono::sys_seconds at)
{
    const auto made = GenerateLinkKey(keys.current.number + 1);
    if (!made) {
        return Failure(made.error());
    }
    const bool keepsPrevious = keys.previous && keys.previous->validUntil - at > PREVIOUS_LINK_KEY_LIFE / 2;
    return LinkKeys{made.value(), keepsPrevious ? *keys.previous
                                                : PreviousLinkKey{keys.current, WallTime(at + PREVIOUS_LINK_KEY_LIFE)}};
}

// Returns a new certificate for a member, with the same key as the member's present certificate.
// shown: the member's present certificate. Returns null when the present certificate was issued after the account's
// certificate, or when the new certificate would not expire later than the present one.
Certificate Renewed(const Identity& identity, EVP_PKEY* accountKey, const std::string& name, X509* shown,
                    const Clock& clock)
{
    X509* const account = identity.accountCertificate.get();
    if (ASN1_TIME_compare(X509_get0_notBefore(shown), X509_get0_notBefore(account)) >= 0) {
        return nullptr;
    }
    Certificate made =
        MakeDeviceCertificate(X509_get0_pubkey(shown), name, account, accountKey, DEVICE_VALIDITY, clock);
    const bool endsLater = made && ASN1_TIME_compare(X509_get0_notAfter(made.get()), X509_get0_notAfter(shown)) > 0;
    return endsLater ? std::move(made) : nullptr;
}

// Returns the name of a device that this device's state lists as removed and the other state does not. Returns an empty
// string when there is no such device.
// own: this device's state, or null. candidate: a state from another device.
std::string NameOfForgotten(const SignedState* own, const AccountState& candidate)
{
    for (const RemovedKey& removed : own != nullptr ? own->State().removed : std::vector<RemovedKey>()) {
        if (candidate.FindRemoved(removed.networkId) == nullptr) {
            return removed.name;
        }
    }
    return "";
}

Failure Stale(const Identity& identity, uint64_t own, uint64_t candidate)
{
    return Fail(ErrorCode::REFUSED, "account \"" + identity.accountName + "\": a state that is older than this " +
                                        "device's (" + std::to_string(candidate) + " before " + std::to_string(own) +
                                        ")");
}

}  // namespace

Result<std::optional<Identity>> AdoptState(const std::filesystem::path& folder, const std::string& bytes)
{
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    const auto identity = LoadIdentityLocked(folder);
    if (!identity) {
        return Failure(identity.error());
    }
    if (!identity.value().HasCertificate()) {
        return Fail(ErrorCode::NOT_FOUND, "this device belongs to no account");
    }
    const auto candidate = OpenState(bytes, identity.value().accountCertificate.get());
    if (!candidate) {
        return Failure(candidate.error());
    }
    const SignedState* const own = identity.value().state.get();
    const uint64_t number = candidate.value()->State().number;
    const uint64_t last = own != nullptr ? own->State().number : LastStateNumber(folder);
    switch (CompareStates(own, *candidate.value())) {
        case StateOrder::SAME:
            return std::nullopt;
        case StateOrder::CONFLICT:
            return Fail(ErrorCode::ALREADY_EXISTS, "account \"" + identity.value().accountName +
                                                       "\": two states with number " + std::to_string(number) +
                                                       " differ; this device keeps its own");
        case StateOrder::OLDER:
            return Stale(identity.value(), last, number);
        case StateOrder::NEWER:
            break;
    }
    if (const std::string forgotten = NameOfForgotten(own, candidate.value()->State()); !forgotten.empty()) {
        return Fail(ErrorCode::UNTRUSTED, "a newer state of the account does not list that \"" +
                                              EscapeHidden(forgotten) +
                                              "\" was removed; it was made from an old backup");
    }
    // A device that has lost its state does not accept a state that is older than the lost one.
    if (number < last) {
        return Stale(identity.value(), last, number);
    }
    if (auto checked = CheckOwnCertificate(identity.value(), candidate.value()->State()); !checked) {
        return Failure(std::move(checked).error());
    }
    if (auto written = WriteStateFiles(folder, *candidate.value()); !written) {
        return Failure(std::move(written).error());
    }
    auto adopted = LoadIdentityLocked(folder);
    return adopted ? Result<std::optional<Identity>>(std::move(adopted.value())) : Failure(std::move(adopted).error());
}

Result<Identity> RenameMember(const std::filesystem::path& folder, const std::string& networkId,
                              const std::string& name, const Clock& clock)
{
    if (auto checked = CheckName(name, "device name"); !checked) {
        return Failure(std::move(checked).error());
    }
    auto holder = OpenHolder(folder, clock);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    Member* renamed = nullptr;
    for (Member& member : holder.value().state.members) {
        if (member.networkId == networkId) {
            renamed = &member;
        } else if (member.name == name) {
            return Fail(ErrorCode::ALREADY_EXISTS, "another member is named \"" + name + "\"; \"" +
                                                       FreeName(holder.value().state, name) + "\" is free");
        }
    }
    if (renamed == nullptr) {
        return UnknownMember(networkId);
    }
    renamed->name = name;
    return StoreState(holder.value(), clock);
}

Result<Identity> RemoveMember(const std::filesystem::path& folder, const std::string& networkId,
                              bool announcesPreviousKey, const Clock& clock)
{
    auto holder = OpenHolder(folder, clock);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    AccountState& state = holder.value().state;
    if (networkId == holder.value().identity.networkId) {
        return Fail(ErrorCode::REFUSED,
                    "this is the device that holds the account's key; it can only leave the "
                    "account: distnetctl account leave");
    }
    const Member* const member = state.FindMember(networkId);
    if (member == nullptr) {
        return UnknownMember(networkId);
    }
    const std::chrono::sys_seconds at = TimeOfChange(state, clock);
    RemovedKey removed{
        .networkId = networkId,
        .name = member->name,
        .at = at,
        .signature = SignatureOf(RemovalText(state.account, networkId, at), holder.value().accountKey.get())};
    auto linkKeys = NextLinkKeys(state.linkKeys, at);
    if (removed.signature.empty() || !linkKeys) {
        return Fail(ErrorCode::SYSTEM, "the removal could not be signed: " + OpenSslReason());
    }
    std::erase_if(state.members, [&](const Member& one) { return one.networkId == networkId; });
    state.removed.push_back(std::move(removed));
    state.linkKeys = linkKeys.value();
    state.announcesPreviousKey = announcesPreviousKey;
    return StoreState(holder.value(), clock);
}

Result<Identity> RenewAccount(const std::filesystem::path& folder, const Clock& clock)
{
    auto holder = OpenHolder(folder, clock);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    auto& [lock, path, identity, accountKey, state, isFirstState] = holder.value();
    Certificate account = MakeAccountCertificate(accountKey.get(), identity.accountName, clock);
    const Member* const self = state.FindMember(identity.networkId);
    if (!account || self == nullptr) {
        return Fail(ErrorCode::SYSTEM, "the account's certificate could not be made: " + OpenSslReason());
    }
    const Certificate device =
        MakeDeviceCertificate(identity.key.get(), self->name, account.get(), accountKey.get(), DEVICE_VALIDITY, clock);
    state.accountCertificate = CertificateToPem(account.get());
    identity.accountCertificate = std::move(account);
    if (auto stored = StoreState(holder.value(), clock); !stored || !device) {
        return stored ? Fail(ErrorCode::SYSTEM, "this device's certificate could not be made") : std::move(stored);
    }
    if (auto written = WriteCertificateFile(folder / DEVICE_CERTIFICATE_FILE, device.get()); !written) {
        return Failure(std::move(written).error());
    }
    return LoadIdentityLocked(folder);
}

Result<Identity> SetHolder(const std::filesystem::path& folder, const std::string& networkId, const Clock& clock)
{
    auto own = LoadIdentity(folder);
    if (!own) {
        return own;
    }
    auto holder =
        OpenHolder(folder, clock, networkId == own.value().networkId ? OtherHolder::ALLOWED : OtherHolder::REFUSED);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    if (holder.value().state.FindMember(networkId) == nullptr) {
        return UnknownMember(networkId);
    }
    holder.value().state.holder = networkId;
    return StoreState(holder.value(), clock);
}

Result<std::optional<Identity>> AddMemberWithoutState(const std::filesystem::path& folder, Member member,
                                                      const Clock& clock)
{
    if (auto checked = CheckName(member.name, "device name"); !checked) {
        return Failure(std::move(checked).error());
    }
    auto holder = OpenHolder(folder, clock);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    AccountState& state = holder.value().state;
    const bool isOlder = holder.value().isFirstState || FileExists(folder / OLDER_ACCOUNT_FILE);
    if (!isOlder || state.FindMember(member.networkId) != nullptr || state.FindRemoved(member.networkId) != nullptr) {
        return std::nullopt;
    }
    member.name = FreeName(state, member.name);
    state.members.push_back(std::move(member));
    auto stored = StoreState(holder.value(), clock);
    return stored ? Result<std::optional<Identity>>(std::move(stored.value())) : Failure(std::move(stored).error());
}

std::optional<std::string> RenewedCertificate(const std::filesystem::path& folder, const std::string& networkId,
                                              X509* shown, const Clock& clock)
{
    const auto identity = LoadIdentity(folder);
    EVP_PKEY* const key = X509_get0_pubkey(shown);
    if (!identity || !identity.value().holdsAccountKey || !identity.value().state || key == nullptr ||
        NetworkIdOf(key) != networkId) {
        return std::nullopt;
    }
    const Member* const member = identity.value().state->State().FindMember(networkId);
    const auto accountKey = ReadKeyFile(folder / ACCOUNT_KEY_FILE);
    if (member == nullptr || !accountKey) {
        return std::nullopt;
    }
    const Certificate made = Renewed(identity.value(), accountKey.value().get(), member->name, shown, clock);
    std::string der = made ? CertificateToDer(made.get()) : "";
    return der.empty() ? std::nullopt : std::optional(std::move(der));
}

Result<Identity> AdoptCertificate(const std::filesystem::path& folder, const std::string& der)
{
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    auto identity = LoadIdentityLocked(folder);
    if (!identity) {
        return identity;
    }
    if (!identity.value().HasCertificate()) {
        return Fail(ErrorCode::NOT_FOUND, "this device belongs to no account");
    }
    const Certificate renewed = CertificateFromDer(der);
    if (!renewed) {
        return Fail(ErrorCode::MALFORMED, "the renewed certificate is damaged: " + OpenSslReason());
    }
    if (X509_check_private_key(renewed.get(), identity.value().key.get()) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED, "the renewed certificate is for another key than this device's");
    }
    if (auto verified = VerifySignedBy(renewed.get(), identity.value().accountCertificate.get()); !verified) {
        return Fail(ErrorCode::UNTRUSTED, "the renewed certificate: " + verified.error().message);
    }
    if (ASN1_TIME_compare(X509_get0_notAfter(renewed.get()), X509_get0_notAfter(identity.value().certificate.get())) <=
        0) {
        return identity;
    }
    if (auto written = WriteCertificateFile(folder / DEVICE_CERTIFICATE_FILE, renewed.get()); !written) {
        return Failure(std::move(written).error());
    }
    return LoadIdentityLocked(folder);
}

Result<void> LeaveAccount(const std::filesystem::path& folder)
{
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    if (FileExists(folder / ACCOUNT_KEY_FILE)) {
        const auto identity = LoadIdentityLocked(folder);
        if (!identity) {
            return Failure(identity.error());
        }
        if (const std::string why = ReasonToKeepKey(folder, identity.value()); !why.empty()) {
            return Fail(ErrorCode::REFUSED, why);
        }
    }
    for (const char* const name : DELETED_FILES) {
        std::error_code failed;
        std::filesystem::remove(folder / name, failed);
        if (failed) {
            return Fail(ErrorCode::SYSTEM, (folder / name).string() + ": cannot be removed: " + failed.message());
        }
    }
    return {};
}

Result<void> RecordOwnRemoval(const std::filesystem::path& folder, const RemovalStatement& statement)
{
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    const auto identity = LoadIdentityLocked(folder);
    if (!identity || !identity.value().HasCertificate()) {
        return identity ? Fail(ErrorCode::NOT_FOUND, "this device belongs to no account") : Failure(identity.error());
    }
    const std::string bytes = EncodeRemoval({.at = statement.at, .signature = statement.signature});
    const auto checked = DecodeRemoval(bytes, identity.value().networkId, identity.value().accountCertificate.get());
    return checked ? WriteFileAtomically(folder / REMOVAL_FILE, bytes, SECRET_FILE_MODE) : Failure(checked.error());
}

}  // namespace Vexo::Trust
