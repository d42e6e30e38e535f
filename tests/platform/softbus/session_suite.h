// Test suite of sessions between two devices: how sessions open, carry bytes and close, and what the callbacks promise.
// The test of a transport includes this header and instantiates SessionSuite. The parameter of SessionSuite is a
// function that creates a SessionWorld with that transport.
#pragma once

#include <algorithm>
#include <atomic>

#include "platform/softbus/session.h"
#include "tests/platform/softbus/device_fixture.h"

namespace Vexo::SoftBus::Tests {

using namespace std::chrono_literals;

inline int Send(const sptr<SoftBusServer>& bus, int id, const std::string& bytes)
{
    return bus->SendBytes(id, bytes.data(), static_cast<unsigned int>(bytes.size()));
}

class SessionSuite : public PairTest,
                     public testing::WithParamInterface<std::function<std::unique_ptr<SessionWorld>()>> {
protected:
    SessionSuite() : PairTest(GetParam()()) {}
};

TEST_P(SessionSuite, OpenedCallbackRunsOnceAfterOneMillisecond)
{
    int last = 0;
    for (int round = 0; round < 20; ++round) {
        const int id = Open();
        const auto returned = std::chrono::steady_clock::now();
        const Event opened = atLaptop.WaitFor(Kind::OPENED, id);
        EXPECT_EQ(opened.result, 0);
        EXPECT_GE(opened.when - returned, 1ms);
        EXPECT_NE(opened.thread, std::this_thread::get_id());
        EXPECT_NE(std::exchange(last, id), id) << "not reused soon";
        laptop->CloseSession(id);
        ASSERT_TRUE(Eventually([&] { return phone->Counts().sessions == 0; }));
        EXPECT_EQ(atLaptop.Count(Kind::OPENED, id), 1u);
    }
}

// A caller on a busy machine: it has the id, but does not get to its next step.
TEST_P(SessionSuite, OpenedCallbackWaitsUntilCallingThreadSleeps)
{
    const int id = Open();
    const auto returned = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - returned < 50ms) {
    }
    EXPECT_EQ(atLaptop.Count(Kind::OPENED, id), 0u);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
}

TEST_P(SessionSuite, LocalFailuresReturnNegativeIdWithoutCallback)
{
    const std::string peer = phoneIdentity.networkId;
    const struct {
        const char* what;
        std::string name;
        std::string peer;
        SessionAttribute attribute;
        int result;
    } cases[] = {
        {"empty name", "", peer, ByteSession(world->linkType), SOFTBUS_INVALID_PARAM},
        {"name of 256", std::string(256, 'n'), peer, ByteSession(world->linkType), SOFTBUS_INVALID_PARAM},
        {"no link types", NAME, peer, {TYPE_BYTES, 0, {LINK_TYPE_WIFI_5G}}, SOFTBUS_INVALID_PARAM},
        {"11 link types", NAME, peer, {TYPE_BYTES, 11, {LINK_TYPE_WIFI_5G}}, SOFTBUS_INVALID_PARAM},
        {"no data type", NAME, peer, {0, 1, {LINK_TYPE_WIFI_5G}}, SOFTBUS_INVALID_PARAM},
        {"unknown peer", NAME, std::string(64, '0'), ByteSession(world->linkType), SOFTBUS_NO_SUCH_PEER},
        {"itself", NAME, laptopIdentity.networkId, ByteSession(world->linkType), SOFTBUS_NO_SUCH_PEER},
        {"a link type without transport", NAME, peer, {TYPE_BYTES, 1, {3}}, SOFTBUS_NO_LINK},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(laptop->OpenSession(c.name, NAME, c.peer, c.attribute), c.result) << c.what;
    }
    EXPECT_EQ(Send(laptop, 12345, "x"), SOFTBUS_NO_SUCH_SESSION);
    laptop->CloseSession(12345);
    EXPECT_TRUE(atLaptop.All().empty());
    EXPECT_EQ(laptop->Counts().pendingOpens, 0u);
}

