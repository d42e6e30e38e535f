#include "platform/trust/key_transfer.h"

#include <openssl/x509.h>

#include <system_error>

#include "platform/trust/account_holder.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/membership.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

std::string KeyToDer(EVP_PKEY* key)
{
    const OpenSslPtr<PKCS8_PRIV_KEY_INFO> info(EVP_PKEY2PKCS8(key));
    unsigned char* der = nullptr;
    const int size = info ? i2d_PKCS8_PRIV_KEY_INFO(info.get(), &der) : -1;
    if (size <= 0) {
        return {};
    }
    std::string bytes(reinterpret_cast<const char*>(der), static_cast<size_t>(size));
    OPENSSL_clear_free(der, static_cast<size_t>(size));
    return bytes;
}

PrivateKey KeyFromDer(std::string_view der)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* const end = bytes + der.size();
    const OpenSslPtr<PKCS8_PRIV_KEY_INFO> info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &bytes, static_cast<long>(der.size())));
    return info && bytes == end ? PrivateKey(EVP_PKCS82PKEY(info.get())) : nullptr;
}

}  // namespace

Result<std::string> ExportAccountKey(const std::filesystem::path& folder, const std::string& networkId)
{
    const auto holder = OpenHolder(folder, Clock::System(), OtherHolder::ALLOWED);
    if (!holder) {
        return Failure(holder.error());
    }
    if (networkId == holder.value().identity.networkId || holder.value().state.FindMember(networkId) == nullptr) {
        return Fail(ErrorCode::NOT_FOUND, "the account has no other member with the network id " + networkId);
    }
    std::string der = KeyToDer(holder.value().accountKey.get());
    if (der.empty()) {
        return Fail(ErrorCode::SYSTEM, "the account's key cannot be encoded: " + OpenSslReason());
    }
    return der;
}

Result<void> StoreAccountKey(const std::filesystem::path& folder, std::string_view der)
{
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    const PrivateKey key = KeyFromDer(der);
    const auto account = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE);
    if (!account) {
        return Failure(account.error());
    }
    if (!key || !IsP256Pair(key.get()) || X509_check_private_key(account.value().get(), key.get()) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED, "it is not the key of this device's account");
    }
    return FileExists(folder / ACCOUNT_KEY_FILE) ? Result<void>() : WriteKeyFile(folder / ACCOUNT_KEY_FILE, key.get());
}

Result<Identity> HandOverAccount(const std::filesystem::path& folder, const std::string& networkId, const Clock& clock)
{
    auto loaded = LoadIdentity(folder);
    // If an earlier transfer was interrupted after the state was signed, the state names the member as the holder
    // already.
    const bool isNamed = loaded && loaded.value().state && loaded.value().state->State().holder == networkId;
    if (auto named = isNamed ? std::move(loaded) : SetHolder(folder, networkId, clock); !named) {
        return named;
    }
    const auto lock = LockIdentityFolder(folder, FolderLock::WRITE);
    if (!lock) {
        return Failure(lock.error());
    }
    std::error_code failed;
    std::filesystem::remove(folder / ACCOUNT_KEY_FILE, failed);
    if (failed) {
        return Fail(ErrorCode::SYSTEM, "the other device holds the account's key now, but it is also still here: " +
                                           (folder / ACCOUNT_KEY_FILE).string() + ": " + failed.message());
    }
    return LoadIdentityLocked(folder);
}

}  // namespace Vexo::Trust
