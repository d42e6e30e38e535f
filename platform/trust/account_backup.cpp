#include "platform/trust/account_backup.h"

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

#include "platform/base/files.h"
#include "platform/base/last_second.h"
#include "platform/trust/account.h"
#include "platform/trust/account_holder.h"
#include "platform/trust/certificates.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

constexpr int KEY_ITERATIONS = 600'000;    // for PBKDF2 with HMAC-SHA256
constexpr int MAC_ITERATIONS = 1'200'000;  // for PKCS#12's own key derivation; one iteration costs half as much
constexpr int MAC_SALT_BYTES = 16;
constexpr int CIPHER = NID_aes_256_cbc;
constexpr int STATE_BAG = NID_pkcs7_signed;  // type of the content in PKCS#12's secret bag
constexpr size_t MAX_BACKUP = 256 * 1024;
constexpr size_t MAX_TIME_FILE = 64;

struct BackupDeleter {
    void operator()(PKCS12* backup) const noexcept { PKCS12_free(backup); }
    void operator()(STACK_OF(PKCS12_SAFEBAG) * bags) const noexcept
    {
        sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
    }
    void operator()(STACK_OF(PKCS7) * safes) const noexcept { sk_PKCS7_pop_free(safes, PKCS7_free); }
    void operator()(PKCS8_PRIV_KEY_INFO* key) const noexcept { PKCS8_PRIV_KEY_INFO_free(key); }
};
template <typename T>
using Pkcs12Ptr = std::unique_ptr<T, BackupDeleter>;
using Bags = STACK_OF(PKCS12_SAFEBAG);
using Safes = STACK_OF(PKCS7);

struct Backup {
    PrivateKey key{};
    Certificate account{};
    std::string state{};  // a secret
};

std::string ChecksumOf(const std::string& bytes)
{
    std::array<unsigned char, SHA256_DIGEST_LENGTH> hash{};
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), hash.data());
    return {hash.begin(), hash.end()};
}

// Returns the bytes of a backup file, or an empty string when OpenSSL fails.
std::string PackBackup(EVP_PKEY* key, X509* account, const std::string& state, const std::string& passphrase)
{
    Bags* made = nullptr;
    const bool isFilled = PKCS12_add_cert(&made, account) != nullptr &&
                          PKCS12_add_key(&made, key, 0, KEY_ITERATIONS, CIPHER, passphrase.c_str()) != nullptr &&
                          PKCS12_add_secret(&made, STATE_BAG, reinterpret_cast<const unsigned char*>(state.data()),
                                            static_cast<int>(state.size())) != nullptr;
    const Pkcs12Ptr<Bags> bags(made);
    Safes* packed = nullptr;
    const bool isPacked =
        isFilled && PKCS12_add_safe(&packed, bags.get(), CIPHER, KEY_ITERATIONS, passphrase.c_str()) == 1;
    const Pkcs12Ptr<Safes> safes(packed);
    const Pkcs12Ptr<PKCS12> backup(isPacked ? PKCS12_add_safes(safes.get(), 0) : nullptr);
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!backup || !bio ||
        PKCS12_set_mac(backup.get(), passphrase.c_str(), -1, nullptr, MAC_SALT_BYTES, MAC_ITERATIONS, EVP_sha256()) !=
            1 ||
        i2d_PKCS12_bio(bio.get(), backup.get()) != 1) {
        return "";
    }
    const std::string der = WrittenTo(bio.get());
    return der + ChecksumOf(der);
}

void ReadBag(const PKCS12_SAFEBAG* bag, const std::string& passphrase, Backup& backup)
{
    const int length = static_cast<int>(passphrase.size());
    switch (PKCS12_SAFEBAG_get_nid(bag)) {
        case NID_pkcs8ShroudedKeyBag: {
            const Pkcs12Ptr<PKCS8_PRIV_KEY_INFO> key(PKCS12_decrypt_skey(bag, passphrase.c_str(), length));
            backup.key.reset(key ? EVP_PKCS82PKEY(key.get()) : nullptr);
            break;
        }
        case NID_certBag:
            backup.account.reset(PKCS12_SAFEBAG_get1_cert(bag));
            break;
        case NID_secretBag: {
            const ASN1_TYPE* const value = PKCS12_SAFEBAG_get0_bag_obj(bag);
            if (value != nullptr && value->type == V_ASN1_OCTET_STRING) {
                const ASN1_OCTET_STRING* const text = value->value.octet_string;
                backup.state.assign(reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
                                    static_cast<size_t>(ASN1_STRING_length(text)));
            }
            break;
        }
        default:
            break;
    }
}

Failure NoBackup(const std::filesystem::path& file, const std::string& why)
{
    ERR_clear_error();
    return Fail(ErrorCode::MALFORMED, file.string() + ": " + why);
}

