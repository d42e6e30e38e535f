#include "platform/eventloop/event_handler.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/support/log_capture.h"
#include "tests/support/trail.h"

namespace Vexo::AppExecFwk {
namespace {

using Priority = EventHandler::Priority;
using Tests::Gate;
using Tests::Trail;

class EventHandlerTest : public testing::Test {
protected:
    // Blocks the runner until gate_ opens, so that a test can post several events before the first one runs.
    void Hold() { handler_->SendEvent(InnerEvent::Get(gate_.Blocker()), 0, Priority::VIP); }
    InnerEvent::Pointer Task(const std::string& name)
    {
        return InnerEvent::Get([this, name] { ran_.Add(name); }, name);
    }

    Trail<std::string> ran_;
    Gate gate_;
    std::shared_ptr<EventRunner> runner_ = EventRunner::Create("test");
    std::shared_ptr<EventHandler> handler_ = std::make_shared<EventHandler>(runner_);
};

TEST_F(EventHandlerTest, RunsByDueTimeAndThenInOrderOfPosting)
{
    Hold();
    EXPECT_TRUE(handler_->SendEvent(Task("late"), 400, Priority::VIP));
    EXPECT_TRUE(handler_->SendEvent(Task("first")));
    EXPECT_TRUE(handler_->SendEvent(Task("second")));
    EXPECT_TRUE(handler_->SendEvent(Task("soon"), 2, Priority::VIP));
    EXPECT_TRUE(handler_->SendEvent(Task("never"), std::numeric_limits<int64_t>::max()));
    gate_.Open();
    EXPECT_EQ(ran_.WaitFor(4), (std::vector<std::string>{"first", "second", "soon", "late"}));
}

TEST_F(EventHandlerTest, TaskOutlivesHandlerAndIsRemovedOnlyThroughIt)
{
    EventHandler other(runner_);
    Hold();
    auto poster = std::make_shared<EventHandler>(runner_);
    EXPECT_TRUE(poster->SendEvent(Task("kept")));
    EXPECT_TRUE(poster->SendEvent(Task("removed"), 1));
    EXPECT_TRUE(other.SendEvent(Task("removed elsewhere")));
    other.RemoveTask("kept");
    other.RemoveTask("removed elsewhere");
    poster->RemoveTask("removed");
    poster.reset();
    EXPECT_TRUE(other.SendEvent(Task("last"), 5));
    gate_.Open();
    EXPECT_EQ(ran_.WaitFor(2), (std::vector<std::string>{"kept", "last"}));
}

TEST_F(EventHandlerTest, NumericEventReachesLiveHandlerOnRunnerThread)
{
    struct Recorder : EventHandler {
        Recorder(const std::shared_ptr<EventRunner>& on, Trail<std::string>& trail) : EventHandler(on), ran(trail) {}
        void ProcessEvent(const InnerEvent::Pointer& event) override
        {
            ran.Add(std::to_string(event->GetInnerEventId()) + ":" + std::to_string(event->GetParam()) + ":" +
                    event->GetCaller().function);
            thread = std::this_thread::get_id();
        }
        Trail<std::string>& ran;
        std::thread::id thread;
    };
    const Tests::LogCapture log;
    const auto recorder = std::make_shared<Recorder>(runner_, ran_);
    Hold();
    std::make_shared<Recorder>(runner_, ran_)->SendEvent(1);
    recorder->SendEvent(
        InnerEvent::Get([] { throw std::runtime_error("too bad"); }, "task", Caller{"a.cpp", "Post", 3}));
    recorder->SendEvent(InnerEvent::Get(2, 40, Caller{"b.cpp", "Send", 4}));
    std::thread::id runnerThread;
    recorder->SendEvent(InnerEvent::Get([&] {
        runnerThread = std::this_thread::get_id();
        ran_.Add("end");
    }));
    gate_.Open();
    EXPECT_EQ(ran_.WaitFor(2), (std::vector<std::string>{"2:40:Send", "end"}));
    EXPECT_EQ(recorder->thread, runnerThread);
    EXPECT_TRUE(log.Contains("event task of a.cpp:3 (Post) ended by an exception: too bad"));
}

TEST_F(EventHandlerTest, LastReferenceStopsRunnerAlsoFromItsOwnThread)
{
    Hold();
    handler_->SendEvent(Task("dropped"), 60'000);
    auto own = InnerEvent::Get([this, handler = handler_]() mutable {
        ran_.Add("ran");
        handler.reset();  // Now this event is the last owner of the runner.
    });
    handler_->SendEvent(std::move(own));
    const std::weak_ptr<EventRunner> watched = runner_;
    handler_.reset();
    runner_.reset();
    gate_.Open();
    EXPECT_EQ(ran_.WaitFor(1), (std::vector<std::string>{"ran"}));
    EXPECT_TRUE(Tests::Eventually([&] { return watched.expired(); }));
}

}  // namespace
}  // namespace Vexo::AppExecFwk
