// The link key: a symmetric secret that every device of an account has. It is created with the account, and each
// enrolment passes it on. Its bytes are never used directly: DeriveKey returns a separate key for each purpose. Link
// keys are numbered from 1. After a change, the previous key stays valid until a date, so that a device without the new
// key can still connect. Functions without state. Any thread. No call blocks.
// Next: link_key_file.h (the file), account.h and docs/enrolment.md (how a device gets the keys).
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
    uint32_t number = 0;  // from 1
    SecretBytes bytes{};
};

struct PreviousLinkKey {
    LinkKey key;
    WallTime validUntil;
};

struct LinkKeys {
    LinkKey current;
    std::optional<PreviousLinkKey> previous{};  // none before the first change
};

// Returns a new random key. Fails when the system has no random bytes.
[[nodiscard]] Result<LinkKey> GenerateLinkKey(uint32_t number);

// Derives a key: HKDF with SHA-256 (RFC 5869), no salt, purpose as info, 32 bytes. A purpose begins with "distnet ",
// and each use has a purpose of its own.
SecretBytes DeriveKey(const LinkKey& key, std::string_view purpose);
// As above, from a secret of any length.
SecretBytes DeriveKey(std::string_view secret, std::string_view purpose);

// Returns 8 hex characters for people to compare on two devices. The key cannot be computed from them.
std::string FingerprintOf(const LinkKey& key);

}  // namespace Vexo::Trust
