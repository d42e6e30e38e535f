// The system log. A record has a label (domain and tag), a level, and a format whose specifiers are checked against the
// arguments at compile time. A text argument is escaped (EscapeHidden of platform/base/utf8.h). A record is therefore
// one line and safe to show, even if it contains text from a peer. Thread-safe; a call never fails and never throws.
// Sinks: platform/dfx/sinks.h.
//
// Specifiers; no others compile:
//   %{public}d    int32 or smaller signed, bool       %{public}u    uint32 or smaller unsigned
//   %{public}lu   unsigned 64 bit                     %{public}s    string, string_view, C string
//   %{private}… and plain %d %u %lu %s are accepted and written masked as <private>.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace Vexo::QuviewDFX {

enum class LogLevel : uint8_t { DEBUG = 3, INFO = 4, WARN = 5, ERROR = 6, FATAL = 7 };

struct LogLabel {
    uint32_t domain;
    const char* tag;
};

inline constexpr uint32_t LOG_DOMAIN_PLATFORM = 0xD0015B1;

// One argument of a log call. Does not own the text.
struct LogArgument {
    enum class Kind : uint8_t { SIGNED, UNSIGNED, UNSIGNED_LONG, TEXT };
    Kind kind;
    int64_t number = 0;
    uint64_t unsignedNumber = 0;
    std::string_view text;
};

template <typename T>
constexpr LogArgument::Kind LogKindOf()
{
    using D = std::remove_cvref_t<T>;
    if constexpr (std::is_same_v<D, bool> || (std::is_integral_v<D> && std::is_signed_v<D> && sizeof(D) <= 4)) {
        return LogArgument::Kind::SIGNED;
    } else if constexpr (std::is_integral_v<D> && std::is_unsigned_v<D> && sizeof(D) <= 4) {
        return LogArgument::Kind::UNSIGNED;
    } else if constexpr (std::is_integral_v<D> && std::is_unsigned_v<D> && sizeof(D) == 8) {
        return LogArgument::Kind::UNSIGNED_LONG;
    } else {
        static_assert(std::is_convertible_v<const D&, std::string_view>,
                      "a log argument is a 32-bit number, an unsigned 64-bit number or a string");
        return LogArgument::Kind::TEXT;
    }
}

// A format that the compiler has checked against the types Args. If the format does not fit, Check calls a function
// that is not constexpr. The compiler reports that call as the error, and the function's name says what is wrong.
template <typename... Args>
class LogFormat {
public:
    consteval LogFormat(const char* text) : text_(text) { Check(text); }
    constexpr std::string_view Text() const { return text_; }

private:
    static void UnknownLogSpecifier() {}
    static void MoreSpecifiersThanLogArguments() {}
    static void FewerSpecifiersThanLogArguments() {}
    static void LogArgumentHasAnotherTypeThanItsSpecifier() {}

    static consteval void Check(std::string_view text);

    std::string_view text_;
};

// Returns true if records of this level are written (SetLogLevel in sinks.h).
bool IsLoggable(LogLevel level) noexcept;
void WriteLog(LogLevel level, const LogLabel& label, std::string_view format, const LogArgument* arguments,
              size_t count) noexcept;

template <typename T>
LogArgument MakeLogArgument(const T& value)
{
    constexpr LogArgument::Kind kind = LogKindOf<T>();
    LogArgument argument{kind, 0, 0, {}};
    if constexpr (std::is_pointer_v<T>) {
        argument.text = value != nullptr ? std::string_view(value) : "(null)";
    } else if constexpr (kind == LogArgument::Kind::TEXT) {
        argument.text = std::string_view(value);
    } else if constexpr (kind == LogArgument::Kind::SIGNED) {
        argument.number = static_cast<int64_t>(value);
    } else {
        argument.unsignedNumber = static_cast<uint64_t>(value);
    }
    return argument;
}

template <typename... Args>
void Log(LogLevel level, const LogLabel& label, LogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    if (IsLoggable(level)) {
        const std::array<LogArgument, sizeof...(Args)> arguments{MakeLogArgument(args)...};
        WriteLog(level, label, format.Text(), arguments.data(), arguments.size());
    }
}

template <typename... Args>
void LogInfo(const LogLabel& label, LogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    Log<Args...>(LogLevel::INFO, label, format, args...);
}

template <typename... Args>
void LogWarn(const LogLabel& label, LogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    Log<Args...>(LogLevel::WARN, label, format, args...);
}

template <typename... Args>
void LogError(const LogLabel& label, LogFormat<std::type_identity_t<Args>...> format, const Args&... args)
{
    Log<Args...>(LogLevel::ERROR, label, format, args...);
}

template <typename... Args>
consteval void LogFormat<Args...>::Check(std::string_view text)
{
    constexpr std::array<LogArgument::Kind, sizeof...(Args)> kinds{LogKindOf<Args>()...};
    size_t next = 0;
    for (size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at)) {
        std::string_view rest = text.substr(at + 1);
        if (rest.starts_with("{public}")) {
            rest.remove_prefix(8);
        } else if (rest.starts_with("{private}")) {
            rest.remove_prefix(9);
        }
        LogArgument::Kind kind = LogArgument::Kind::TEXT;
        if (rest.starts_with("lu")) {
            kind = LogArgument::Kind::UNSIGNED_LONG;
        } else if (rest.starts_with("d")) {
            kind = LogArgument::Kind::SIGNED;
        } else if (rest.starts_with("u")) {
            kind = LogArgument::Kind::UNSIGNED;
        } else if (!rest.starts_with("s")) {
            UnknownLogSpecifier();
        }
        if (next >= kinds.size()) {
            MoreSpecifiersThanLogArguments();
        } else if (kinds[next] != kind) {
            LogArgumentHasAnotherTypeThanItsSpecifier();
        }
        ++next;
        at = text.size() - rest.size();
    }
    if (next < kinds.size()) {
        FewerSpecifiersThanLogArguments();
    }
}

}  // namespace Vexo::QuviewDFX