Result<Backup> UnpackBackup(const std::filesystem::path& file, const std::string& passphrase)
{
    const auto bytes = ReadWholeFile(file, MAX_BACKUP);
    if (!bytes) {
        return Failure(bytes.error());
    }
    const size_t size = bytes.value().size() - std::min<size_t>(bytes.value().size(), SHA256_DIGEST_LENGTH);
    const std::string der = bytes.value().substr(0, size);
    if (ChecksumOf(der) != bytes.value().substr(size)) {
        return NoBackup(file, "damaged, or no backup of an account; use another copy");
    }
    const auto* const begin = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* end = begin;
    const Pkcs12Ptr<PKCS12> packed(d2i_PKCS12(nullptr, &end, static_cast<long>(der.size())));
    if (!packed || PKCS12_mac_present(packed.get()) != 1) {
        return NoBackup(file, "no backup of an account");
    }
    const int length = static_cast<int>(passphrase.size());
    if (PKCS12_verify_mac(packed.get(), passphrase.c_str(), length) != 1) {
        ERR_clear_error();
        return Fail(ErrorCode::UNTRUSTED, file.string() + ": the passphrase is wrong");
    }
    Backup backup;
    const Pkcs12Ptr<Safes> safes(PKCS12_unpack_authsafes(packed.get()));
    for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i) {
        PKCS7* const safe = sk_PKCS7_value(safes.get(), i);
        const Pkcs12Ptr<Bags> bags(OBJ_obj2nid(safe->type) == NID_pkcs7_data
                                       ? PKCS12_unpack_p7data(safe)
                                       : PKCS12_unpack_p7encdata(safe, passphrase.c_str(), length));
        for (int j = 0; j < sk_PKCS12_SAFEBAG_num(bags.get()); ++j) {
            ReadBag(sk_PKCS12_SAFEBAG_value(bags.get(), j), passphrase, backup);
        }
    }
    if (!backup.key || !IsP256Pair(backup.key.get()) || !backup.account || backup.state.empty() ||
        X509_check_private_key(backup.account.get(), backup.key.get()) != 1) {
        return NoBackup(file, "a PKCS#12 file, but no backup of an account");
    }
    return backup;
}

Result<void> WriteTime(const std::filesystem::path& file, const Clock& clock)
{
    const auto now = std::chrono::floor<std::chrono::seconds>(clock.WallNow());
    return WriteFileAtomically(file, std::to_string(now.time_since_epoch().count()) + "\n", SECRET_FILE_MODE);
}

// Changes the state so that this device is a member and the holder of the account's key.
void BecomeHolder(AccountState& state, Member self)
{
    if (state.FindMember(self.networkId) == nullptr) {
        self.name = FreeName(state, self.name);
        state.members.push_back(self);
    }
    state.holder = self.networkId;
}

Result<void> RemoveMarker(const std::filesystem::path& folder)
{
    const std::filesystem::path file = folder / RESTORED_FILE;
    std::error_code failed;
    std::filesystem::remove(file, failed);
    return failed ? Result<void>(Fail(ErrorCode::SYSTEM, file.string() + ": " + failed.message())) : Result<void>();
}

// Writes the files of a restored device. The marker file RESTORED_FILE is written first, so that the device cannot sign
// a state after an interrupted restore. The device's certificate is written last, because the restore is complete once
// that file exists. If isAlone is true, the marker file is removed at the end.
Result<void> WriteRestored(const std::filesystem::path& folder, EVP_PKEY* accountKey, const SignedState& state,
                           X509* device, bool isAlone, const Clock& clock)
{
    if (auto marked = WriteTime(folder / RESTORED_FILE, clock); !marked) {
        return marked;
    }
    if (auto marked = WriteTime(folder / BACKUP_FILE, clock); !marked) {
        return marked;
    }
    if (auto written = WriteKeyFile(folder / ACCOUNT_KEY_FILE, accountKey); !written) {
        return written;
    }
    if (auto written = WriteStateFiles(folder, state); !written) {
        return written;
    }
    if (auto written = WriteCertificateFile(folder / DEVICE_CERTIFICATE_FILE, device); !written) {
        return written;
    }
    return isAlone ? RemoveMarker(folder) : Result<void>();
}

// Returns ALREADY_EXISTS unless this device has no account, or belongs to the backup's account and needs the backup (as
// RestoreAccount describes). Also returns ALREADY_EXISTS when the folder has the key of another account.
// account: the account's certificate in the backup.
Result<void> CheckMayRestore(const std::filesystem::path& folder, const Identity& identity, X509* account)
{
    const bool isSame = identity.HasCertificate() && EVP_PKEY_eq(X509_get0_pubkey(identity.accountCertificate.get()),
                                                                 X509_get0_pubkey(account)) == 1;
    const bool needsIt = !identity.holdsAccountKey || identity.state == nullptr || IsRestored(folder);
    if (identity.HasCertificate() && !(isSame && needsIt)) {
        return AlreadyHasAccount(folder, identity);
    }
    const std::filesystem::path file = folder / ACCOUNT_KEY_FILE;
    const auto key = FileExists(file) ? ReadKeyFile(file) : PrivateKey();
    if (key && key.value() && X509_check_private_key(account, key.value().get()) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::ALREADY_EXISTS, file.string() + ": the key of another account is here");
    }
    return {};
}

}  // namespace

