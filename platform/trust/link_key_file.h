// The file link.key: an account's link keys as JSON (docs/enrolment.md). The answer to an enrolment request contains
// the same JSON object. Used by platform/trust only. Functions block on the disk; any thread. No error message contains
// a byte of a key.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/base/json_keys.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

// The content of link.key.
struct LinkKeyRecord {
    int version = 1;
    std::string account{};  // network id of the account's key: the account that the link keys belong to
    LinkKey current{};
    LinkKey previous{};                         // number 0: no previous key
    std::chrono::seconds previousValidUntil{};  // since 1970, UTC

    LinkKeys Keys() const;
};

LinkKeyRecord RecordOf(const LinkKeys& keys, const std::string& account);
const JsonKeys<LinkKeyRecord>& LinkKeyRecordKeys();

// IsNewerFormat, IdKind and LAST_SECOND also serve the other JSON of an account. IsNewerFormat returns whether the
// object's "version" is higher than version.
bool IsNewerFormat(const std::string& json, int version);
JsonKind<std::string> IdKind();
inline constexpr int64_t LAST_SECOND = 253'402'300'799;  // largest time: the end of the year 9999

// Reads the file with ReadSecretFile (identity_files.h) and decodes it. INVALID_ARGUMENT: the format is newer.
// MALFORMED: damaged.
[[nodiscard]] Result<LinkKeyRecord> ReadLinkKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<void> WriteLinkKeyFile(const std::filesystem::path& file, const LinkKeyRecord& record);

}  // namespace Vexo::Trust
