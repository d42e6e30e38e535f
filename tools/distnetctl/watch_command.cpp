#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>

#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/screen.h"
#include "tools/distnetctl/wakeup.h"
#include "tools/distnetctl/watch_source.h"
#include "tools/distnetctl/watch_view.h"

namespace Vexo::Ctl {

namespace {

using SteadyClock = std::chrono::steady_clock;

// A daemon that does not answer must not hold up q for longer.
constexpr std::chrono::milliseconds LOOK_LIMIT{1000};

std::string Rfc3339Now()
{
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    const std::time_t seconds = duration_cast<std::chrono::seconds>(now).count();
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 24> text{};
    (void)std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::array<char, 8> milliseconds{};
    std::snprintf(milliseconds.data(), milliseconds.size(), ".%03dZ",
                  static_cast<int>(duration_cast<std::chrono::milliseconds>(now).count() % 1000));
    return std::string(text.data()) + milliseconds.data();
}

// A look that the daemon refuses will be refused again.
bool IsHopeless(const Snapshot& snapshot)
{
    return snapshot.call.status == Client::CallStatus::REFUSED;
}

// The live picture, until it is quit; the last look says how it ended.
Snapshot ShowLive(WatchSource& source, Wakeup& wakeup, bool colour, std::chrono::milliseconds interval)
{
    Screen screen(colour);
    WatchHistory history;
    Snapshot snapshot = source.Look();
    history.Take(snapshot);
    auto next = SteadyClock::now() + interval;
    while (!IsHopeless(snapshot)) {
        const ScreenSize size = Screen::Size();
        if (!screen.Draw(Picture(snapshot, history, size), size)) {
            break;
        }
        switch (wakeup.Wait(next)) {
            case WakeReason::QUIT:
                return snapshot;
            case WakeReason::RESIZED:
                continue;
            case WakeReason::SUSPEND:
                screen.Leave();
                (void)kill(getpid(), SIGSTOP);
                screen.Enter();
                continue;
            case WakeReason::TIME:
            case WakeReason::KEY:
                break;
        }
        snapshot = source.Look();
        history.Take(snapshot);
        next = SteadyClock::now() + interval;
    }
    return snapshot;
}

void PrintJson(const Json& line)
{
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(line.get()), &cJSON_free);
    std::printf("%s\n", text.get());
}

Json NewLine(const char* kind, const std::string& time)
{
    Json line = NewObject();
    cJSON_AddStringToObject(line.get(), "kind", kind);
    cJSON_AddStringToObject(line.get(), "time", time.c_str());
    return line;
}

// message: why a daemon does not answer; else empty.
void Print(const Change& change, const std::string& message, bool json)
{
    if (json) {
        const Json line = NewLine("change", Rfc3339Now());
        cJSON_AddStringToObject(line.get(), "subject", change.subject.c_str());
        cJSON_AddStringToObject(line.get(), "name", change.name.c_str());
        cJSON_AddStringToObject(line.get(), "value", change.value.c_str());
        AddMember(line.get(), "before",
                  change.before.empty() ? nullptr : Json(cJSON_CreateString(change.before.c_str())));
        cJSON_AddStringToObject(line.get(), "message", message.c_str());
        PrintJson(line);
        return;
    }
    const std::string name = change.name.empty() ? "" : " " + change.name;
    const std::string why = message.empty() ? "" : ": " + message;
    std::printf("%s %s%s: %s%s\n", ClockText(std::chrono::system_clock::now()).c_str(), change.subject.c_str(),
                name.c_str(), change.value.c_str(), why.c_str());
}

void Print(const WatchedEvent& event, std::chrono::system_clock::time_point seen, bool json)
{
    if (json) {
        const Json line = NewLine("event", event.time);
        cJSON_AddStringToObject(line.get(), "name", event.name.c_str());
        AddMember(line.get(), "params", ParseJson(event.paramsJson));
        PrintJson(line);
        return;
    }
    std::printf("%s event %s: %s\n", ClockText(seen).c_str(), event.name.c_str(), event.params.c_str());
}

// A line for each change and each event, until it is quit or nobody reads any more.
Snapshot ShowLines(WatchSource& source, Wakeup& wakeup, bool json, std::chrono::milliseconds interval)
{
    ChangeFinder finder;
    for (;;) {
        Snapshot snapshot = source.Look();
        if (IsHopeless(snapshot)) {
            return snapshot;
        }
        for (const Change& change : finder.Compare(snapshot)) {
            const bool isAway = change.subject == "daemon" && !snapshot.call.Succeeded();
            Print(change, isAway ? snapshot.call.message : "", json);
        }
        for (const WatchedEvent& event : snapshot.events) {
            Print(event, snapshot.time, json);
        }
        const auto next = SteadyClock::now() + interval;
        if (std::fflush(stdout) != 0 || wakeup.Wait(next) == WakeReason::QUIT) {
            return snapshot;
        }
    }
}

}  // namespace

int RunWatch(const GlobalOptions& options, Output& output, std::chrono::milliseconds interval)
{
    const bool live = output.IsTerminal() && !output.IsJson();
    Wakeup wakeup(live);
    // The picture begins with what happened before; lines tell of what happens from now on.
    WatchSource source(options.socket, std::min(options.Timeout(), LOOK_LIMIT), live ? "" : Rfc3339Now());
    const Snapshot last = live ? ShowLive(source, wakeup, output.UsesColour(), interval)
                               : ShowLines(source, wakeup, output.IsJson(), interval);
    return IsHopeless(last) ? output.Finish(FromCall(last.call)) : EXIT_DONE;
}

}  // namespace Vexo::Ctl
