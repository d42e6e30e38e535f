// SharingFile: reads and writes sharing.json in the state folder (mode 0600, replaced by rename): the data of sharing
// that outlives the daemon. docs/files.md lists the keys of the file. Only one thread may use it at a time. Load and
// Save block on the disk.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "interfaces/sharing_answers.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Host {

// The maximum number of rules, of leases, and of devices about which the owner was asked today.
inline constexpr size_t MAX_SHARE_DEVICES = 256;

struct SharingRecord {
    struct Rule {
        std::string networkId;
        ShareDecision decision = ShareDecision::ALWAYS;  // TODAY, ALWAYS or NEVER
        std::chrono::seconds until{0};                   // TODAY: when the rule ends, in seconds since 1970
    };
    // How many times the owner was asked about a device on one day.
    struct Asked {
        std::string networkId;
        std::chrono::days day{0};  // the local date, in days since 1970
        uint32_t count = 0;
    };
    int version = 1;
    std::vector<Rule> rules{};
    std::vector<Asked> asked{};
    std::chrono::days monthDay{0};  // first day of the counted month: days since 1970, local time; 0: none
    uint64_t monthBytes = 0;
};

class SharingFile : public NoCopyable {
public:
    explicit SharingFile(std::filesystem::path file) : file_(std::move(file)) {}

    // A missing file gives an empty record. A damaged file or a file of a later version also gives an empty record, and
    // is renamed and logged. An unreadable file gives an empty record too; it is logged and never overwritten.
    SharingRecord Load();
    // Writes the record to the file. The error's text is for the owner.
    [[nodiscard]] Result<void> Save(const SharingRecord& record);

private:
    const std::filesystem::path file_;
    std::string whyNotWritten_;  // why Save must not overwrite the file; empty: Save may
};

}  // namespace Vexo::Host
