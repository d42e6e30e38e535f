// Moves the account's key from its holder to another member, over a link between the two (platform/softbus/account/).
// The receiver stores the key. Then the sender signs a state that names the new holder, and deletes its own copy last.
// An interruption therefore leaves the key on both devices, never on none, and the same transfer can be repeated.
// Functions block on the disk; any thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr size_t MAX_KEY_BYTES = 1024;

// On the holder: returns the account's key for that member, as PKCS#8 (RFC 5958) in DER. The caller must overwrite this
// secret. NOT_FOUND: this device does not hold the key, or networkId is not another member.
[[nodiscard]] Result<std::string> ExportAccountKey(const std::filesystem::path& folder, const std::string& networkId);
// On the receiver: stores the key, if it has none yet. UNTRUSTED: not the key of this device's account.
[[nodiscard]] Result<void> StoreAccountKey(const std::filesystem::path& folder, std::string_view der);
// On the holder, after the member has stored the key: signs a state that names the member as the holder, and deletes
// the key on this device. Returns the new identity.
[[nodiscard]] Result<Identity> HandOverAccount(const std::filesystem::path& folder, const std::string& networkId,
                                               const Clock& clock = Clock::System());

}  // namespace Vexo::Trust
