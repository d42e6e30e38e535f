#include <thread>

#include "interfaces/i_distnet_host.h"
#include "platform/base/mutex.h"
#include "platform/base/text.h"
#include "platform/base/utf8.h"
#include "platform/dfx/event_text.h"
#include "platform/dfx/sys_event.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/event_reader.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/json.h"
#include "tools/distnetctl/time_word.h"

namespace Vexo::Ctl {
namespace {

constexpr std::chrono::milliseconds RETRY_AFTER{500};  // how often a daemon that has gone is looked for
constexpr size_t TIME_COLUMNS = 21;

// "2026-11-21 12:08:06" here, of an event's time in UTC.
std::string LocalTime(const std::string& utc)
{
    const auto time = QuviewDFX::ParseRfc3339(utc);
    return time ? LocalText(*time, "%Y-%m-%d %H:%M:%S") : utc;
}

void ShowEvent(Output& output, const cJSON* event)
{
    std::string line = Column(LocalTime(TextOf(event, "time")), TIME_COLUMNS) + TextOf(event, "name");
    if (static_cast<int>(NumberOf(event, "type")) == QuviewDFX::QuSysEvent::FAULT) {
        line += " (fault)";
    }
    const cJSON* parameter = nullptr;
    cJSON_ArrayForEach(parameter, cJSON_GetObjectItemCaseSensitive(event, "params"))
    {
        const std::string word = EscapeHidden(std::string(parameter->string) + "=" + JsonText(parameter));
        if (TextWidth(line) + 2 + TextWidth(word) > COLUMNS) {
            output.Line(line);
            line = std::string(TIME_COLUMNS, ' ') + word;
        } else {
            line += "  " + word;
        }
    }
    output.Line(line);
}

// Shows what the daemon has from a time on, and what is added while it is followed.
class EventList {
public:
    EventList(const GlobalOptions& options, Output& output, std::string since)
        : options_(options), output_(output), since_(std::move(since))
    {
    }

    // False when the daemon does not answer; then failure says why.
    bool Connect(Outcome& failure)
    {
        client_ = ConnectClient(options_, failure);
        return client_ != nullptr;
    }

    // The same, once connected. Blocks for an event until wait has passed.
    bool ShowNext(std::chrono::milliseconds wait, Outcome& failure)
    {
        EventPage page;
        const Client::CallResult call = reader_.Read(*client_, wait, page);
        if (!call.Succeeded()) {
            failure = FromCall(call);
            return false;
        }
        const MutexLock lock(printing_);
        progressed_ = page.more;
        if (page.missed) {
            output_.Line("… some events were removed before they could be shown");
        }
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, page.events.get())
        {
            // Times of one form and zone: text order is time order.
            if (TextOf(event, "time") >= since_) {
                Show(event);
            }
        }
        readerGone_ = !output_.Flush();
        return true;
    }

    // Blocks until a daemon that has gone is back.
    void WaitForReturn()
    {
        Outcome ignored;
        do {
            std::this_thread::sleep_for(RETRY_AFTER);
        } while (!Connect(ignored));
        reader_.Reconnected();
    }

    bool Progressed() const { return progressed_; }
    bool ShownAny() const { return shownAny_; }
    bool ReaderGone() const { return readerGone_; }
    Mutex& Printing() { return printing_; }

private:
    void Show(const cJSON* event) REQUIRES(printing_)
    {
        shownAny_ = true;
        if (output_.IsJson()) {
            output_.Object(event);
        } else {
            ShowEvent(output_, event);
        }
    }

    const GlobalOptions& options_;
    Output& output_;
    const std::string since_;
    std::unique_ptr<Client::DistNetClient> client_;
    EventReader reader_;
    bool progressed_ = false;
    bool shownAny_ = false;
    bool readerGone_ = false;
    Mutex printing_;  // held while events are written
};

}  // namespace

int RunEvents(const GlobalOptions& options, Output& output, bool follow, const std::string& since)
{
    std::string from;
    if (!since.empty()) {
        const auto time = ParseTime(since, std::chrono::system_clock::now());
        if (!time) {
            return output.Finish(UsageError("--since: " + time.error().message, ""));
        }
        from = QuviewDFX::Rfc3339(time.value());
    }
    Outcome failure;
    EventList events(options, output, from);
    if (!events.Connect(failure)) {
        return output.Finish(std::move(failure));
    }
    if (follow) {
        EndWellOnInterrupt(events.Printing());
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
            continue;
        }
        if (events.ReaderGone()) {
            return EXIT_DONE;  // as `head` does when it has seen enough
        }
        wait = events.Progressed() || !follow ? std::chrono::milliseconds(0) : Host::HOST_MAX_WAIT;
    } while (events.Progressed() || follow);
    if (output.IsJson()) {
        return EXIT_DONE;
    }
    return output.Finish(Done(events.ShownAny() ? "" : since.empty() ? "No events." : "No events since then."));
}

}  // namespace Vexo::Ctl
