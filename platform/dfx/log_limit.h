// LogLimit: keeps one source (a user or an address) from filling the log. It admits one line a minute for each source
// and counts the other lines. Thread-safe. No call blocks.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::QuviewDFX {

inline constexpr std::chrono::minutes LOG_LIMIT_INTERVAL{1};

template <typename Source>
class LogLimit : public NoCopyable {
public:
    explicit LogLimit(const Clock& clock = Clock::System()) : clock_(clock) {}

    // Decides whether a line of this source may be logged. Returns nullopt if the line must be left out. Otherwise
    // returns the text to append to the line, which is empty or a text such as "; 37 lines like it were left out".
    std::optional<std::string> Admit(const Source& source) EXCLUDES(mutex_)
    {
        const SteadyTime now = clock_.Now();
        const MutexLock lock(mutex_);
        const auto found = records_.find(source);
        if (found != records_.end() && now - found->second.last < LOG_LIMIT_INTERVAL) {
            ++found->second.leftOut;
            return std::nullopt;
        }
        const uint64_t leftOut = found != records_.end() ? found->second.leftOut : 0;
        if (records_.size() >= MAX_SOURCES) {
            std::erase_if(records_, [&](const auto& entry) { return now - entry.second.last >= LOG_LIMIT_INTERVAL; });
            if (records_.size() >= MAX_SOURCES) {
                return std::nullopt;
            }
        }
        records_[source] = Record{now};
        return leftOut > 0 ? "; " + std::to_string(leftOut) + " lines like it were left out" : "";
    }

private:
    struct Record {
        SteadyTime last;
        uint64_t leftOut = 0;
    };

    // The largest number of sources that are tracked, because one person may own thousands of user ids or addresses. If
    // so many sources had a line in the last minute, the lines of further sources are left out.
    static constexpr size_t MAX_SOURCES = 256;

    const Clock& clock_;
    Mutex mutex_;
    std::map<Source, Record> records_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::QuviewDFX
