#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "interfaces/host_answers_json.h"
#include "platform/base/clock.h"
#include "platform/base/number.h"
#include "platform/base/utf8.h"
#include "platform/dfx/event_text.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/screen.h"
#include "tools/distnetctl/wakeup.h"
#include "tools/distnetctl/watch_source.h"
#include "tools/distnetctl/watch_view.h"

namespace Vexo::Ctl {

namespace {

// How long to wait for an answer of the daemon. This time must be short, because the key q has no effect during the
// wait.
constexpr std::chrono::milliseconds CALL_LIMIT{1000};

// Returns true if the daemon has refused a call. The daemon will then also refuse the next calls.
bool IsRefused(const Snapshot& snapshot)
{
    return snapshot.call.status == Client::CallStatus::REFUSED;
}

// Shows the live picture until the user quits, the terminal is closed, or the daemon refuses a call. Returns the last
// snapshot.
Snapshot ShowLive(WatchSource& source, Wakeup& wakeup, const Terminal& terminal, std::chrono::milliseconds interval)
{
    Screen screen(terminal);
    WatchHistory history;
    Snapshot snapshot = source.Read();
    history.Take(snapshot);
    auto next = Clock::System().Now() + interval;
    while (!IsRefused(snapshot)) {
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
        snapshot = source.Read();
        history.Take(snapshot);
        next = Clock::System().Now() + interval;
    }
    return snapshot;
}

Json NewLine(const char* kind, const std::string& time)
{
    Json line = NewObject();
    cJSON_AddStringToObject(line.get(), "kind", kind);
    AddText(line.get(), "time", time);
    return line;
}

// Converts a changed value to JSON. The result is a number if the text is a number, else a string.
Json WordJson(const std::string& word)
{
    const auto number = ParseNumber<uint32_t>(word);
    return number ? Host::ToJson(*number) : Host::ToJson(word);
}

// Prints a change. seen: when the change was observed. message: why the daemon does not answer; empty if it answers.
void Show(Output& output, const Change& change, WallTime seen, const std::string& message)
{
    const Json line = NewLine("change", QuviewDFX::Rfc3339(seen));
    AddText(line.get(), "subject", change.subject == "Wi-Fi" ? "wifi" : change.subject);
    if (change.subject == "peer") {
        AddText(line.get(), "device_name", change.name);
        AddText(line.get(), "network_id", change.id);
    } else if (change.subject == "ability") {
        AddText(line.get(), "ability", change.name);
        AddNumber(line.get(), "ability_id", ParseNumber<uint32_t>(change.id).value_or(0));
    }
    AddMember(line.get(), "value", WordJson(change.word));
    AddMember(line.get(), "before", change.before.empty() ? nullptr : WordJson(change.wordBefore));
    if (!message.empty()) {
        AddText(line.get(), "message", message);
    }
    output.Object("watch", line.get());
    output.Line(ClockText(seen) + " " + change.subject + (change.name.empty() ? "" : " " + change.name) + ": " +
                change.value + (message.empty() ? "" : ": " + message));
}

void Show(Output& output, const Host::Event& event, WallTime seen)
{
    const Json line = NewLine("event", QuviewDFX::Rfc3339(event.time));
    AddText(line.get(), "name", EscapeHidden(event.name));
    AddMember(line.get(), "params", Host::ToJson(event.parameters));
    output.Object("watch", line.get());
    output.Line(ClockText(seen) + " event " + EscapeHidden(event.name) + ": " + ParametersText(event));
}

// Prints a line for each change and each event. Ends when the user quits, the output is closed or the daemon refuses a
// call. Returns the last snapshot.
Snapshot ShowLines(WatchSource& source, Wakeup& wakeup, Output& output, std::chrono::milliseconds interval)
{
    ChangeFinder finder;
    for (;;) {
        Snapshot snapshot = source.Read();
        if (IsRefused(snapshot)) {
            return snapshot;
        }
        for (const Change& change : finder.Compare(snapshot)) {
            const bool isAway = change.subject == "daemon" && !snapshot.call.Succeeded();
            Show(output, change, snapshot.time, isAway ? EscapeHidden(snapshot.call.message) : "");
        }
        for (const Host::Event& event : snapshot.events) {
            Show(output, event, snapshot.time);
        }
        if (!output.Flush() || wakeup.Wait(Clock::System().Now() + interval) == WakeReason::QUIT) {
            return snapshot;
        }
    }
}

}  // namespace

int RunWatch(const GlobalOptions& options, Output& output, std::chrono::milliseconds interval)
{
    const bool live = output.IsTerminal() && !output.IsJson();
    Wakeup wakeup(live);
    // The live picture also shows events that occurred before the start. Without the live picture, only new events are
    // printed.
    WatchSource source(options.socket, std::min(options.Timeout(), CALL_LIMIT),
                       live ? WallTime() : std::chrono::floor<std::chrono::milliseconds>(Clock::System().WallNow()));
    const Snapshot last =
        live ? ShowLive(source, wakeup, output.GetTerminal(), interval) : ShowLines(source, wakeup, output, interval);
    return IsRefused(last) ? output.Finish(FromCall(last.call)) : EXIT_DONE;
}

}  // namespace Vexo::Ctl