TEST_P(SessionSuite, BytesBeforeCloseArriveThenPeerAloneGetsClosed)
{
    const auto [mine, theirs] = OpenPair();
    const std::string largest(MAX_SESSION_BYTES, 'L');
    EXPECT_EQ(Send(laptop, mine, largest + "x"), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(Send(laptop, mine, ""), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(laptop->SendBytes(mine, nullptr, 1), SOFTBUS_INVALID_PARAM);
    ASSERT_EQ(Send(laptop, mine, "first"), 0);
    ASSERT_EQ(Send(laptop, mine, largest), 0);
    ASSERT_EQ(Send(phone, theirs, "crossing"), 0);
    laptop->CloseSession(mine);
    EXPECT_EQ(Send(laptop, mine, "late"), SOFTBUS_NO_SUCH_SESSION);

    atPhone.WaitFor(Kind::CLOSED, theirs);
    EXPECT_EQ(Send(phone, theirs, "late"), SOFTBUS_NO_SUCH_SESSION);
    const std::vector<Event> events = atPhone.All();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[1].bytes, "first");
    EXPECT_TRUE(events[2].bytes == largest);
    ASSERT_TRUE(Eventually([&] { return laptop->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, mine), 0u);
}

TEST_P(SessionSuite, ClosingInsideCallbacksOrBeforeOpenedIsSafe)
{
    atPhone.OnEvent(Kind::BYTES, [this](const Event& event) {
        Send(phone, event.id, "bye");
        phone->CloseSession(event.id);
    });
    const int id = Open();
    atLaptop.WaitFor(Kind::OPENED, id);
    Send(laptop, id, "close, please");
    atLaptop.WaitFor(Kind::CLOSED, id);
    EXPECT_EQ(atLaptop.All()[1].bytes, "bye");
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, id), 1u);

    atLaptop.OnEvent(Kind::OPENED, [this](const Event& event) { laptop->CloseSession(event.id); });
    const int other = Open();
    atPhone.WaitFor(Kind::CLOSED);
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, other), 0u);

    atLaptop.Clear();
    const int early = Open();
    laptop->CloseSession(early);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, early).result, SOFTBUS_NO_SUCH_SESSION);
    ASSERT_TRUE(Eventually([&] { return laptop->Counts().pendingOpens == 0 && phone->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.All().size(), 1u);
}

TEST_P(SessionSuite, SlowPeerFillsQueueAndLosesNothing)
{
    const std::pair<int, int> ids = OpenPair();
    std::atomic<bool> hold{true};
    std::atomic<size_t> taken{0};
    atPhone.OnEvent(Kind::BYTES, [&](const Event& event) {
        Eventually([&] { return !hold.load(); });
        taken += event.bytes.size();
    });
    const std::string megabyte(1024 * 1024, 'm');
    size_t accepted = 0;
    int result = SOFTBUS_OK;
    ASSERT_TRUE(Eventually([&] {
        while ((result = Send(laptop, ids.first, megabyte)) == SOFTBUS_OK) {
            ++accepted;
        }
        // The send queue may be full for a moment while the connection's buffers still have space. Before 16 messages
        // are accepted, a full queue does not show that the paused receiver has stopped the connection.
        return result == SOFTBUS_QUEUE_FULL && accepted >= 16;
    }));
    EXPECT_LT(accepted, 64u) << "the other end must stop reading";
    hold = false;
    EXPECT_TRUE(Eventually([&] { return taken == accepted * megabyte.size(); }));
    EXPECT_EQ(atPhone.Count(Kind::CLOSED, ids.second), 0u);
    atPhone.Clear();
}

TEST_P(SessionSuite, FiftySessionsHaveDistinctIdsOnBothSides)
{
    const auto echo = [this](const Event& event) { Send(phone, event.id, "echo " + event.bytes); };
    atPhone.OnEvent(Kind::BYTES, echo);
    atLaptop.OnEvent(Kind::OPENED, [this](const Event& event) { Send(laptop, event.id, std::to_string(event.id)); });
    std::vector<int> ids(50);
    for (size_t i = 0; i < ids.size(); ++i) {
        if (i >= world->opensAtOnce) {
            atLaptop.WaitFor(Kind::OPENED, ids[i - world->opensAtOnce]);
        }
        ids[i] = Open();
    }
    for (const int id : ids) {
        EXPECT_EQ(atLaptop.WaitFor(Kind::BYTES, id).bytes, "echo " + std::to_string(id));
    }
    const int back = phone->OpenSession(NAME, NAME, laptopIdentity.networkId, ByteSession(world->linkType));
    atPhone.WaitFor(Kind::BYTES, back);
    EXPECT_EQ(atPhone.Count(Kind::OPENED, back), 1u) << "one space of ids for both directions";
    laptop->Stop();
    EXPECT_TRUE(Eventually([&] { return phone->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, ids.back()), 0u);
}

TEST_P(SessionSuite, OpenWaitsForOwnAndPeerServer)
{
    const char late[] = "test.late";
    const int id = laptop->OpenSession(late, late, phoneIdentity.networkId, ByteSession(world->linkType));
    EXPECT_TRUE(Eventually([&] { return laptop->Counts().pendingOpens == 1; }));
    ASSERT_EQ(laptop->CreateSessionServer(PKG, late, Listener<0>::Table()), 0);
    EXPECT_TRUE(Eventually([&] { return phone->Counts().pendingOpens == 1; })) << "the peer waits in turn";
    ASSERT_EQ(phone->CreateSessionServer(PKG, late, Listener<1>::Table()), 0);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
}

TEST_P(SessionSuite, OpenFailsInTimeWithoutServerAndAtOnceWhenStopping)
{
    const auto began = std::chrono::steady_clock::now();
    const int id = Open("test.never");
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_PEER_REFUSED);
    EXPECT_LT(std::chrono::steady_clock::now() - began, 8s);
    EXPECT_EQ(Send(laptop, id, "x"), SOFTBUS_NO_SUCH_SESSION);

    const int stopped = Open("test.never");
    ASSERT_TRUE(Eventually([&] { return phone->Counts().pendingOpens == 1; }));
    laptop->Stop();
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, stopped).result, SOFTBUS_UNAVAILABLE);
}

TEST_P(SessionSuite, RemovingServerClosesItsSessions)
{
    const auto [mine, theirs] = OpenPair();
    EXPECT_EQ(phone->CreateSessionServer("other.package", NAME, Listener<1>::Table()), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(phone->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0) << "creating again is no error";
    EXPECT_EQ(phone->RemoveSessionServer(PKG, "unknown"), SOFTBUS_NO_SUCH_SERVER);
    EXPECT_EQ(phone->RemoveSessionServer(PKG, NAME), 0);
    atLaptop.WaitFor(Kind::CLOSED, mine);
    EXPECT_EQ(atPhone.Count(Kind::CLOSED, theirs), 0u);
}

}  // namespace Vexo::SoftBus::Tests
