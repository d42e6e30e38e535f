#include "tools/distnetctl/timing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "platform/base/clock.h"
#include "platform/dfx/trace.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {
namespace {

constexpr double MICROSECONDS = 1000;  // microseconds per millisecond
constexpr size_t NAME_COLUMNS = 16;
constexpr const char* ONGOING = "…";
constexpr size_t DURATION_COLUMNS = 7;
constexpr size_t BAR_COLUMNS = 38;

struct NamedSpan {
    std::string name;
    Interval when;
};

double NumberOf(const cJSON* object, const char* key)
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsNumber(member) != 0 ? member->valuedouble : 0;
}

std::string TextOf(const cJSON* object, const char* key)
{
    const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    return text != nullptr ? text : "";
}

// Returns the spans of a trace, ordered by the time when they begin. A span is one complete event ("ph" is "X") or two
// asynchronous events (begin "b", end "e"). Ignores spans that end before they begin.
std::vector<NamedSpan> SpansOf(const std::string& trace)
{
    const Json document = ParseJson(trace);
    std::vector<NamedSpan> spans;
    std::map<std::pair<std::string, double>, double> begun;  // begin times; the key is name and id of a span
    const auto add = [&spans](const std::string& name, double beginMs, double endMs) {
        if (endMs >= beginMs) {
            spans.push_back({name, {beginMs, endMs}});
        }
    };
    const cJSON* event = nullptr;
    cJSON_ArrayForEach(event, cJSON_GetObjectItemCaseSensitive(document.get(), "traceEvents"))
    {
        const std::string phase = TextOf(event, "ph");
        const std::string name = TextOf(event, "name");
        const std::pair<std::string, double> key{name, NumberOf(event, "id")};
        const double time = NumberOf(event, "ts") / MICROSECONDS;
        if (phase == "X") {
            add(name, time, time + NumberOf(event, "dur") / MICROSECONDS);
        } else if (phase == "b") {
            begun[key] = time;
        } else if (phase == "e" && begun.count(key) != 0) {
            add(name, begun[key], time);
        }
    }
    std::sort(spans.begin(), spans.end(),
              [](const NamedSpan& left, const NamedSpan& right) { return left.when.beginMs < right.when.beginMs; });
    return spans;
}

// Returns the last span that has the given name and begins between the two times. If it ends after the later time, it
// is cut there.
std::optional<Interval> LastOf(const std::vector<NamedSpan>& spans, std::string_view name, double from, double until)
{
    std::optional<Interval> last;
    for (const NamedSpan& span : spans) {
        if (span.name == name && span.when.beginMs >= from && span.when.beginMs <= until) {
            last = Interval{span.when.beginMs, std::min(span.when.endMs, until)};
        }
    }
    return last;
}

// Returns the span with the given name that ends last. Ignores spans that are not completely inside the interval.
std::optional<Interval> LastEndedOf(const std::vector<NamedSpan>& spans, std::string_view name, const Interval& within)
{
    std::optional<Interval> last;
    for (const NamedSpan& span : spans) {
        if (span.name == name && span.when.beginMs >= within.beginMs && span.when.endMs <= within.endMs &&
            (!last || span.when.endMs >= last->endMs)) {
            last = span.when;
        }
    }
    return last;
}

// Finds the parts of the collaboration step. The daemon may have tried several addresses at the same time. The
// handshake that ended last is the successful one. The connection of this handshake is the last one that was made
// before the handshake. If the peer could not be woken, there may be no handshake or no connection.
void FindConnection(const std::vector<NamedSpan>& spans, Timing& timing)
{
    const Interval& within = *timing.collaboration;
    timing.handshake = LastEndedOf(spans, SpanName::HANDSHAKE, within);
    if (!timing.handshake && timing.session) {
        return;  // no new connection was made, because one was open already
    }
    const double connected = timing.handshake ? timing.handshake->beginMs : within.endMs;
    timing.connect = LastEndedOf(spans, SpanName::CONNECT, {within.beginMs, connected});
    const double heard = timing.connect ? timing.connect->beginMs : connected;
    timing.seek = LastOf(spans, SpanName::SEEK, within.beginMs, heard);
}

