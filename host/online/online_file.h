// OnlineFile: reads and writes online.json in the state folder: the data about getting online that outlives the daemon.
// The file is replaced by rename. A damaged file is renamed and logged, and counts as empty. If Load cannot read the
// file, Save fails, so that the file is not overwritten. Load and Save block on the disk. Not thread-safe.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/base/result.h"

namespace Vexo::Host {

struct OnlineRecord {
    bool isAutoOn = false;
    std::vector<std::string> preferred;  // network ids, the best first
    // When this device was last online through each device, by network id.
    std::map<std::string, std::chrono::sys_seconds> successes;
};

class OnlineFile {
public:
    explicit OnlineFile(std::filesystem::path file) : file_(std::move(file)) {}

    OnlineRecord Load();
    [[nodiscard]] Result<void> Save(const OnlineRecord& record) const;

private:
    const std::filesystem::path file_;
    bool isUnreadable_ = false;
};

}  // namespace Vexo::Host
