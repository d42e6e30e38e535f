#include "platform/trust/account.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <system_error>

#include "platform/base/files.h"
#include "platform/base/utf8.h"
#include "platform/trust/account_holder.h"
#include "platform/trust/certificates.h"
#include "platform/trust/enrolment_answer.h"
#include "platform/trust/enrolment_request.h"
#include "platform/trust/identity_checks.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

constexpr long REQUEST_VERSION_1_VALUE = 0;  // the value of version 1 in RFC 2986

// Returns the account's key from the folder, or creates a key. Uses the key that an earlier, interrupted CreateAccount
// wrote, if there is one.
Result<PrivateKey> EnsureAccountKey(const std::filesystem::path& folder)
{
    const std::filesystem::path file = folder / ACCOUNT_KEY_FILE;
    if (FileExists(file)) {
        return ReadKeyFile(file);
    }
    PrivateKey key = GenerateKey();
    if (!key) {
        return Fail(ErrorCode::SYSTEM, file.string() + ": no key: " + OpenSslReason());
    }
    if (auto written = WriteKeyFile(file, key.get()); !written) {
        return Failure(std::move(written).error());
    }
    return key;
}

// Returns the account's certificate for the given key and name, or creates one. Returns an error when the folder has a
// certificate for the key under another name, because every device of the account trusts that certificate.
Result<Certificate> EnsureAccountCertificate(const std::filesystem::path& folder, EVP_PKEY* key,
                                             const std::string& name)
{
    auto kept = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE);
    (void)OpenSslReason();
    if (kept && X509_check_private_key(kept.value().get(), key) == 1) {
        const std::string keptName = CommonNameOf(X509_get_subject_name(kept.value().get()));
        if (keptName != name) {
            return Fail(ErrorCode::ALREADY_EXISTS, folder.string() + ": this device holds the key of the account \"" +
                                                       keptName + "\"; give that name");
        }
        if (VerifyValidNow(kept.value().get())) {
            return kept;
        }
    }
    Certificate made = MakeAccountCertificate(key, name, Clock::System());
    if (!made) {
        return Fail(ErrorCode::SYSTEM,
                    folder.string() + ": the account's certificate could not be made: " + OpenSslReason());
    }
    return made;
}

// Returns the link keys of the given account. Keeps link keys that are in the folder, because other devices may have
// them too. If the folder has no link key of this account, generates the account's first link key.
Result<LinkKeyRecord> EnsureLinkKeys(const std::filesystem::path& folder, X509* account)
{
    const std::filesystem::path file = folder / LINK_KEY_FILE;
    const std::string accountId = NetworkIdOf(account);
    if (const auto state = ReadStateFile(folder, account)) {
        return RecordOf(state.value()->State().linkKeys, accountId);
    }
    if (FileExists(file)) {
        auto kept = ReadLinkKeyFile(file);
        // The folder may contain link keys of another account, which an interrupted Install left. Those keys are not
        // returned.
        if (!kept || kept.value().account == accountId) {
            return kept;
        }
    }
    const auto made = GenerateLinkKey(1);
    return made ? RecordOf({made.value()}, accountId) : Result<LinkKeyRecord>(Failure(made.error()));
}

// Writes the files of an enrolment. The caller must have locked the folder. The device's certificate is written last,
// because the device is enrolled once that file exists.
Result<void> WriteEnrolment(const std::filesystem::path& folder, const EnrolmentAnswer& enrolment)
{
    if (enrolment.state) {
        if (auto written = WriteStateFiles(folder, *enrolment.state); !written) {
            return written;
        }
    } else {
        if (auto written = WriteLinkKeyFile(folder / LINK_KEY_FILE, enrolment.linkKeys); !written) {
            return written;
        }
        if (auto written = WriteCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE, enrolment.account.get()); !written) {
            return written;
        }
    }
    return WriteCertificateFile(folder / DEVICE_CERTIFICATE_FILE, enrolment.device.get());
}

