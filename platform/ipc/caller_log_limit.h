// CallerLogLimit: keeps the programs of one user from filling the log. Of the lines about what they do wrong it admits
// one a minute for each user, with the number of lines that were left out before it. Any thread; does not block.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Ipc {

inline constexpr std::chrono::minutes CALLER_LOG_INTERVAL{1};

class CallerLogLimit : public NoCopyable {
public:
    explicit CallerLogLimit(const Clock& clock = Clock::System()) : clock_(clock) {}

    // What to add to the user's line, empty or "; 37 lines like it were left out"; nullopt when this line is to be left
    // out.
    std::optional<std::string> Admit(uid_t user) EXCLUDES(mutex_);

private:
    struct Record {
        SteadyTime last;
        uint64_t leftOut = 0;
    };

    const Clock& clock_;
    Mutex mutex_;
    std::unordered_map<uid_t, Record> records_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Ipc
