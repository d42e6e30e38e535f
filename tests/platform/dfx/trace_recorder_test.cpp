#include "platform/dfx/trace_recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/tasks/ffrt.h"
#include "tests/support/json_document.h"

namespace Vexo::QuviewDFX {
namespace {

using std::chrono::milliseconds;

class TraceRecorderTest : public testing::Test {
protected:
    ~TraceRecorderTest() override { SetTraceSink(nullptr); }

    // All of a recording, fetched in pieces of a few lines.
    Tests::Document Fetch(uint32_t recording)
    {
        std::string text;
        do {
            const auto piece = recorder_->Stop(recording, text.size(), 400);
            if (!piece) {
                return Tests::Parse("");
            }
            text += piece->text;
            last_ = *piece;
        } while (text.size() < last_.bytes);
        return Tests::Parse(text);
    }
    // "phase name (why unfinished)" of each event but the thread names, "!" for a field that viewers need and lack.
    static std::vector<std::string> Events(const Tests::Document& trace)
    {
        std::vector<std::string> events;
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, cJSON_GetObjectItem(trace.get(), "traceEvents"))
        {
            const auto text = [&](const char* key) {
                return std::string(cJSON_GetObjectItem(event, key)->valuestring);
            };
            const cJSON* why = cJSON_GetObjectItem(cJSON_GetObjectItem(event, "args"), "unfinished");
            const bool timed = cJSON_HasObjectItem(event, "ts") != 0 && cJSON_HasObjectItem(event, "tid") != 0 &&
                               cJSON_HasObjectItem(event, text("ph") == "X" ? "dur" : "id") != 0;
            if (text("name") != "thread_name") {
                events.push_back(text("ph") + " " + text("name") + (why != nullptr ? why->valuestring : "") +
                                 (timed || text("ph") == "M" ? "" : "!"));
            }
        }
        return events;
    }

    std::chrono::steady_clock::time_point now_{std::chrono::hours(1)};
    const std::shared_ptr<TraceRecorder> recorder_ = std::make_shared<TraceRecorder>("test", [this] { return now_; });
    TracePiece last_;
};

TEST_F(TraceRecorderTest, SpansEndOnceAndAnUnfinishedOneWithItsTaskOrTheRecording)
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
    FinishAsyncTrace(1, "async", 8);  // never started
    FinishAsyncTrace(1, "async", 7);
    StartTrace(1, "running ");
    EXPECT_THAT(Events(Fetch(recording)),
                testing::ElementsAre("M process_name", "X left open its task ended", "X of aaaaa**a1234", "X outer",
                                     "b async", "e async", "X running the recording ended"));
    EXPECT_FALSE(recorder_->Stop(recording, 0, 400)) << "fetched and forgotten";
}

TEST_F(TraceRecorderTest, RecordingsAreBoundedInNumberTimeAndSpansAndCountWhatTheyDrop)
{
    for (uint32_t number = 1; number <= MAX_RECORDINGS; ++number) {
        EXPECT_EQ(recorder_->Start(milliseconds(1000 * number), number == 2), number);
    }
    EXPECT_EQ(recorder_->Start(milliseconds(1000), false), 0U);
    now_ += milliseconds(1500);
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
    now_ += RECORDING_LIMIT;
    StartTrace(1, "wakes the recorder");
    EXPECT_FALSE(IsTracing()) << "nobody records any more";
}

}  // namespace
}  // namespace Vexo::QuviewDFX
