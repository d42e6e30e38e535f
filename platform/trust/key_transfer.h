// Moves the account's key from its holder (the device that has the key) to another member, over a connection between
// the two devices (platform/softbus/account/). The receiver stores the key. Then the sender signs a state that names
// the new holder, and deletes its own copy last. If the transfer is interrupted, the key may be on both devices, but
// the key is never lost. The same transfer can then be repeated. The functions are thread-safe and block on the disk.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr size_t MAX_KEY_BYTES = 1024;

// The holder calls this function. Returns the account's key for the member with that network id, as PKCS#8 (RFC 5958)
// in DER. The caller must overwrite the returned secret. NOT_FOUND: this device does not have the account's key, or
// networkId is not the id of another member.
[[nodiscard]] Result<std::string> ExportAccountKey(const std::filesystem::path& folder, const std::string& networkId);
// The receiver calls this function. Stores the account's key, unless this device has the key already. UNTRUSTED: the
// bytes are not the key of this device's account.
[[nodiscard]] Result<void> StoreAccountKey(const std::filesystem::path& folder, std::string_view der);
// The holder calls this function after the other member has stored the account's key. Signs a state that names that
// member as the holder, and deletes the key on this device. Returns the new identity.
[[nodiscard]] Result<Identity> HandOverAccount(const std::filesystem::path& folder, const std::string& networkId,
                                               const Clock& clock = Clock::System());

}  // namespace Vexo::Trust
