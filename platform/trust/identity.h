// A device's identity and account, as files in one folder of its own (mode 0700):
//   device.key   the device's private key, PEM PKCS#8 (RFC 5958), P-256, mode 0600; never leaves the device
//   device.id    64 hex characters, random: names the device to its owner and does not lead to the network id
//   device.crt   the device's X.509 certificate, issued by the account (PEM); absent before enrolment
//   account.crt  the account's self-signed CA certificate (PEM): the one trust anchor; carries the name
//   account.key  the account's private key, like device.key; only on the device that created the account
//   link.key     the account's link keys (link_key.h), JSON, mode 0600; version 0.1 enrolled devices without it
//   account.state, account.number, removal, backup, restored, older-account: docs/files.md
// The network id is the lower-case hex SHA-256 of the device's public key (DER SubjectPublicKeyInfo, RFC 5280).
// Functions block on the disk and on key generation; any thread. Files are created atomically; a key that others can
// read, a damaged file, or a certificate of another key is refused with an error that names the file and what to do.
// The validity period of certificates is not checked here (this clock may still be wrong) but in each handshake, by the
// peer.
// Next: account.h (enrolment), tls_context.h and link_key.h (use).
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
    Certificate certificate;           // null before enrolment
    Certificate accountCertificate;    // null before enrolment
    std::string accountName;           // empty before enrolment
    std::optional<LinkKeys> linkKeys;  // none before enrolment; the state's where there is one
    SignedStatePtr state;              // null: not known; a device that was enrolled before states existed, or damaged
    std::optional<std::chrono::sys_seconds> removedAt;  // since when the account has removed this device
    bool holdsAccountKey = false;

    bool HasCertificate() const { return certificate != nullptr && accountCertificate != nullptr; }
    bool Enrolled() const { return HasCertificate() && linkKeys.has_value(); }
    // Has a certificate but no link key. What to do about it: LinkKeyAdvice (identity_repair.h).
    bool LacksLinkKey() const { return HasCertificate() && !linkKeys.has_value(); }
    // Whether that device is a member. Without a state every device with a certificate of the account is one.
    bool IsMember(const std::string& id) const { return state == nullptr || state->State().FindMember(id) != nullptr; }
    std::chrono::system_clock::time_point CertificateExpiry() const;  // only with a certificate
};

// Loads the identity; creates folder, key and device id on first use.
[[nodiscard]] Result<Identity> LoadOrCreateIdentity(const std::filesystem::path& folder);
// The same without the enrolment: its files are not read, so they may be damaged.
[[nodiscard]] Result<Identity> LoadOrCreateUnenrolled(const std::filesystem::path& folder);
// Loads; an error when there is none. Waits for an enrolment that another process is writing.
[[nodiscard]] Result<Identity> LoadIdentity(const std::filesystem::path& folder);

// Network id of a public key: 64 lower-case hex characters.
std::string NetworkIdOf(EVP_PKEY* key);

}  // namespace Vexo::Trust
