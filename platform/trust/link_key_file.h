// The file link.key: an account's link keys as JSON (docs/enrolment.md). The answer to an enrolment request contains
// the same JSON object. Only platform/trust uses this header. The functions are thread-safe and block on the disk. No
// error message contains a byte of a key.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/base/json_keys.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

// The content of the file link.key.
struct LinkKeyRecord {
    int version = 1;
    std::string account{};  // network id of the account's key; the link keys belong to this account
    LinkKey current{};
    LinkKey previous{};                         // number is 0 when there is no previous link key
    std::chrono::seconds previousValidUntil{};  // seconds since 1970, UTC

    LinkKeys Keys() const;
};

LinkKeyRecord RecordOf(const LinkKeys& keys, const std::string& account);
const JsonKeys<LinkKeyRecord>& LinkKeyRecordKeys();

// The decoder of account states (account_state.h) uses these functions too. IsNewerFormat returns true when the
// "version" in the JSON object is higher than the given version.
bool IsNewerFormat(const std::string& json, int version);
JsonKind<std::string> IdKind();

// Reads link.key with ReadSecretFile (identity_files.h) and decodes it. INVALID_ARGUMENT: the format of the file is
// newer. MALFORMED: the file is damaged.
[[nodiscard]] Result<LinkKeyRecord> ReadLinkKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<void> WriteLinkKeyFile(const std::filesystem::path& file, const LinkKeyRecord& record);

}  // namespace Vexo::Trust
