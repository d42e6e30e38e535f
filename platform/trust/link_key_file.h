// link.key, an account's link keys as JSON (docs/enrolment.md); the answer to an enrolment holds the same object. Used
// by platform/trust only. Functions block on the disk; any thread. No message shows a byte of a key.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/base/json_keys.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

// The members of the JSON object.
struct LinkKeyRecord {
    int version = 1;
    std::string account{};  // the network id of the account's key: which account the keys are of
    LinkKey current{};
    LinkKey previous{};                         // number 0: there is none
    std::chrono::seconds previousValidUntil{};  // since 1970, UTC

    LinkKeys Keys() const;
};

LinkKeyRecord RecordOf(const LinkKeys& keys, const std::string& account);
const JsonKeys<LinkKeyRecord>& LinkKeyRecordKeys();

// What the JSON of other files of an account has, too: a format's version, a network id, and the last of its times.
bool IsNewerFormat(const std::string& json, int version);
JsonKind<std::string> IdKind();
inline constexpr int64_t LAST_SECOND = 253'402'300'799;  // the end of the year 9999

// Checked as the other secrets are (identity_files.h), and for its format. INVALID_ARGUMENT: a newer format.
[[nodiscard]] Result<LinkKeyRecord> ReadLinkKeyFile(const std::filesystem::path& file);
[[nodiscard]] Result<void> WriteLinkKeyFile(const std::filesystem::path& file, const LinkKeyRecord& record);

}  // namespace Vexo::Trust
