// OnlineFile: reads and writes online.json in the state folder: the data about getting online that outlives the daemon.
// Written by rename. A damaged file is renamed and logged, and counts as empty. A file that cannot be read is not
// changed, and nothing is stored then. Blocks on the disk. Not thread-safe.
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
    std::map<std::string, std::chrono::sys_seconds>
        successes;  // when this device was last online through it, by network id
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
