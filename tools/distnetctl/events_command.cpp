#include <array>
#include <ctime>
#include <mutex>

#include "platform/dfx/event_text.h"
#include "platform/dfx/sys_event.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/json.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/time_word.h"

namespace Vexo::Ctl {
namespace {

constexpr std::chrono::seconds MAX_SINGLE_WAIT{50};  // the daemon answers a wait within a minute
constexpr size_t COLUMNS = 80;
constexpr size_t TIME_COLUMNS = 21;

// "2026-11-21 12:08:06" here, of an event's time in UTC.
std::string LocalTime(const std::string& utc)
{
    std::tm parts{};
    if (strptime(utc.c_str(), "%Y-%m-%dT%H:%M:%S", &parts) == nullptr) {
        return utc;
    }
    const std::time_t seconds = timegm(&parts);
    localtime_r(&seconds, &parts);
    std::array<char, TIME_COLUMNS> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts)};
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
        const std::string word = Printable(std::string(parameter->string) + "=" + JsonText(parameter));
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
    EventList(Output& output, Client::DistNetClient& client, std::string since)
        : output_(output), client_(client), since_(std::move(since))
    {
    }

    // False when the daemon does not answer; then failure says why.
    bool ShowNext(std::chrono::milliseconds wait, Outcome& failure)
    {
        std::string json;
        const Client::CallResult call = client_.GetEvents(cursor_, wait, json);
        if (!call.Succeeded()) {
            failure = FromCall(call);
            return false;
        }
        const std::lock_guard<std::mutex> lock(printing_);
        const Json page = ParseJson(json);
        const auto next = static_cast<uint64_t>(NumberOf(page.get(), "cursor"));
        progressed_ = next != cursor_;
        cursor_ = next;
        if (IsTrue(page.get(), "missed")) {
            output_.Line("… some events were removed before they could be shown");
        }
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, cJSON_GetObjectItemCaseSensitive(page.get(), "events"))
        {
            // Times of one form and zone: text order is time order.
            if (TextOf(event, "time") >= since_) {
                Show(event);
            }
        }
        readerGone_ = !output_.Flush();
        return true;
    }

    bool Progressed() const { return progressed_; }
    bool ShownAny() const { return shownAny_; }
    bool ReaderGone() const { return readerGone_; }
    std::mutex& Printing() { return printing_; }

private:
    void Show(const cJSON* event)
    {
        shownAny_ = true;
        if (output_.IsJson()) {
            output_.Object(event);
        } else {
            ShowEvent(output_, event);
        }
    }

    Output& output_;
    Client::DistNetClient& client_;
    const std::string since_;
    uint64_t cursor_ = 0;
    bool progressed_ = false;
    bool shownAny_ = false;
    bool readerGone_ = false;
    std::mutex printing_;
};

}  // namespace

int RunEvents(const GlobalOptions& options, Output& output, bool follow, const std::string& since)
{
    std::string from;
    if (!since.empty()) {
        const auto time = ParseTime(since, std::chrono::system_clock::now());
        if (!time) {
            return output.Finish(UsageError("--since: " + time.Message(), ""));
        }
        from = QuviewDFX::Rfc3339(time.Value());
    }
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    if (!client) {
        return output.Finish(std::move(failure));
    }
    EventList events(output, *client, from);
    if (follow) {
        EndWellOnInterrupt(events.Printing());
    }
    std::chrono::milliseconds wait{0};
    do {
        if (!events.ShowNext(wait, failure)) {
            return output.Finish(std::move(failure));
        }
        if (events.ReaderGone()) {
            return EXIT_DONE;  // as `head` does when it has seen enough
        }
        wait = events.Progressed() || !follow ? std::chrono::milliseconds(0) : MAX_SINGLE_WAIT;
    } while (events.Progressed() || follow);
    if (output.IsJson()) {
        return EXIT_DONE;
    }
    return output.Finish(Done(events.ShownAny() ? "" : since.empty() ? "No events." : "No events since then."));
}

}  // namespace Vexo::Ctl