// Locks the folder and loads the identity of a device that can be enrolled: the device has no account, or lacks its
// account's link key.
Result<LockedIdentity> LockUnenrolled(const std::filesystem::path& folder)
{
    auto locked = LockIdentity(folder);
    return locked && locked.value().identity.Enrolled() ? AlreadyHasAccount(folder, locked.value().identity)
                                                        : std::move(locked);
}

// Checks that the certificates and the account's state in an enrolment answer are valid for the device with the given
// identity.
Result<void> CheckAnswer(const std::filesystem::path& folder, const EnrolmentAnswer& answer, const Identity& identity)
{
    if (X509_check_private_key(answer.device.get(), identity.key.get()) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED,
                    "the certificate is for another device's key; install it where the request was made");
    }
    if (auto verified = VerifySignedBy(answer.device.get(), answer.account.get()); !verified) {
        return verified;
    }
    if (auto valid = VerifyValidNow(answer.device.get()); !valid) {
        return Fail(valid.error().code,
                    valid.error().message + "; have it made anew on the device that holds the account's key");
    }
    if (auto valid = VerifyValidNow(answer.account.get()); !valid) {
        return Fail(valid.error().code, "the account's " + valid.error().message + "; join an account that is valid");
    }
    if (answer.state && answer.state->State().FindMember(identity.networkId) == nullptr) {
        return Fail(ErrorCode::UNTRUSTED, "the account's state in the answer does not have this device as a member");
    }
    if (identity.HasCertificate() &&
        EVP_PKEY_eq(X509_get0_pubkey(answer.account.get()), X509_get0_pubkey(identity.accountCertificate.get())) != 1) {
        return AlreadyHasAccount(folder, identity);
    }
    return {};
}

// Returns the state of an account whose key is on this device. In the returned state, this device is a member and the
// holder of the account's key. There are two exceptions, because in these cases this device must meet another member
// before it may sign a state:
//   RESTORED_FILE exists: returns the state in the folder unchanged.
//   This device had a state but can no longer read it: creates RESTORED_FILE and returns null.
Result<SignedStatePtr> EnsureState(const std::filesystem::path& folder, X509* account, EVP_PKEY* accountKey,
                                   const LinkKeys& linkKeys, const Member& self, bool isNewAccount)
{
    const Clock& clock = Clock::System();
    auto kept = isNewAccount ? Result<SignedStatePtr>(nullptr) : ReadStateFile(folder, account);
    if (!kept && LastStateNumber(folder) != 0) {
        auto marked = WriteFileAtomically(folder / RESTORED_FILE, "", SECRET_FILE_MODE);
        return marked ? Result<SignedStatePtr>(nullptr) : Failure(std::move(marked).error());
    }
    if (!isNewAccount && !kept) {
        if (auto marked = WriteFileAtomically(folder / OLDER_ACCOUNT_FILE, "", SECRET_FILE_MODE); !marked) {
            return Failure(std::move(marked).error());
        }
    }
    if (!kept || !kept.value()) {
        return SignNext(FirstState(account, linkKeys, self), account, accountKey, clock);
    }
    AccountState state = kept.value()->State();
    const std::string certificate = CertificateToPem(account);
    const bool isComplete = state.FindMember(self.networkId) != nullptr && state.holder == self.networkId &&
                            state.accountCertificate == certificate;
    if (isComplete || FileExists(folder / RESTORED_FILE)) {
        return kept;
    }
    if (state.FindMember(self.networkId) == nullptr) {
        // If the holder's entry in the member list has this device's name, the entry is for the device key that this
        // device has lost. That entry is therefore removed. Another member with this name stays.
        std::erase_if(state.members, [&](const Member& member) {
            return member.networkId == state.holder && member.name == self.name;
        });
        Member added = self;
        added.name = FreeName(state, self.name);
        state.members.push_back(std::move(added));
    }
    state.holder = self.networkId;
    state.accountCertificate = certificate;
    return SignNext(std::move(state), account, accountKey, clock);
}

