#include "distributed/services/link/collaboration.h"

#include "distributed/services/utils/distnet_errors.h"
#include "tests/distributed/services/link/link_fixture.h"
#include "tests/support/fake_collaboration.h"

namespace Vexo::NetManagerStandard {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int OTHER_SESSION = 8;

class CollaborationTest : public LinkTest {
protected:
    void SetUp() override { collaboration_.InitCollaboration(); }
    void TearDown() override { framework_->callbacks.Join(); }

    static void Receive(const std::string& bytes, int sessionId = SESSION)
    {
        MakeSptr<CollaborationCallback>()->OnDataReceived(sessionId, bytes.data(),
                                                          static_cast<unsigned int>(bytes.size()));
    }

    const sptr<Tests::FakeCollaboration> framework_ = registry_.Add<Tests::FakeCollaboration>(COLL_FWK_SA_ID);
    Collaboration& collaboration_ = Collaboration::GetInstance();
};

TEST_F(CollaborationTest, JoinsOnlyFirstAnswerOfWaitingCollaboration)
{
    Receive(AnswerOf("unasked"), OTHER_SESSION);
    collaboration_.StopCollaborationCondition(SESSION, HOTSPOT_FAIL_PEER);  // no request waits for this answer
    EXPECT_THAT(framework_->Take(), ElementsAre("unregister 8", "stop 8", "unregister 7", "stop 7"));
    framework_->onSend = [this] {
        log_.WaitFor(" SendStartHotspotMessage wait");
        Receive(AnswerOf("third"), OTHER_SESSION);
        Receive(AnswerOf("asked"));
        Receive(AnswerOf("again"));
    };
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(collaboration_.SendStartHotspotMessage(SESSION), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, COLLABORATION_ANSWER_WAIT)
        << "the peer's readiness and its answer wake the request";
    framework_->callbacks.Join();
    EXPECT_THAT(framework_->Take(), ElementsAre("register 7", "send 7 " + REQUEST, "unregister 8", "stop 8",
                                                "unregister 7", "stop 7", "unregister 7", "stop 7"));
    EXPECT_THAT(wifi_->Take(), ElementsAre("add asked", "connect asked"));
    EXPECT_EQ(log_.Count(DROPPED), 3U);
}

TEST_F(CollaborationTest, UnsendableRequestFailsAtOnceAndStopsNothing)
{
    framework_->registerResult = CollaborationFwk::COLLABORATION_NO_SUCH_SESSION;
    EXPECT_EQ(collaboration_.SendStartHotspotMessage(SESSION), CollaborationFwk::COLLABORATION_NO_SUCH_SESSION);
    EXPECT_THAT(framework_->Take(), ElementsAre("register 7"));
    framework_->registerResult = 0;
    framework_->sendResult = CollaborationFwk::COLLABORATION_NOT_SENT;
    EXPECT_EQ(collaboration_.SendStartHotspotMessage(SESSION), 1004500123);
    EXPECT_THAT(framework_->Take(), ElementsAre("register 7", "send 7 " + REQUEST));
}

TEST_F(CollaborationTest, ServingFailureIsAnsweredAndStopsCollaboration)
{
    const auto hotspot = registry_.Add<Tests::FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    for (const auto& [config, send, answer] :
         {std::tuple{5, 0, "\"RES\":\t5\n"}, {0, CollaborationFwk::COLLABORATION_NOT_SENT, "\"RES\":\t0,"}}) {
        hotspot->configResult = config;
        framework_->sendResult = send;
        Receive(REQUEST);
        EXPECT_THAT(framework_->Take(), ElementsAre(HasSubstr(answer), "unregister 7", "stop 7"));
    }
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
