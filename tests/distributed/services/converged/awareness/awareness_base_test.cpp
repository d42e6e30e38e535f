// Registration, masks and the current state for new listeners, whatever feeds the source.
#include "distributed/services/converged/awareness/awareness_base.h"

#include <gmock/gmock.h>

#include "tests/distributed/services/converged/awareness/recording_listener.h"
#include "tests/support/log_capture.h"

namespace Vexo::Tests {
namespace {

using NetManagerStandard::BaseAwareness;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Source : public BaseAwareness {
public:
    explicit Source(const std::vector<int32_t>& events)
    {
        for (const int32_t event : events) {
            AddAwareEventsToSet(event);
        }
    }
    void Subscribe() override {}
    void UnSubscribe() override {}
    void Notify(int32_t event)
    {
        NotifyListeners(event, [event](const auto& callback) { callback->OnConnectivityChanged(event, 0); });
    }
};

TEST(BaseAwarenessTest, KeepsOfARequestTheOfferedEventsThatShareABit)
{
    const struct {
        std::vector<int32_t> offered;
        int32_t requested;
        int32_t filtered;
    } cases[] = {
        {{}, 0x100, 0},
        {{0x100, 0x200, 0x400}, 0, 0},
        {{0x100, 0x200, 0x400}, -1, 0},
        {{0x100, 0x200, 0x400}, 0x800, 0},
        {{0x100, 0x200, 0x400}, 0x900, 0x100},
        {{0x100, 0x200, 0x400}, 0x7fffffff, 0x700},
        {{0x300, 0x400}, 0x100, 0x300},  // kept whole
    };
    for (const auto& [offered, requested, filtered] : cases) {
        const LogCapture log;
        Source source(offered);
        EXPECT_EQ(source.GetFilteredEvents(requested), filtered) << requested;
        source.AddCallback(std::make_shared<RecordingListener>(), requested, false);
        EXPECT_EQ(log.Count(" register events["), filtered > 0 ? 1U : 0U) << requested;
        EXPECT_EQ(log.Count(" register events[" + std::to_string(filtered) + "] callback success."),
                  filtered > 0 ? 1U : 0U);
    }
}

TEST(BaseAwarenessTest, AFurtherRegistrationReplacesTheMaskAndTellsTheCurrentStateOnRequest)
{
    Source source({0x100, 0x200, 0x400});
    for (const int state : {1, 2}) {  // the first function of an event stays
        for (const int32_t event : {0x100, 0x200, 0x400}) {
            source.AddNotifyNowFuncToMap(
                event, [event, state](const auto& callback) { callback->OnConnectivityChanged(event, state); });
        }
    }
    const auto listener = std::make_shared<RecordingListener>();
    source.AddCallback(listener, 0x100, false);
    source.AddCallback(listener, 0xe00, true);
    EXPECT_THAT(listener->Take(), UnorderedElementsAre("net 512 1", "net 1024 1"));
    source.AddCallback(listener, 0x800, false);
    source.RemoveCallback(std::make_shared<RecordingListener>());
    source.Notify(0x100);
    source.Notify(0x200);
    EXPECT_THAT(listener->Take(), ElementsAre("net 512 0"));
    source.RemoveCallback(listener);
    source.Notify(0x200);
    EXPECT_THAT(listener->Take(), IsEmpty());
    source.NotifyOnFirstRegister(listener, 0x300);
    EXPECT_THAT(listener->Take(), UnorderedElementsAre("net 256 1", "net 512 1"));
}

}  // namespace
}  // namespace Vexo::Tests