// Creates the missing link key of a device that holds the account's key. If the device has also lost the account's
// state, no member can send the state, because no member knows the new link key. The device then starts a new state,
// and the other members must be enrolled again.
Result<void> MakeMissingLinkKey(const std::filesystem::path& folder, const Identity& identity, EVP_PKEY* accountKey,
                                const LinkKeyRecord& linkKeys)
{
    if (LastStateNumber(folder) == 0) {
        return WriteLinkKeyFile(folder / LINK_KEY_FILE, linkKeys);
    }
    if (auto marked = WriteFileAtomically(folder / OLDER_ACCOUNT_FILE, "", SECRET_FILE_MODE); !marked) {
        return marked;
    }
    X509* const account = identity.accountCertificate.get();
    AccountState state = FirstState(account, linkKeys.Keys(), SelfOf(identity, Clock::System()));
    state.number = LastStateNumber(folder);
    const auto made = SignNext(std::move(state), account, accountKey, Clock::System());
    return made ? WriteStateFiles(folder, *made.value()) : Failure(made.error());
}

// Adds the member to the account's state, unless the state lists the member already. Returns the member's name in the
// state.
Result<std::string> AddMember(AccountState& state, Member member)
{
    if (const RemovedKey* const removed = state.FindRemoved(member.networkId)) {
        return Fail(ErrorCode::REFUSED, "the account removed this device on " + DateOf(removed->at) +
                                            "; on that device, `distnetctl account leave` makes a new key, which can "
                                            "be admitted");
    }
    if (const Member* const known = state.FindMember(member.networkId)) {
        return known->name;
    }
    if (const std::string free = FreeName(state, member.name); free != member.name) {
        return Fail(ErrorCode::ALREADY_EXISTS,
                    "another member is named \"" + member.name + "\"; \"" + free + "\" is free");
    }
    state.members.push_back(std::move(member));
    return state.members.back().name;
}

}  // namespace

Result<void> CreateAccount(const std::filesystem::path& folder, const std::string& accountName,
                           const std::string& deviceName)
{
    if (auto checked = CheckName(accountName, "account name"); !checked) {
        return checked;
    }
    if (auto checked = CheckName(deviceName, "device name"); !checked) {
        return checked;
    }
    const auto locked = LockUnenrolled(folder);
    if (!locked) {
        return Failure(locked.error());
    }
    const Identity& identity = locked.value().identity;
    if (identity.HasCertificate() && !identity.holdsAccountKey) {
        return AlreadyHasAccount(folder, identity);
    }
    const bool isNewAccount = !FileExists(folder / ACCOUNT_KEY_FILE);
    auto accountKey = EnsureAccountKey(folder);
    if (!accountKey) {
        return Failure(std::move(accountKey).error());
    }
    auto account = EnsureAccountCertificate(folder, accountKey.value().get(), accountName);
    if (!account) {
        return Failure(std::move(account).error());
    }
    auto linkKeys = EnsureLinkKeys(folder, account.value().get());
    if (!linkKeys) {
        return Failure(std::move(linkKeys).error());
    }
    if (identity.LacksLinkKey()) {
        return MakeMissingLinkKey(folder, identity, accountKey.value().get(), linkKeys.value());
    }
    Certificate device = MakeDeviceCertificate(identity.key.get(), deviceName, account.value().get(),
                                               accountKey.value().get(), DEVICE_VALIDITY, Clock::System());
    if (!device) {
        return Fail(ErrorCode::SYSTEM,
                    folder.string() + ": the device's certificate could not be made: " + OpenSslReason());
    }
    auto state =
        EnsureState(folder, account.value().get(), accountKey.value().get(), linkKeys.value().Keys(),
                    {.networkId = identity.networkId, .name = deviceName, .since = TimeOfChange({}, Clock::System())},
                    isNewAccount);
    if (!state) {
        return Failure(std::move(state).error());
    }
    return WriteEnrolment(
        folder, {std::move(device), std::move(account.value()), std::move(linkKeys.value()), std::move(state.value())});
}

