#include <poll.h>
#include <unistd.h>

#include "interfaces/host_answers_json.h"
#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/text.h"
#include "platform/base/utf8.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/event_reader.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/time_word.h"

namespace Vexo::Ctl {
namespace {

constexpr std::chrono::milliseconds RETRY_AFTER{500};  // the time between attempts to connect to the daemon again
constexpr size_t TIME_COLUMNS = 28;
constexpr const char* DEVICE_ID = "DEVICE_ID";  // the parameter of an event that contains the masked id of a device

using EventTime = decltype(Host::Event::time);

// Returns the value of an event parameter as JSON. If the value is the masked id of a known device, returns the name of
// the device instead.
std::string ValueText(const Host::EventParameter& parameter, const std::vector<Host::KnownDevice>& devices)
{
    const auto* text = std::get_if<std::string>(&parameter.value);
    const auto name = text != nullptr && parameter.key == DEVICE_ID ? NameOfMaskedId(*text, devices) : std::nullopt;
    return name ? JsonText(Host::ToJson(*name).get())
                : std::visit([](const auto& held) { return JsonText(Host::ToJson(held).get()); }, parameter.value);
}

void ShowEvent(Output& output, const Host::Event& event, const std::vector<Host::KnownDevice>& devices)
{
    std::string line = Column(LocalTextWithOffset(event.time), TIME_COLUMNS) + EscapeHidden(event.name);
    if (event.type == Host::EventType::FAULT) {
        line += " (fault)";
    }
    for (const Host::EventParameter& parameter : event.parameters) {
        const std::string word = EscapeHidden(parameter.key + "=" + ValueText(parameter, devices));
        if (TextWidth(line) + 2 + TextWidth(word) > COLUMNS) {
            output.Line(line);
            line = std::string(TIME_COLUMNS, ' ') + word;
        } else {
            line += "  " + word;
        }
    }
    output.Line(line);
}

// Prints the daemon's events that are not older than a given time. Also prints new events when they occur.
class EventList {
public:
    EventList(const GlobalOptions& options, Output& output, EventTime since)
        : options_(options), output_(output), since_(since)
    {
    }

    // Connects to the daemon. If this fails, returns false, and the parameter failure receives the reason.
    bool Connect(Outcome& failure)
    {
        client_ = ConnectClient(options_, failure);
        return client_ != nullptr;
    }

    // Reads and prints the next events. Blocks until an event is available. wait: the longest time to block. If the
    // daemon does not answer, returns false, and the parameter failure receives the reason. Call this only after
    // Connect has succeeded.
    bool ShowNext(std::chrono::milliseconds wait, Outcome& failure)
    {
        NewEvents read;
        const Client::CallResult call = reader_.Read(*client_, wait, read);
        if (!call.Succeeded()) {
            failure = FromCall(call);
            return false;
        }
        if (!read.events.empty() && !output_.IsJson()) {
            (void)client_->GetDevices(devices_);  // if this fails, the ids are printed instead of names
        }
        const MutexLock lock(printing_);
        progressed_ = read.more;
        if (read.missed) {
            output_.Line("… some events were removed before they could be shown");
        }
        for (const Host::Event& event : read.events) {
            if (event.time >= since_) {
                Show(event);
            }
        }
        readerGone_ = !output_.Flush();
        return true;
    }

    // Blocks until a connection to the daemon is possible again, or until the reader of standard output has closed the
    // pipe.
    void WaitForReturn()
    {
        Outcome ignored;
        do {
            pollfd reader{STDOUT_FILENO, 0, 0};
            readerGone_ = poll(&reader, 1, static_cast<int>(RETRY_AFTER.count())) > 0;
        } while (!readerGone_ && !Connect(ignored));
        reader_.Reconnected();
    }

    bool Progressed() const { return progressed_; }
    bool ShownAny() const { return shownAny_; }
    bool ReaderGone() const { return readerGone_; }
    Mutex& Printing() { return printing_; }

private:
    void Show(const Host::Event& event) REQUIRES(printing_)
    {
        shownAny_ = true;
        if (output_.IsJson()) {
            output_.Object("event", Host::ToJson(event).get());
        } else {
            ShowEvent(output_, event, devices_);
        }
    }

    const GlobalOptions& options_;
    Output& output_;
    const EventTime since_;
    std::unique_ptr<Client::DistNetClient> client_;
    EventReader reader_;
    std::vector<Host::KnownDevice> devices_;
    bool progressed_ = false;
    bool shownAny_ = false;
    bool readerGone_ = false;
    Mutex printing_;  // locked while events are printed
};

}  // namespace

int RunEvents(const GlobalOptions& options, Output& output, bool follow, const std::string& since)
{
    EventTime from{};
    if (!since.empty()) {
        const auto time = ParseTime(since, Clock::System().WallNow());
        if (!time) {
            return output.Finish(UsageError("--since: " + time.error().message, ""));
        }
        from = std::chrono::floor<std::chrono::milliseconds>(time.value());
    }
    Outcome failure;
    EventList events(options, output, from);
    if (!events.Connect(failure)) {
        return output.Finish(std::move(failure));
    }
    if (follow) {
        ExitDoneOnInterrupt(events.Printing());
    }
    std::chrono::milliseconds wait{0};
    do {
        if (!events.ShowNext(wait, failure)) {
            if (!follow || failure.exitCode != EXIT_UNREACHABLE) {
                return output.Finish(std::move(failure));
            }
            output.Notice(failure.message + "; waiting until it is back");
            events.WaitForReturn();
            wait = std::chrono::milliseconds(0);
        } else {
            wait = events.Progressed() || !follow ? std::chrono::milliseconds(0) : Host::HOST_MAX_WAIT;
        }
        if (events.ReaderGone()) {
            return EXIT_DONE;  // the program that reads the output has ended, for example `head`
        }
    } while (events.Progressed() || follow);
    if (output.IsJson()) {
        return EXIT_DONE;
    }
    return output.Finish(Done(events.ShownAny() ? "" : since.empty() ? "No events." : "No events since then."));
}

}  // namespace Vexo::Ctl
