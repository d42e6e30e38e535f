// The identity of a device and its account. They are stored as files in the identity folder (mode 0700):
//   device.key   the device's private key, PEM PKCS#8 (RFC 5958), P-256, mode 0600; never leaves the device
//   device.id    64 random hex characters: shown to the owner; does not reveal the network id
//   device.crt   the device's X.509 certificate, issued by the account (PEM); absent before enrolment
//   account.crt  the account's self-signed CA certificate (PEM): the only trust anchor; contains the account's name
//   account.key  the account's private key, in the format of device.key; exists only on the account's holder device
//   link.key     the account's link keys (link_key.h), JSON, mode 0600; version 0.1 enrolled devices without it
//   account.state, account.number, removal, backup, restored, older-account: docs/files.md
// The network id is the lower-case hex SHA-256 of the device's public key (DER SubjectPublicKeyInfo, RFC 5280).
// The functions are thread-safe and block on the disk and on key generation. Files are created atomically. The
// functions refuse a key that other users can read, a damaged file, and a certificate of another key. The error then
// names the file and says what to do. The functions do not check the validity period of certificates, because this
// device's clock may still be wrong. The peer checks the validity period in each TLS handshake.
// Read next: account.h (enrolment), tls_context.h and link_key.h (connections).
#pragma once

#include <openssl/types.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/base/result.h"
#include "platform/trust/account_state.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

struct OpenSslDeleter {
    void operator()(EVP_PKEY* key) const noexcept;
    void operator()(X509* certificate) const noexcept;
};
using PrivateKey = std::unique_ptr<EVP_PKEY, OpenSslDeleter>;
using Certificate = std::unique_ptr<X509, OpenSslDeleter>;

struct Identity {
    std::string networkId;  // 64 lower-case hex characters
    std::string deviceId;   // 64 lower-case hex characters
    PrivateKey key;
    Certificate certificate;                            // null before enrolment
    Certificate accountCertificate;                     // null before enrolment
    std::string accountName;                            // empty before enrolment
    std::optional<LinkKeys> linkKeys;                   // nullopt before enrolment; from state unless state is null
    SignedStatePtr state;                               // null: missing, damaged, or an account without a state
    std::optional<std::chrono::sys_seconds> removedAt;  // when the account removed this device; nullopt: not removed
    bool holdsAccountKey = false;

    bool HasCertificate() const { return certificate != nullptr && accountCertificate != nullptr; }
    bool Enrolled() const { return HasCertificate() && linkKeys.has_value(); }
    // Returns true if the device has a certificate but no link key. LinkKeyAdvice (identity_repair.h) returns text that
    // says what to do.
    bool LacksLinkKey() const { return HasCertificate() && !linkKeys.has_value(); }
    // Returns true if the device with that network id is a member of the account. If this device has no state of the
    // account, every device with a certificate of the account counts as a member.
    bool IsMember(const std::string& id) const { return state == nullptr || state->State().FindMember(id) != nullptr; }
    std::chrono::system_clock::time_point CertificateExpiry() const;  // call only when the device has a certificate
};

// Loads the device's identity from the folder. Creates the folder, the device key and the device id if they are
// missing.
[[nodiscard]] Result<Identity> LoadOrCreateIdentity(const std::filesystem::path& folder);
// Loads only the device key and the device id. Creates the folder, the key and the id if they are missing. Does not
// read the certificates, the account's state and the link keys, because they may be damaged.
[[nodiscard]] Result<Identity> LoadOrCreateUnenrolled(const std::filesystem::path& folder);
// Loads the device's identity from the folder. Returns an error when the folder contains none. Blocks while another
// process writes to the folder.
[[nodiscard]] Result<Identity> LoadIdentity(const std::filesystem::path& folder);

// Returns the network id of a public key, or of the public key in a certificate: 64 lower-case hex characters. Returns
// an empty string when OpenSSL fails.
std::string NetworkIdOf(EVP_PKEY* key);
std::string NetworkIdOf(X509* certificate);

}  // namespace Vexo::Trust
