#include "platform/trust/account_holder.h"

#include <openssl/x509.h>

#include <algorithm>

#include "platform/base/files.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/identity_repair.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

std::string NameOfHolder(const Identity& identity)
{
    const Member* const holder =
        identity.state ? identity.state->State().FindMember(identity.state->State().holder) : nullptr;
    if (identity.state && identity.state->State().holder.empty()) {
        return "the authority that runs the account";
    }
    return holder != nullptr && holder->networkId != identity.networkId ? "\"" + holder->name + "\""
                                                                        : "the device that made the account";
}

Result<void> CheckHolder(const std::filesystem::path& folder, const Identity& identity, OtherHolder other)
{
    if (!identity.HasCertificate() || !identity.holdsAccountKey) {
        return Fail(ErrorCode::NOT_FOUND,
                    "this device does not hold the account's key; do it on " + NameOfHolder(identity));
    }
    if (identity.removedAt) {
        return Fail(ErrorCode::REFUSED, "the account has removed this device");
    }
    if (FileExists(folder / RESTORED_FILE) && other != OtherHolder::REPLACED) {
        return Fail(ErrorCode::UNAVAILABLE,
                    "this device was restored and must meet another member of the account first, which may know of "
                    "newer changes");
    }
    if (!identity.state && LastStateNumber(folder) != 0) {
        return Fail(ErrorCode::UNAVAILABLE,
                    "this device has lost the account's state and must meet another member first, which has it" +
                        std::string(DOCTOR_KNOWS));
    }
    if (identity.LacksLinkKey()) {
        return Fail(ErrorCode::NOT_FOUND, "this device has no link key to hand out. " + LinkKeyAdvice(folder));
    }
    if (identity.state && identity.state->State().holder != identity.networkId && other == OtherHolder::REFUSED) {
        return Fail(ErrorCode::NOT_FOUND,
                    "this device does not hold the account's key any more; do it on " + NameOfHolder(identity));
    }
    return {};
}

uint64_t SecondsOf(const Clock& clock)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(clock.WallNow()).time_since_epoch().count();
    return static_cast<uint64_t>(std::max<int64_t>(seconds, 1));
}

}  // namespace

Failure AlreadyHasAccount(const std::filesystem::path& folder, const Identity& identity)
{
    return Fail(ErrorCode::ALREADY_EXISTS, folder.string() + ": this device belongs to the account \"" +
                                               identity.accountName +
                                               "\" already; `distnetctl account leave` ends that");
}

Result<LockedIdentity> LockIdentity(const std::filesystem::path& folder)
{
    if (const auto created = LoadOrCreateUnenrolled(folder); !created) {
        return Failure(created.error());
    }
    auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(std::move(lock).error());
    }
    auto identity = LoadIdentityLocked(folder);
    return identity ? Result<LockedIdentity>({std::move(lock.value()), std::move(identity.value())})
                    : Failure(std::move(identity).error());
}

std::chrono::sys_seconds TimeOfChange(const AccountState& state, const Clock& clock)
{
    return std::chrono::sys_seconds(
        std::chrono::seconds(static_cast<int64_t>(std::max(state.number, SecondsOf(clock)))));
}

Member SelfOf(const Identity& identity, const Clock& clock)
{
    return {.networkId = identity.networkId,
            .name = CommonNameOf(X509_get_subject_name(identity.certificate.get())),
            .since = TimeOfChange({}, clock)};
}

AccountState FirstState(X509* account, const LinkKeys& linkKeys, const Member& holder)
{
    return {.account = NetworkIdOf(account),
            .holder = holder.networkId,
            .accountCertificate = CertificateToPem(account),
            .members = {holder},
            .linkKeys = linkKeys};
}

Result<SignedStatePtr> SignNext(AccountState state, X509* account, EVP_PKEY* accountKey, const Clock& clock)
{
    state.number = std::max(state.number + 1, SecondsOf(clock));
    for (RemovedKey& removed : state.removed) {
        removed.number = removed.number == 0 ? state.number : removed.number;
    }
    return SignState(std::move(state), account, accountKey);
}

Result<AccountHolder> OpenHolder(const std::filesystem::path& folder, const Clock& clock, OtherHolder other)
{
    auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(std::move(lock).error());
    }
    auto identity = LoadIdentityLocked(folder);
    if (!identity) {
        return Failure(std::move(identity).error());
    }
    if (auto checked = CheckHolder(folder, identity.value(), other); !checked) {
        return Failure(std::move(checked).error());
    }
    auto accountKey = ReadKeyFile(folder / ACCOUNT_KEY_FILE);
    if (!accountKey) {
        return Failure(std::move(accountKey).error());
    }
    AccountHolder holder{
        std::move(lock.value()), folder, std::move(identity.value()), std::move(accountKey.value()), {}};
    const Identity& loaded = holder.identity;
    holder.isFirstState = loaded.state == nullptr;
    holder.state = loaded.state != nullptr
                       ? loaded.state->State()
                       : FirstState(loaded.accountCertificate.get(), *loaded.linkKeys, SelfOf(loaded, clock));
    return holder;
}

Result<Identity> StoreState(AccountHolder& holder, const Clock& clock)
{
    if (holder.isFirstState) {
        if (auto marked = WriteFileAtomically(holder.folder / OLDER_ACCOUNT_FILE, "", SECRET_FILE_MODE); !marked) {
            return Failure(std::move(marked).error());
        }
    }
    const auto made = SignNext(holder.state, holder.identity.accountCertificate.get(), holder.accountKey.get(), clock);
    if (!made) {
        return Failure(made.error());
    }
    if (auto written = WriteStateFiles(holder.folder, *made.value()); !written) {
        return Failure(std::move(written).error());
    }
    return LoadIdentityLocked(holder.folder);
}

}  // namespace Vexo::Trust
