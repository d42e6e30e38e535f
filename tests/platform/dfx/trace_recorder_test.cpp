#include "platform/dfx/trace_recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/base/json.h"
#include "platform/tasks/ffrt.h"
#include "tests/support/manual_timers.h"

namespace Vexo::QuviewDFX {
namespace {

using std::chrono::milliseconds;

class TraceRecorderTest : public testing::Test {
protected:
    ~TraceRecorderTest() override { SetTraceSink(nullptr); }

    // Stops a recording and reads its text in pieces. Returns a text for each event except thread names: the phase, the
    // event's name and, for an unfinished span, the reason why the span ended.
    std::vector<std::string> Events(uint32_t recording)
    {
        std::string text;
        for (size_t bytes = 1; text.size() < bytes;) {
            const auto piece = recorder_->Stop(recording, text.size(), 400);
            text += piece ? piece->text : "";
            bytes = piece ? piece->bytes : 0;
        }
        const Json trace = ParseJson(text);
        std::vector<std::string> events;
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, cJSON_GetObjectItem(trace.get(), "traceEvents"))
        {
            const std::string phase = cJSON_GetObjectItem(event, "ph")->valuestring;
            const cJSON* why = cJSON_GetObjectItem(cJSON_GetObjectItem(event, "args"), "unfinished");
            EXPECT_TRUE(phase == "M" || cJSON_HasObjectItem(event, phase == "X" ? "dur" : "id") != 0);
            events.push_back(phase + " " + cJSON_GetObjectItem(event, "name")->valuestring +
                             (why != nullptr ? why->valuestring : ""));
        }
        events.erase(std::remove(events.begin(), events.end(), "M thread_name"), events.end());
        return events;
    }

    Tests::ManualTimers timers_;
    const std::shared_ptr<TraceRecorder> recorder_ = std::make_shared<TraceRecorder>("test", timers_);
};

TEST_F(TraceRecorderTest, SpansEndOnceOrWithTheirTaskOrRecording)
{
    StartTrace(1, "before the recording");
    const uint32_t recording = recorder_->Start(milliseconds(1000), false);
    FinishTrace(1);
    ffrt_submit(ffrt::create_function_wrapper([] { StartTrace(1, "left open "); }, ffrt_function_kind_general),
                nullptr);
    ffrt_wait();
    {
        const TraceSpan outer("outer");
        const TraceSpan inner("of " + std::string(60, 'a') + "1234");
        StartAsyncTrace(1, "async", 7);
    }
    FinishAsyncTrace(1, "async", 8);  // A span with id 8 was never started.
    FinishAsyncTrace(1, "async", 7);
    StartTrace(1, "running ");
    EXPECT_THAT(Events(recording),
                testing::ElementsAre("M process_name", "X left open its task ended", "X of aaaaa**a1234", "X outer",
                                     "b async", "e async", "X running the recording ended"));
    EXPECT_FALSE(recorder_->Stop(recording, 0, 400)) << "fetched and forgotten";
}

TEST_F(TraceRecorderTest, RecordingsAreBoundedAndCountDroppedSpans)
{
    for (uint32_t number = 1; number <= MAX_RECORDINGS; ++number) {
        EXPECT_EQ(recorder_->Start(milliseconds(1000 * number), number == 2), number);
    }
    EXPECT_EQ(recorder_->Start(milliseconds(1000), false), 0U);
    timers_.Advance(milliseconds(1500));
    const TraceSpan late("after the first has ended");
    EXPECT_EQ(recorder_->Start(RECORDING_LIMIT, false), MAX_RECORDINGS + 1) << "in the place of the ended one";
    for (size_t i = 0; i < MAX_RECORDED_SPANS + 5; ++i) {
        StartAsyncTrace(1, "many", 1);
        FinishAsyncTrace(1, "many", 1);
    }
    (void)recorder_->Stop(0, 0, 1);
    const auto piece = recorder_->Stop(2, 0, 1);
    ASSERT_TRUE(piece);
    EXPECT_EQ(piece->recording, 2U) << "the detached one";
    EXPECT_EQ(piece->spans, MAX_RECORDED_SPANS);
    EXPECT_EQ(piece->dropped, 6U);
    EXPECT_EQ(piece->duration, milliseconds(1500));
    timers_.Advance(RECORDING_LIMIT);
    StartTrace(1, "wakes the recorder");
    EXPECT_FALSE(IsTracing()) << "nobody records any more";
}

}  // namespace
}  // namespace Vexo::QuviewDFX
