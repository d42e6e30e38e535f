#include "platform/dfx/journal.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/base/utf8.h"
#include "platform/dfx/sys_event.h"

namespace Vexo::QuviewDFX {
namespace {

constexpr const char* IDENTIFIER = "SYSLOG_IDENTIFIER=distnetd";
constexpr int NOT_TAKEN = -4;

// libsystemd's header also defines a macro of this name, which adds the source location. This code uses the function.
#undef sd_journal_sendv
using SendFields = decltype(&sd_journal_sendv);

Result<SendFields> LoadSendFields()
{
    // The library is never closed, because records are written until the process exits.
    void* library = ::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    void* symbol = library != nullptr ? ::dlsym(library, "sd_journal_sendv") : nullptr;
    if (symbol == nullptr) {
        const char* why = ::dlerror();
        return Fail(ErrorCode::SYSTEM,
                    std::string("the journal cannot be used: ") + (why != nullptr ? why : "libsystemd is damaged"));
    }
    return reinterpret_cast<SendFields>(symbol);
}

bool Send(SendFields send, const std::vector<std::string>& fields)
{
    std::vector<iovec> parts;
    parts.reserve(fields.size());
    for (const std::string& field : fields) {
        parts.push_back({const_cast<char*>(field.data()), field.size()});
    }
    return send(parts.data(), static_cast<int>(parts.size())) == 0;
}

int PriorityOf(LogLevel level)
{
    switch (level) {
        case LogLevel::DEBUG:
            return LOG_DEBUG;
        case LogLevel::INFO:
            return LOG_INFO;
        case LogLevel::WARN:
            return LOG_WARNING;
        case LogLevel::ERROR:
            return LOG_ERR;
        case LogLevel::FATAL:
            break;
    }
    return LOG_CRIT;
}

class JournalLogSink final : public LogSink {
public:
    explicit JournalLogSink(SendFields send) : send_(send), stderr_(MakeStderrLogSink()) {}

    void Write(const LogRecord& record) noexcept override
    {
        try {
            if (Send(send_, JournalFields(record))) {
                return;
            }
        } catch (...) {
            // Out of memory for the fields: write the plain line to standard error.
        }
        stderr_->Write(record);
    }

private:
    const SendFields send_;
    const std::shared_ptr<LogSink> stderr_;
};

class JournalSysEventSink final : public SysEventSink {
public:
    explicit JournalSysEventSink(SendFields send) : send_(send) {}

    int32_t Write(const SysEventRecord& record) noexcept override
    {
        try {
            return Send(send_, JournalFields(record)) ? 0 : NOT_TAKEN;
        } catch (...) {
            return NOT_TAKEN;
        }
    }

private:
    const SendFields send_;
};

std::string TextOf(const SysEventParameter& parameter)
{
    const auto* number = std::get_if<int32_t>(&parameter.value);
    return number != nullptr ? std::to_string(*number) : EscapeHidden(std::get<std::string>(parameter.value));
}

}  // namespace

bool IsStderrTheJournal()
{
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
           std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

Result<std::shared_ptr<LogSink>> MakeJournalLogSink()
{
    Result<SendFields> send = LoadSendFields();
    if (!send) {
        return Failure(std::move(send).error());
    }
    return std::shared_ptr<LogSink>(std::make_shared<JournalLogSink>(send.value()));
}

Result<std::shared_ptr<SysEventSink>> MakeJournalSysEventSink()
{
    Result<SendFields> send = LoadSendFields();
    if (!send) {
        return Failure(std::move(send).error());
    }
    return std::shared_ptr<SysEventSink>(std::make_shared<JournalSysEventSink>(send.value()));
}

std::vector<std::string> JournalFields(const LogRecord& record)
{
    std::array<char, 16> domain{};
    (void)std::snprintf(domain.data(), domain.size(), "0x%X", record.label.domain);
    std::string_view message = record.message;
    message.remove_prefix(message.starts_with(' ') ? 1 : 0);
    return {"MESSAGE=" + std::string(message), "PRIORITY=" + std::to_string(PriorityOf(record.level)), IDENTIFIER,
            std::string("DISTNET_TAG=") + record.label.tag, std::string("DISTNET_LOG_DOMAIN=") + domain.data()};
}

std::vector<std::string> JournalFields(const SysEventRecord& record)
{
    std::string message = "MESSAGE=" + record.name;
    for (const SysEventParameter& parameter : record.parameters) {
        message += " " + parameter.key + "=" + TextOf(parameter);
    }
    const int priority = record.type == QuSysEvent::FAULT ? LOG_ERR : LOG_NOTICE;
    std::vector<std::string> fields{std::move(message),
                                    "PRIORITY=" + std::to_string(priority),
                                    IDENTIFIER,
                                    "DISTNET_EVENT=" + record.name,
                                    "DISTNET_DOMAIN=" + record.domain,
                                    "DISTNET_TYPE=" + std::to_string(record.type)};
    for (const SysEventParameter& parameter : record.parameters) {
        fields.push_back("DISTNET_PARAM_" + parameter.key + "=" + TextOf(parameter));
    }
    return fields;
}

}  // namespace Vexo::QuviewDFX
