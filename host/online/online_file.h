// OnlineFile: what getting online remembers across restarts of the daemon: online.json in the state folder. Written by
// rename. A damaged file is renamed and logged, and counts as empty; one that cannot be read is left as it is, and
// nothing is stored then. Blocks on the disk. Not thread-safe.
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
    std::vector<std::string> preferred;                         // network ids, the best first
    std::map<std::string, std::chrono::sys_seconds> successes;  // when this device was last online through each
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