Result<std::string> MakeRequest(const std::filesystem::path& folder, const std::string& deviceName)
{
    if (auto checked = CheckName(deviceName, "device name"); !checked) {
        return Failure(std::move(checked).error());
    }
    const auto locked = LockUnenrolled(folder);
    if (!locked) {
        return Failure(locked.error());
    }
    EVP_PKEY* key = locked.value().identity.key.get();
    const OpenSslPtr<X509_REQ> request(X509_REQ_new());
    if (!request || X509_REQ_set_version(request.get(), REQUEST_VERSION_1_VALUE) != 1 ||
        !SetCommonName(X509_REQ_get_subject_name(request.get()), deviceName) ||
        X509_REQ_set_pubkey(request.get(), key) != 1 || X509_REQ_sign(request.get(), key, EVP_sha256()) == 0) {
        return Fail(ErrorCode::SYSTEM, folder.string() + ": the request could not be made: " + OpenSslReason());
    }
    return RequestToPem(request.get());
}

std::string FreeName(const AccountState& state, const std::string& name)
{
    std::string free = name;
    const auto isTaken = [&](const Member& member) { return member.name == free; };
    for (int number = 2; std::any_of(state.members.begin(), state.members.end(), isTaken); ++number) {
        const std::string suffix = "-" + std::to_string(number);
        free = std::string(CutToBytes(name, MAX_ACCOUNT_NAME - suffix.size())) + suffix;
    }
    return free;
}

Result<std::string> Admit(const std::filesystem::path& folder, const std::string& requestPem,
                          const AdmitOptions& options)
{
    const Clock& clock = *options.clock;
    auto holder = OpenHolder(folder, clock);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    const auto asked = CheckRequest(RequestFromPem(requestPem));
    if (!asked) {
        return Failure(asked.error());
    }
    EVP_PKEY* const key = asked.value().key;
    EVP_PKEY* const accountKey = holder.value().accountKey.get();
    AccountState& state = holder.value().state;
    if (auto valid = VerifyValidNow(holder.value().identity.accountCertificate.get(), clock); !valid) {
        return Fail(valid.error().code,
                    "the account's " + valid.error().message + "; `distnetctl account renew` makes it anew");
    }
    auto name = AddMember(state, {.networkId = NetworkIdOf(key),
                                  .name = asked.value().name,
                                  .type = options.type,
                                  .since = TimeOfChange(state, clock)});
    if (!name) {
        return name;
    }
    Certificate device = MakeDeviceCertificate(key, name.value(), holder.value().identity.accountCertificate.get(),
                                               accountKey, options.validity, clock);
    if (!device) {
        return Fail(ErrorCode::SYSTEM, "the certificate could not be made: " + OpenSslReason());
    }
    const bool isMember = holder.value().identity.state != nullptr &&
                          holder.value().identity.state->State().FindMember(NetworkIdOf(key)) != nullptr;
    auto identity = isMember ? LoadIdentityLocked(folder) : StoreState(holder.value(), clock);
    if (!identity) {
        return Failure(std::move(identity).error());
    }
    return SealAnswer({std::move(device), std::move(identity.value().accountCertificate),
                       RecordOf(state.linkKeys, state.account), std::move(identity.value().state)},
                      accountKey);
}

Result<void> Install(const std::filesystem::path& folder, const std::string& answerPem)
{
    const auto locked = LockUnenrolled(folder);
    if (!locked) {
        return Failure(locked.error());
    }
    const Identity& identity = locked.value().identity;
    const auto answer = OpenAnswer(answerPem, identity.key.get());
    if (!answer) {
        return Failure(answer.error());
    }
    if (auto checked = CheckAnswer(folder, answer.value(), identity); !checked) {
        return checked;
    }
    if (FileExists(folder / ACCOUNT_KEY_FILE)) {
        return Fail(ErrorCode::ALREADY_EXISTS,
                    (folder / ACCOUNT_KEY_FILE).string() +
                        ": this device was making an account of its own; complete that, or move the key away");
    }
    if (!identity.HasCertificate()) {
        // Deletes the files that an interrupted enrolment left, whichever account they belong to.
        std::error_code ignored;
        for (const char* const name : {STATE_FILE, STATE_NUMBER_FILE, REMOVAL_FILE}) {
            std::filesystem::remove(folder / name, ignored);
        }
    }
    return WriteEnrolment(folder, answer.value());
}

}  // namespace Vexo::Trust