std::string Bar(const Interval& step, const Interval& total)
{
    const auto column = [&](double time, double (*round)(double)) {
        const double share = (time - total.beginMs) / std::max(total.Length(), 0.001);
        return static_cast<size_t>(std::clamp(round(share * BAR_COLUMNS), 0.0, double{BAR_COLUMNS}));
    };
    const size_t from = std::min(column(step.beginMs, std::floor), BAR_COLUMNS - 1);
    const size_t until = std::max(column(step.endMs, std::ceil), from + 1);
    std::string bar(from, ' ');
    for (size_t at = from; at < until; ++at) {
        bar += "█";
    }
    return bar;
}

}  // namespace

double SteadyNowMs()
{
    return std::chrono::duration<double, std::milli>(Clock::System().Now().time_since_epoch()).count();
}

Timing ParseTiming(const std::string& trace, Interval asked)
{
    const std::vector<NamedSpan> spans = SpansOf(trace);
    Timing timing;
    timing.total = asked;
    timing.collaboration = LastOf(spans, SpanName::COLLABORATION, asked.beginMs, asked.endMs);
    if (timing.collaboration) {
        timing.session = LastOf(spans, SpanName::SESSION_OPEN, timing.collaboration->endMs, asked.endMs);
    }
    if (timing.session) {
        timing.answer = LastOf(spans, SpanName::ANSWER, timing.session->endMs, asked.endMs);
    }
    if (timing.answer && LastOf(spans, SpanName::WIFI_ADD, timing.answer->endMs, asked.endMs)) {
        timing.wifi = Interval{timing.answer->endMs, asked.endMs};
    }
    if (timing.collaboration) {
        FindConnection(spans, timing);
    }
    return timing;
}

std::vector<std::string> TimingLines(const Timing& timing, bool failed, const StepNames& names)
{
    struct Step {
        const std::optional<Interval>& when;
        std::string good;
        std::string bad;
        std::string unfinished;
    };
    const std::array<Step, 4> steps{Step{timing.collaboration, "woken", "not woken", "waking"},
                                    Step{timing.session, "session open", "no session", "opening session"},
                                    Step{timing.answer, "hotspot ready", "hotspot failed", "hotspot awaited"},
                                    Step{timing.wifi, names.wifi, "Wi-Fi failed", "joining Wi-Fi"}};
    const auto reached = static_cast<size_t>(
        std::count_if(steps.begin(), steps.end(), [](const Step& step) { return step.when.has_value(); }));
    std::vector<std::string> lines;
    const auto add = [&](const std::string& mark, const std::string& name, const Interval& when,
                         const std::string& bar) {
        const std::string duration = DurationText(when.Length());
        lines.push_back(Column(lines.empty() ? names.first : "", 12) + "  " + mark + " " + Column(name, NAME_COLUMNS) +
                        std::string(DURATION_COLUMNS - std::min(duration.size(), DURATION_COLUMNS), ' ') + duration +
                        bar);
    };
    const auto addPart = [&](const std::string& name, const std::optional<Interval>& when) {
        if (when) {
            add(" ", "  " + name, *when, "  " + Bar(*when, timing.total));
        }
    };
    for (size_t at = 0; at < reached; ++at) {
        const bool bad = failed && at + 1 == reached;
        const std::string& wrong = names.isUnfinished ? steps[at].unfinished : steps[at].bad;
        const std::string wrongMark = names.isUnfinished ? ONGOING : names.cross;
        add(bad ? wrongMark : names.tick, bad ? wrong : steps[at].good, *steps[at].when,
            "  " + Bar(*steps[at].when, timing.total));
        if (at == 0) {
            addPart("looking", timing.seek);
            addPart("connecting", timing.connect);
            addPart("handshake", timing.handshake);
        }
    }
    add(" ", "total", timing.total, "");
    return lines;
}

Json TimingDetails(const Timing& timing)
{
    Json details = NewObject();
    const auto add = [&](const char* key, const std::optional<Interval>& when) {
        AddMember(details.get(), key,
                  Json(when ? cJSON_CreateNumber(std::round(when->Length() * MICROSECONDS) / MICROSECONDS) : nullptr));
    };
    add("collaboration_ms", timing.collaboration);
    add("seek_ms", timing.seek);
    add("connect_ms", timing.connect);
    add("handshake_ms", timing.handshake);
    add("session_ms", timing.session);
    add("answer_ms", timing.answer);
    add("wifi_ms", timing.wifi);
    add("total_ms", timing.total);
    return details;
}

}  // namespace Vexo::Ctl
