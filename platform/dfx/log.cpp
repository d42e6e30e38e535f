#include "platform/dfx/log.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <ctime>
#include <memory>
#include <memory_resource>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/utf8.h"
#include "platform/dfx/sink_holder.h"
#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

namespace {

// A line of up to this length is built on the stack, a longer line on the heap.
constexpr size_t STACK_BYTES = 512;
using Text = std::pmr::string;

std::atomic<LogLevel> g_level{LogLevel::INFO};

constinit NeverDestroyed<SinkHolder<LogSink>> g_sink;

char LevelLetter(LogLevel level)
{
    switch (level) {
        case LogLevel::DEBUG:
            return 'D';
        case LogLevel::INFO:
            return 'I';
        case LogLevel::WARN:
            return 'W';
        case LogLevel::ERROR:
            return 'E';
        case LogLevel::FATAL:
            return 'F';
    }
    return '?';
}

class StderrLogSink final : public LogSink {
public:
    void Write(const LogRecord& record) noexcept override
    {
        try {
            std::array<char, STACK_BYTES> stack;
            std::pmr::monotonic_buffer_resource memory(stack.data(), stack.size());
            Text line(&memory);
            line.reserve(STACK_BYTES - 1);
            AppendTime(line);
            line += {' ', LevelLetter(record.level), ' '};
            line += record.label.tag;
            line += ':';
            if (!record.message.starts_with(' ')) {
                line += ' ';
            }
            line += record.message;
            line += '\n';
            (void)!::write(STDERR_FILENO, line.data(), line.size());
        } catch (...) {
            // There is no memory: the line is lost.
        }
    }

private:
    static void AppendTime(Text& line)
    {
        const auto now = std::chrono::floor<std::chrono::milliseconds>(Clock::System().WallNow());
        const std::time_t seconds = WallTime::clock::to_time_t(now);
        tm parts{};
        localtime_r(&seconds, &parts);
        std::array<char, 24> text{};
        line.append(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &parts));
        const auto milliseconds = static_cast<unsigned>(now.time_since_epoch().count() % 1000);
        line += {static_cast<char>('0' + milliseconds / 100), static_cast<char>('0' + milliseconds / 10 % 10),
                 static_cast<char>('0' + milliseconds % 10)};
        // strftime writes an offset such as "+0100", but RFC 3339 requires "+01:00".
        std::array<char, 8> offset{};
        const size_t length = std::strftime(offset.data(), offset.size(), "%z", &parts);
        line.append(offset.data(), std::min<size_t>(length, 3));
        if (length == 5) {
            line += {':', offset[3], offset[4]};
        }
    }
};

void AppendArgument(Text& out, const LogArgument& argument)
{
    std::array<char, 24> digits{};
    std::to_chars_result end{digits.data(), {}};
    switch (argument.kind) {
        case LogArgument::Kind::TEXT:
            // Text from a peer or a file may contain anything, so it is escaped before a sink gets it.
            if (IsPrintableAscii(argument.text)) {
                out += argument.text;
            } else {
                out += EscapeHidden(argument.text);
            }
            return;
        case LogArgument::Kind::SIGNED:
            end = std::to_chars(digits.data(), digits.data() + digits.size(), argument.number);
            break;
        case LogArgument::Kind::UNSIGNED:
        case LogArgument::Kind::UNSIGNED_LONG:
            end = std::to_chars(digits.data(), digits.data() + digits.size(), argument.unsignedNumber);
            break;
    }
    out.append(digits.data(), static_cast<size_t>(end.ptr - digits.data()));
}

// Appends the formatted record to out. Needs no checks, because the compiler has checked the format against the
// arguments (LogFormat).
void Format(Text& out, std::string_view format, const LogArgument* arguments)
{
    constexpr std::string_view PUBLIC = "{public}";
    constexpr std::string_view PRIVATE = "{private}";
    for (size_t at = format.find('%'); at != std::string_view::npos; at = format.find('%')) {
        out += format.substr(0, at);
        format.remove_prefix(at + 1);
        const bool isPublic = format.starts_with(PUBLIC);
        if (isPublic) {
            format.remove_prefix(PUBLIC.size());
            AppendArgument(out, *arguments);
        } else {
            format.remove_prefix(format.starts_with(PRIVATE) ? PRIVATE.size() : 0);
            out += "<private>";
        }
        ++arguments;
        format.remove_prefix(format.starts_with('l') ? 2 : 1);
    }
    out += format;
}

}  // namespace

bool IsLoggable(LogLevel level) noexcept
{
    return level >= g_level.load(std::memory_order_relaxed);
}

void SetLogLevel(LogLevel level) noexcept
{
    g_level.store(level, std::memory_order_relaxed);
}

void WriteLog(LogLevel level, const LogLabel& label, std::string_view format, const LogArgument* arguments,
              size_t /*count*/) noexcept
{
    try {
        std::array<char, STACK_BYTES> stack;
        std::pmr::monotonic_buffer_resource memory(stack.data(), stack.size());
        Text message(&memory);
        message.reserve(STACK_BYTES - 1);
        Format(message, format, arguments);
        if (const std::shared_ptr<LogSink> sink = g_sink.value.Get()) {
            sink->Write({level, label, message});
        } else {
            StderrLogSink().Write({level, label, message});
        }
    } catch (...) {
        // There is no memory: the record is lost, because a log call must not fail.
    }
}

void SetLogSink(std::shared_ptr<LogSink> sink)
{
    g_sink.value.Set(std::move(sink));
}

std::shared_ptr<LogSink> MakeStderrLogSink()
{
    return std::make_shared<StderrLogSink>();
}

}  // namespace Vexo::QuviewDFX
