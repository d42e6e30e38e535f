// The link key: a symmetric secret that every device of an account has. The first link key is created together with the
// account. Each new device receives the link key when the device joins. The bytes of a link key are never used
// directly. DeriveKey returns a separate key for each purpose. Link keys are numbered from 1. After a change, the
// previous link key stays valid until a date, so that a device without the new key can still connect. The functions are
// thread-safe and do not block.
// Read next: link_key_file.h (the file), account.h and docs/enrolment.md (how a device gets the keys).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/result.h"

namespace Vexo::Trust {

inline constexpr size_t LINK_KEY_BYTES = 32;

// A secret of 256 bits. Each copy overwrites its memory when it is destroyed.
struct SecretBytes : std::array<uint8_t, LINK_KEY_BYTES> {
    ~SecretBytes();
};

struct LinkKey {
    uint32_t number = 0;  // counted from 1; 0: no key
    SecretBytes bytes{};
};

struct PreviousLinkKey {
    LinkKey key;
    WallTime validUntil;
};

struct LinkKeys {
    LinkKey current;
    std::optional<PreviousLinkKey> previous{};  // nullopt before the link key changed for the first time
};

// Returns a new random link key with that number. Returns an error when the system has no random bytes.
[[nodiscard]] Result<LinkKey> GenerateLinkKey(uint32_t number);

// Derives a key with HKDF and SHA-256 (RFC 5869): 32 bytes, no salt. purpose: the "info" input of HKDF; must begin with
// "distnet ". Use a different purpose for each kind of use.
SecretBytes DeriveKey(const LinkKey& key, std::string_view purpose);
// Derives a key with HKDF and SHA-256 from a secret of any length. purpose: the "info" input of HKDF; begins with
// "distnet ".
SecretBytes DeriveKey(std::string_view secret, std::string_view purpose);

// Returns 8 hex characters that people can compare on two devices. Nobody can compute the link key from them.
std::string FingerprintOf(const LinkKey& key);

}  // namespace Vexo::Trust
