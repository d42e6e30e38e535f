// Moves the account's key from its holder to another member, over a link between the two (softbus/account). The
// receiver stores the key before the sender signs a state that names the new holder, and the sender deletes its own
// last: an interruption leaves two devices with the key, never none, and the same transfer can be made again. Functions
// block on the disk; any thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr size_t MAX_KEY_BYTES = 1024;

// On the holder: the account's key for that member, PKCS#8 (RFC 5958) in DER; a secret that the caller must overwrite.
// NOT_FOUND when this device does not hold the key or networkId is no other member.
[[nodiscard]] Result<std::string> ExportAccountKey(const std::filesystem::path& folder, const std::string& networkId);
// On the member: stores it. UNTRUSTED when it is not the key of this device's account.
[[nodiscard]] Result<void> StoreAccountKey(const std::filesystem::path& folder, std::string_view der);
// On the holder, once the member has stored the key: the state names the member as holder, and the key is deleted here.
[[nodiscard]] Result<Identity> HandOverAccount(const std::filesystem::path& folder, const std::string& networkId,
                                               const Clock& clock = Clock::System());

}  // namespace Vexo::Trust
