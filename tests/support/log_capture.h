// LogCapture: the log lines of a test, while it lives. Any thread may log. At its end no line shows one of the keys
// that tests play with.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/dfx/sinks.h"
#include "tests/support/eventually.h"

namespace Vexo::Tests {

class LogCapture {
public:
    LogCapture() { QuviewDFX::SetLogSink(lines_); }
    ~LogCapture()
    {
        QuviewDFX::SetLogSink(nullptr);
        for (const char* key : {"not-a-real-key", "example-key", "example-passphrase"}) {
            EXPECT_FALSE(Contains(key)) << "a line shows a Wi-Fi key";
        }
    }

    bool Contains(const std::string& text) const { return lines_->Count(text) > 0; }
    size_t Count(const std::string& text) const { return lines_->Count(text); }
    std::string Text() const { return lines_->Text(); }
    // Blocks until count lines contain text.
    bool WaitFor(const std::string& text, size_t count = 1) const
    {
        return Eventually([&] { return Count(text) >= count; });
    }

private:
    struct Lines : QuviewDFX::LogSink {
        void Write(const QuviewDFX::LogRecord& record) noexcept override
        {
            const std::lock_guard lock(mutex);
            lines.emplace_back(record.message);
        }
        size_t Count(const std::string& text)
        {
            const std::lock_guard lock(mutex);
            return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
                return line.find(text) != std::string::npos;
            }));
        }
        std::string Text()
        {
            const std::lock_guard lock(mutex);
            std::string text;
            for (const std::string& line : lines) {
                text += line + '\n';
            }
            return text;
        }
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    const std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
};

}  // namespace Vexo::Tests