Result<void> BackUpAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                           const std::string& passphrase, const Clock& clock)
{
    if (passphrase.size() < MIN_PASSPHRASE) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "the passphrase is too short: at least " + std::to_string(MIN_PASSPHRASE) + " bytes");
    }
    if (FileExists(file)) {
        return Fail(ErrorCode::ALREADY_EXISTS, file.string() + ": exists already; name another file");
    }
    auto holder = OpenHolder(folder, clock);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    auto& opened = holder.value();
    auto stored = opened.isFirstState ? StoreState(opened, clock) : Result<Identity>(std::move(opened.identity));
    if (!stored) {
        return Failure(std::move(stored).error());
    }
    opened.lock = UniqueFd();  // unlocks the folder, because deriving a key takes about a second
    const std::string bytes = PackBackup(opened.accountKey.get(), stored.value().accountCertificate.get(),
                                         stored.value().state->Bytes(), passphrase);
    if (bytes.empty()) {
        return Fail(ErrorCode::SYSTEM, file.string() + ": the backup could not be made: " + OpenSslReason());
    }
    if (auto written = WriteFileAtomically(file, bytes, SECRET_FILE_MODE); !written) {
        return written;
    }
    return WriteTime(folder / BACKUP_FILE, clock);
}

Result<void> RestoreAccount(const std::filesystem::path& folder, const std::filesystem::path& file,
                            const std::string& passphrase, const std::string& deviceName, bool isAlone,
                            const Clock& clock)
{
    if (auto checked = CheckName(deviceName, "device name"); !checked) {
        return checked;
    }
    const auto backup = UnpackBackup(file, passphrase);
    if (!backup) {
        return Failure(backup.error());
    }
    X509* const account = backup.value().account.get();
    EVP_PKEY* const accountKey = backup.value().key.get();
    auto state = OpenState(backup.value().state, account);
    if (!state) {
        return Fail(state.error().code, file.string() + ": " + state.error().message);
    }
    const auto locked = LockIdentity(folder);
    if (!locked) {
        return Failure(locked.error());
    }
    const Identity& identity = locked.value().identity;
    if (auto checked = CheckMayRestore(folder, identity, account); !checked) {
        return checked;
    }
    const Certificate device =
        MakeDeviceCertificate(identity.key.get(), deviceName, account, accountKey, DEVICE_VALIDITY, clock);
    if (!device) {
        return Fail(ErrorCode::SYSTEM, "the device's certificate could not be made: " + OpenSslReason());
    }
    if (identity.state && CompareStates(state.value().get(), *identity.state) == StateOrder::NEWER) {
        state = identity.state;
    }
    if (isAlone) {
        AccountState next = state.value()->State();
        next.number = std::max(next.number, LastStateNumber(folder));
        BecomeHolder(next, {.networkId = identity.networkId, .name = deviceName, .since = TimeOfChange(next, clock)});
        state = SignNext(std::move(next), account, accountKey, clock);
        if (!state) {
            return Failure(std::move(state).error());
        }
    }
    return WriteRestored(folder, accountKey, *state.value(), device.get(), isAlone, clock);
}

bool IsRestored(const std::filesystem::path& folder)
{
    return FileExists(folder / RESTORED_FILE);
}

Result<Identity> CompleteRestore(const std::filesystem::path& folder, const Clock& clock)
{
    if (!IsRestored(folder)) {
        return LoadIdentity(folder);
    }
    auto holder = OpenHolder(folder, clock, OtherHolder::REPLACED);
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    BecomeHolder(holder.value().state, SelfOf(holder.value().identity, clock));
    auto stored = StoreState(holder.value(), clock);
    if (auto removed = stored ? RemoveMarker(folder) : Result<void>(); !removed) {
        return Failure(std::move(removed).error());
    }
    return stored;
}

std::optional<std::chrono::sys_seconds> LastBackup(const std::filesystem::path& folder)
{
    const auto text = ReadWholeFile(folder / BACKUP_FILE, MAX_TIME_FILE);
    int64_t seconds = 0;
    if (!text ||
        std::from_chars(text.value().data(), text.value().data() + text.value().size(), seconds).ec != std::errc() ||
        seconds < 0 || seconds > LAST_SECOND) {
        return std::nullopt;
    }
    return std::chrono::sys_seconds(std::chrono::seconds(seconds));
}

}  // namespace Vexo::Trust
