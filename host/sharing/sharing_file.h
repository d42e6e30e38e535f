// sharing.json of the state folder (mode 0600, replaced by rename): what of sharing outlives the daemon. docs/files.md
// lists its keys. One thread at a time; both calls block on the disk.
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

// Of rules, of questions, and of devices that use the share at a time.
inline constexpr size_t MAX_SHARE_DEVICES = 256;

struct SharingRecord {
    struct Rule {
        std::string networkId;
        ShareDecision decision = ShareDecision::ALWAYS;  // TODAY, ALWAYS or NEVER
        std::chrono::seconds until{0};                   // TODAY: since 1970
    };
    // How often the owner was asked about a device on one day.
    struct Asked {
        std::string networkId;
        std::chrono::days day{0};  // since 1970, local time
        uint32_t count = 0;
    };
    int version = 1;
    std::vector<Rule> rules{};
    std::vector<Asked> asked{};
    std::chrono::days monthDay{0};  // the first of the month whose bytes are counted, since 1970, local time; 0: none
    uint64_t monthBytes = 0;
};

class SharingFile : public NoCopyable {
public:
    explicit SharingFile(std::filesystem::path file) : file_(std::move(file)) {}

    // A missing file is an empty record. So is a damaged one or one of a later version, which is renamed and logged,
    // and one that cannot be read, which is logged and never written.
    SharingRecord Load();
    // The error is a sentence for the owner.
    [[nodiscard]] Result<void> Save(const SharingRecord& record);

private:
    const std::filesystem::path file_;
    std::string whyNotWritten_;  // empty: the file may be written
};

}  // namespace Vexo::Host
