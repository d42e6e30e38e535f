// The link key: a symmetric secret that every device of an account has. It is made with the account and handed out with
// each enrolment. Its bytes themselves are never used: DeriveKey gives each purpose a key of its own. Link keys are
// numbered from 1; after a change the key before stays valid until a date, so that a device that has not learned of the
// change is still understood. No state. Any thread. No call blocks.
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

// A new random key. Fails when the system has no random bytes.
[[nodiscard]] Result<LinkKey> GenerateLinkKey(uint32_t number);

// HKDF with SHA-256 (RFC 5869): no salt, purpose as info, 32 bytes. Purposes begin with "distnet "; two uses never
// share one.
SecretBytes DeriveKey(const LinkKey& key, std::string_view purpose);
// The same from a secret of another length.
SecretBytes DeriveKey(std::string_view secret, std::string_view purpose);

// 8 hex characters for people to compare on two devices; they do not lead to the key.
std::string FingerprintOf(const LinkKey& key);

}  // namespace Vexo::Trust
