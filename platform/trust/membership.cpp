#include "platform/trust/membership.h"

#include <openssl/x509.h>

#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

// What of a state that this device cannot use would cost it its enrolment.
Result<void> CheckOwnCertificate(const Identity& identity, const AccountState& state)
{
    const std::vector<Certificate> account = CertificatesFromPem(state.accountCertificate);
    auto verified = VerifySignedBy(identity.certificate.get(), account.front().get());
    return verified ? verified
                    : Fail(ErrorCode::UNTRUSTED,
                           "the account's state has a certificate under which this device's own does not hold");
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
                                                       "\": two states of number " + std::to_string(number) +
                                                       " with other content; this device keeps its own");
        case StateOrder::OLDER:
            return Stale(identity.value(), last, number);
        case StateOrder::NEWER:
            break;
    }
    // A state that was lost may not come back as an older one.
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

}  // namespace Vexo::Trust
