// LogCapture: collects all log lines that are written while the object exists. Any thread may log. The destructor fails
// the test if a line contains one of the Wi-Fi keys that tests use.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/dfx/sinks.h"
#include "tests/support/trail.h"

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

    bool Contains(const std::string& text) const { return Count(text) > 0; }
    size_t Count(const std::string& text) const
    {
        const std::vector<std::string> lines = lines_->WaitFor(0);
        return static_cast<size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
    }
    std::string Text() const
    {
        std::string text;
        for (const std::string& line : lines_->WaitFor(0)) {
            text += line + '\n';
        }
        return text;
    }
    // Blocks until at least count lines contain the text. Returns false if this takes longer than WAIT_LIMIT.
    bool WaitFor(const std::string& text, size_t count = 1) const
    {
        return Eventually([&] { return Count(text) >= count; });
    }

private:
    struct Sink : QuviewDFX::LogSink, Trail<std::string> {
        void Write(const QuviewDFX::LogRecord& record) noexcept override { Add(std::string(record.message)); }
    };
    const std::shared_ptr<Sink> lines_ = std::make_shared<Sink>();
};

}  // namespace Vexo::Tests
