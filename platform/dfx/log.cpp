#include "platform/dfx/log.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <memory_resource>
#include <optional>
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

// Limits how many lines one log statement writes in a second (SetLogLineLimit). The statements are hashed to a fixed
// number of counters, so two statements may share a counter and its limit.
class LineLimit {
public:
    void Set(uint32_t linesPerSecond) noexcept { limit_.store(linesPerSecond, std::memory_order_relaxed); }

    // Returns nullopt if the line must be left out. Otherwise returns how many lines were left out since the last line
    // of this counter. format: the address identifies the log statement; equal texts may have the same address.
    std::optional<uint32_t> Admit(const char* format) noexcept
    {
        const uint32_t limit = limit_.load(std::memory_order_relaxed);
        if (limit == 0) {
            return 0;
        }
        Slot& slot = slots_[std::hash<const char*>{}(format) / alignof(uint64_t) % slots_.size()];
        const int64_t now = std::chrono::floor<std::chrono::seconds>(Clock::System().Now()).time_since_epoch().count();
        int64_t second = slot.second.load(std::memory_order_relaxed);
        if (second != now && slot.second.compare_exchange_strong(second, now, std::memory_order_relaxed)) {
            slot.lines.store(0, std::memory_order_relaxed);
        }
        if (slot.lines.fetch_add(1, std::memory_order_relaxed) >= limit) {
            slot.leftOut.fetch_add(1, std::memory_order_relaxed);
            return std::nullopt;
        }
        return slot.leftOut.load(std::memory_order_relaxed) == 0 ? 0
                                                                 : slot.leftOut.exchange(0, std::memory_order_relaxed);
    }

private:
    struct Slot {
        std::atomic<int64_t> second{0};
        std::atomic<uint32_t> lines{0};  // in this second, including the lines that were left out
        std::atomic<uint32_t> leftOut{0};
    };

    std::atomic<uint32_t> limit_{0};
    std::array<Slot, 512> slots_{};
};

constinit LineLimit g_lineLimit;

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
            // Out of memory: the line is lost.
        }
    }

private:
    // The parts of a timestamp that all lines of the same second share. Each thread caches the parts of its last line,
    // because converting a time to local time is the slowest step of writing a line.
    struct Second {
        std::time_t time = -1;
        std::array<char, 24> date{};   // up to the decimal point
        std::array<char, 8> offset{};  // such as "+01:00"
    };

    static void AppendTime(Text& line)
    {
        thread_local Second second;
        const auto now = std::chrono::floor<std::chrono::milliseconds>(Clock::System().WallNow());
        const std::time_t time = WallTime::clock::to_time_t(now);
        if (time != second.time) {
            second = SecondOf(time);
        }
        const auto milliseconds = static_cast<unsigned>(now.time_since_epoch().count() % 1000);
        line += second.date.data();
        line += {static_cast<char>('0' + milliseconds / 100), static_cast<char>('0' + milliseconds / 10 % 10),
                 static_cast<char>('0' + milliseconds % 10)};
        line += second.offset.data();
    }

    static Second SecondOf(std::time_t time)
    {
        Second second{.time = time};
        tm parts{};
        localtime_r(&time, &parts);
        std::strftime(second.date.data(), second.date.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
        // strftime writes an offset such as "+0100", but RFC 3339 requires "+01:00".
        if (std::strftime(second.offset.data(), second.offset.size(), "%z", &parts) == 5) {
            second.offset[5] = second.offset[4];
            second.offset[4] = second.offset[3];
            second.offset[3] = ':';
        }
        return second;
    }
};

void AppendArgument(Text& out, const LogArgument& argument)
{
    std::array<char, 24> digits{};
    std::to_chars_result end{digits.data(), {}};
    switch (argument.kind) {
        case LogArgument::Kind::TEXT:
            // Text from a peer or a file may contain anything, so the text is escaped before a sink gets the line.
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

void SetLogLineLimit(uint32_t linesPerSecond) noexcept
{
    g_lineLimit.Set(linesPerSecond);
}

void WriteLog(LogLevel level, const LogLabel& label, std::string_view format, const LogArgument* arguments,
              size_t /*count*/) noexcept
{
    const std::optional<uint32_t> leftOut = g_lineLimit.Admit(format.data());
    if (!leftOut) {
        return;
    }
    try {
        std::array<char, STACK_BYTES> stack;
        std::pmr::monotonic_buffer_resource memory(stack.data(), stack.size());
        Text message(&memory);
        message.reserve(STACK_BYTES - 1);
        Format(message, format, arguments);
        if (*leftOut > 0) {
            message += "; ";
            message += std::to_string(*leftOut);
            message += " lines like it were left out";
        }
        if (const std::shared_ptr<LogSink> sink = g_sink.value.Get()) {
            sink->Write({level, label, message});
        } else {
            StderrLogSink().Write({level, label, message});
        }
    } catch (...) {
        // Out of memory: the record is lost, because a log call must not fail.
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
