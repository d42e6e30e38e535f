// LogCapture: the log lines of a test, while it lives. Any thread may log.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/dfx/sinks.h"

namespace Vexo::Tests {

inline constexpr std::chrono::seconds WAIT_LIMIT{20};  // for what must come; generous, because sanitizers are slow

class LogCapture {
public:
    LogCapture() { QuviewDFX::SetLogSink(lines_); }
    ~LogCapture() { QuviewDFX::SetLogSink(nullptr); }

    bool Contains(const std::string& text) const { return lines_->Count(text) > 0; }
    size_t Count(const std::string& text) const { return lines_->Count(text); }
    // Blocks until a line that contains text has been written count times.
    bool WaitFor(const std::string& text, size_t count = 1) const { return lines_->WaitFor(text, count); }

private:
    struct Lines : QuviewDFX::LogSink {
        void Write(const QuviewDFX::LogRecord& record) noexcept override
        {
            const std::lock_guard lock(mutex);
            lines.emplace_back(record.message);
            changed.notify_all();
        }
        size_t CountLocked(const std::string& text) const
        {
            size_t count = 0;
            for (const std::string& line : lines) {
                count += line.find(text) != std::string::npos ? 1 : 0;
            }
            return count;
        }
        size_t Count(const std::string& text)
        {
            const std::lock_guard lock(mutex);
            return CountLocked(text);
        }
        bool WaitFor(const std::string& text, size_t count)
        {
            std::unique_lock lock(mutex);
            return changed.wait_for(lock, WAIT_LIMIT, [&] { return CountLocked(text) >= count; });
        }
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<std::string> lines;
    };
    const std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
};

}  // namespace Vexo::Tests
