#include "distributed/services/link/soft_bus_adapter.h"

#include <future>

#include "distributed/services/utils/distnet_errors.h"
#include "tests/distributed/services/link/link_fixture.h"

namespace Vexo::NetManagerStandard {
namespace {

using testing::ElementsAre;

const std::string PEER(64, 'a');

class SoftBusAdapterTest : public LinkTest {
protected:
    // Calls OnSessionOpened only after the opening thread has begun to wait, as a slow soft bus does.
    void AnswerOpenWith(int result)
    {
        softBus_->onOpen = [this, result] {
            log_.WaitFor(" StartPending: sessionId=7");
            softBus_->listener.OnSessionOpened(SESSION, result);
        };
    }
    const std::string open_ = std::string("open ") + SESSION_NAME + "|" + SESSION_NAME + "|" + PEER;
    int sessionId_ = 0;
};

TEST_F(SoftBusAdapterTest, SessionServerFailureBecomesServiceCode)
{
    EXPECT_EQ(served_, 0);
    EXPECT_EQ(adapter_->RemoveSoftBusSessionServer(), 0);
    softBus_->serverResult = SOFTBUS_UNAVAILABLE;
    EXPECT_EQ(adapter_->CreateSoftBusSessionServer(), 1004500121);
    EXPECT_EQ(adapter_->RemoveSoftBusSessionServer(), 1004500121);
}

TEST_F(SoftBusAdapterTest, OpensByteSessionWithLinkTypesInOrder)
{
    AnswerOpenWith(0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId_), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, SESSION_OPEN_WAIT) << "the callback wakes the opener";
    EXPECT_EQ(sessionId_, SESSION);
    EXPECT_EQ(softBus_->attribute.dataType, TYPE_BYTES);
    EXPECT_EQ(softBus_->attribute.linkTypeNum, 10);
    EXPECT_THAT(softBus_->attribute.linkType, ElementsAre(1, 2, 4, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_FALSE(log_.Contains(PEER));
}

TEST_F(SoftBusAdapterTest, OpenRefusesBadArgumentsAndClosesSessionOnFailure)
{
    const SessionAttribute attribute{};
    EXPECT_EQ(adapter_->OpenSoftBusSession("", sessionId_), 1004500124);
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, "", &attribute, sessionId_), 1004500124);
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, SESSION_NAME, nullptr, sessionId_), 1004500124);
    EXPECT_THAT(softBus_->Take(), testing::IsEmpty());
    AnswerOpenWith(SOFTBUS_NO_SUCH_SESSION);
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId_), 1004500122);
    EXPECT_THAT(softBus_->Take(), ElementsAre(open_, CLOSE));
    softBus_->openResult = SOFTBUS_NO_SUCH_SESSION;
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId_), 1004500122);
    EXPECT_THAT(softBus_->Take(), ElementsAre(open_));
}

TEST_F(SoftBusAdapterTest, OpenTimesOutIfOpenedCallbackPrecedesWait)
{
    adapter_->SetPending(SESSION, 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(adapter_->OpenSoftBusSession(PEER, sessionId_), 1004500122);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_THAT(softBus_->Take(), ElementsAre(open_, CLOSE));
}

TEST_F(SoftBusAdapterTest, SecondWaitForSameSessionFailsAtOnce)
{
    auto first = std::async(std::launch::async, [this] { return adapter_->StartPending(SESSION); });
    ASSERT_TRUE(log_.WaitFor(" StartPending: sessionId=7"));
    EXPECT_FALSE(adapter_->StartPending(SESSION));
    adapter_->SetPending(SESSION, 0);
    EXPECT_TRUE(first.get());
    adapter_->StopPending(SESSION);
}

TEST_F(SoftBusAdapterTest, RequestReturnsPostedResultAndIgnoresLateAnswer)
{
    adapter_->CloseSessionCondition(SESSION, 0);  // this answer is too late, because no request waits
    softBus_->onSend = [this] {
        log_.WaitFor(" SendStartHotspotMessage wait result");
        adapter_->CloseSessionCondition(SESSION, HOTSPOT_FAIL_ADD_CONFIG);
    };
    EXPECT_EQ(adapter_->SendStartHotspotMessage(SESSION), -94);
    EXPECT_THAT(softBus_->Take(), ElementsAre(CLOSE, SEND + REQUEST, CLOSE));

    softBus_->onSend = nullptr;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(adapter_->SendStartHotspotMessage(SESSION), 1004500116);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_THAT(softBus_->Take(), ElementsAre(SEND + REQUEST, CLOSE));
    Receive(AnswerOf("late"));
    EXPECT_THAT(wifi_->Take(), testing::IsEmpty());
    EXPECT_EQ(log_.Count(DROPPED), 1U);
    EXPECT_THAT(softBus_->Take(), ElementsAre(CLOSE));
    softBus_->sendResult = SOFTBUS_NO_SUCH_SESSION;
    EXPECT_EQ(adapter_->SendStartHotspotMessage(SESSION), 1004500123);
    EXPECT_THAT(softBus_->Take(), ElementsAre(SEND + REQUEST, CLOSE));
}

TEST_F(SoftBusAdapterTest, StringIsSentWithTerminatorUpToSizeLimit)
{
    std::string text(46081, 't');
    EXPECT_EQ(adapter_->SendSoftBusStr(SESSION, text), 1004500123);
    text.pop_back();
    EXPECT_EQ(adapter_->SendSoftBusStr(SESSION, text), 0);
    EXPECT_EQ(adapter_->SendHelloMessage(SESSION), 0);
    EXPECT_THAT(softBus_->Take(), ElementsAre(SEND + text + '\0', SEND + std::string("\1\2\0\3", 4)));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
