#include "tools/distnetctl/output.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>

#include "platform/base/text.h"
#include "platform/base/utf8.h"

namespace Vexo::Ctl {

namespace {

constexpr const char* DAEMON_UNIT = "distnet.service";
constexpr int SCHEMA_VERSION = 1;  // the version of all schema files in docs/schema
constexpr size_t ADVICE_INDENT = 2;
constexpr size_t CONTINUATION = 2;  // how many more spaces indent a wrapped line on standard error

bool EndsSentence(const std::string& text)
{
    return text.ends_with('.') || text.ends_with('?');
}

}  // namespace

bool HasUnit()
{
    constexpr std::array FOLDERS{"/etc/systemd/system", "/usr/lib/systemd/system", "/lib/systemd/system"};
    return std::any_of(FOLDERS.begin(), FOLDERS.end(), [](const char* folder) {
        return access((std::string(folder) + "/" + DAEMON_UNIT).c_str(), F_OK) == 0;
    });
}

Outcome Done(std::string message, Json details)
{
    return {EXIT_DONE, 0, "OK", std::move(message), "", std::move(details)};
}

Outcome UsageError(std::string message, std::string advice)
{
    return {EXIT_USAGE, CODE_USAGE, "USAGE", std::move(message), std::move(advice), nullptr};
}

Outcome NotDone(std::string message, std::string advice)
{
    return {EXIT_FAILED, CODE_NOT_DONE, "NOT_DONE", std::move(message), std::move(advice), nullptr};
}

Outcome FromCall(const Client::CallResult& result)
{
    switch (result.status) {
        case Client::CallStatus::UNREACHABLE:
            return {EXIT_UNREACHABLE,
                    CODE_UNREACHABLE,
                    "UNREACHABLE",
                    result.message,
                    HasUnit() ? "Start it with `systemctl start distnet`, or name another socket with --socket."
                              : "Start distnetd, or name another socket with --socket.",
                    nullptr};
        case Client::CallStatus::NOT_LOADED:
            return {EXIT_UNREACHABLE,
                    CODE_UNREACHABLE,
                    "UNREACHABLE",
                    result.message,
                    "`distnetctl doctor` checks the service's library; the log: `journalctl -u distnet`.",
                    nullptr};
        case Client::CallStatus::REFUSED:
            return {EXIT_NOT_PERMITTED, result.code, Client::DescribeCode(result.code).name,
                    result.message,     "",          nullptr};
        case Client::CallStatus::TIMED_OUT:
            return {EXIT_TIMED_OUT, CODE_TIMED_OUT, "TIMED_OUT", result.message, "Allow more with --timeout SECONDS.",
                    nullptr};
        case Client::CallStatus::BAD_ANSWER:
            return {EXIT_FAILED, CODE_BAD_ANSWER, "BAD_ANSWER", result.message, "", nullptr};
        case Client::CallStatus::ANSWERED:
            break;
    }
    const Client::CodeText text = Client::DescribeCode(result.code);
    return {EXIT_FAILED, result.code, text.name, result.message, text.advice, nullptr};
}

Output::Output(bool json, const Terminal& terminal, std::string command)
    : json_(json), terminal_(terminal), command_(std::move(command))
{
}

std::string Output::Shown(const std::string& text) const
{
    return terminal_.hasUtf8 ? text : AsciiMarks(text);
}

void Output::PrintError(const std::string& text, size_t indent) const
{
    const std::string wrapped = Wrapped(text, terminal_.errorColumns - indent, CONTINUATION);
    std::string lines(indent, ' ');
    for (const char character : wrapped) {
        lines += character;
        lines += character == '\n' ? std::string(indent, ' ') : "";
    }
    std::fprintf(stderr, "%s\n", Shown(lines).c_str());
}

void Output::ClearStatus()
{
    if (statusShown_.exchange(false)) {
        std::fputs("\r\033[K", stdout);
    }
}

void Output::Line(const std::string& text)
{
    if (!json_) {
        ClearStatus();
        std::printf("%s\n", Shown(text).c_str());
        (void)Flush();
    }
}

void Output::Status(const std::string& text)
{
    if (json_) {
        return;
    }
    if (terminal_.isControlled) {
        ClearStatus();
        std::fputs(Shown(text).c_str(), stdout);
        statusShown_ = true;
        (void)Flush();
    } else {
        Line(text);
    }
}

void Output::Prompt(const std::string& text)
{
    if (!json_) {
        ClearStatus();
        std::fputs(Shown(text).c_str(), stdout);
        (void)Flush();
    }
}

void Output::Object(const std::string& schema, const cJSON* object)
{
    const MutexLock lock(objects_);
    PrintObject(schema, object);
}

void Output::PrintObject(const std::string& schema, const cJSON* object)
{
    if (json_ && !isFinished_) {
        std::printf("{\"schema\":\"%s\",%s\n", SchemaName(schema).c_str(), JsonText(object).substr(1).c_str());
        (void)Flush();
    }
}

bool Output::Flush()
{
    if (std::fflush(stdout) != 0 && writeError_ == 0) {
        writeError_ = errno;
    }
    return writeError_ == 0;
}

int Output::End(int exitCode)
{
    if (Flush() || writeError_ == EPIPE) {
        return exitCode;
    }
    Notice(std::string("standard output: ") + std::strerror(writeError_));
    return EXIT_FAILED;
}

void Output::Notice(const std::string& text)
{
    ClearStatus();
    (void)Flush();
    PrintError("distnetctl: " + text, 0);
}

std::string Output::Tick() const
{
    return terminal_.hasColour ? "\033[32m✓\033[0m" : "✓";
}

std::string Output::Cross() const
{
    return terminal_.hasColour ? "\033[31m✗\033[0m" : "✗";
}

int Output::Finish(Outcome outcome)
{
    outcome.advice = WithRights(outcome.advice);
    if (json_) {
        return FinishJson(std::move(outcome));
    }
    ClearStatus();
    if (outcome.exitCode == EXIT_DONE) {
        if (!outcome.message.empty()) {
            std::printf("%s\n", Shown(outcome.message).c_str());
        }
        return EXIT_DONE;
    }
    (void)Flush();
    PrintError("distnetctl: " + outcome.message + (EndsSentence(outcome.message) ? "" : "."), 0);
    std::istringstream advice(outcome.advice);
    for (std::string line; std::getline(advice, line);) {
        PrintError(line + (EndsSentence(line) ? "" : "."), ADVICE_INDENT);
    }
    return outcome.exitCode;
}

int Output::FinishJson(Outcome outcome)
{
    Json object = NewObject();
    cJSON_AddNumberToObject(object.get(), "code", outcome.code);
    AddText(object.get(), "name", outcome.name);
    AddText(object.get(), "message", outcome.message);
    if (!outcome.advice.empty()) {
        AddText(object.get(), "advice", outcome.advice);
    }
    while (outcome.details && outcome.details->child != nullptr) {
        cJSON* member = cJSON_DetachItemViaPointer(outcome.details.get(), outcome.details->child);
        const std::string key = member->string;
        cJSON_AddItemToObject(object.get(), key.c_str(), member);
    }
    const MutexLock lock(objects_);
    PrintObject(command_.empty() ? "usage" : command_, object.get());
    isFinished_ = true;
    return outcome.exitCode;
}

void Output::FinishInterrupted()
{
    if (json_) {
        (void)FinishJson({EXIT_INTERRUPTED, CODE_INTERRUPTED, "INTERRUPTED", "interrupted", "", nullptr});
    }
}

std::string WithRights(const std::string& advice)
{
    return geteuid() == 0 ? advice : WithSudo(advice);
}

std::string WithSudo(std::string advice)
{
    constexpr std::string_view SUDO = "sudo ";
    for (const std::string_view command : {"systemctl start ", "systemctl restart ", "systemctl enable ",
                                           "journalctl -u ", "timedatectl set-", "rfkill unblock ", "apt install "}) {
        for (size_t at = advice.find(command); at != std::string::npos; at = advice.find(command, at + 1)) {
            const bool hasRights = at >= SUDO.size() && advice.compare(at - SUDO.size(), SUDO.size(), SUDO) == 0;
            if (!hasRights && (at == 0 || advice[at - 1] == ' ' || advice[at - 1] == '`')) {
                advice.insert(at, SUDO);
                at += SUDO.size();
            }
        }
    }
    return advice;
}

std::string SchemaName(const std::string& file)
{
    return "distnetctl/" + file + "/" + std::to_string(SCHEMA_VERSION);
}

std::string DurationText(double milliseconds)
{
    std::array<char, 32> text{};
    if (milliseconds < 1000) {
        std::snprintf(text.data(), text.size(), "%.0f ms", std::ceil(milliseconds));
    } else {
        std::snprintf(text.data(), text.size(), "%.1f s", milliseconds / 1000);
    }
    return text.data();
}

std::string Column(const std::string& text, size_t width)
{
    const size_t length = TextWidth(text);
    if (length <= width) {
        return text + std::string(width - length, ' ');
    }
    return std::string(FirstCodePoints(text, width - 1)) + "…";
}

}  // namespace Vexo::Ctl
