#include "platform/ipc/later_reply.h"

#include "tests/platform/ipc/ipc_test_server.h"
#include "tests/support/trail.h"

namespace Vexo::Ipc {
namespace {

constexpr uint32_t LATER = 1;
constexpr uint32_t AT_ONCE = 2;

MessageParcel ParcelOf(int32_t value)
{
    MessageParcel parcel;
    parcel.WriteInt32(value);
    return parcel;
}

class LaterReplyTest : public IpcTestServer {
protected:
    void ServeLater()
    {
        Serve([this](const IpcHeader&, MessageParcel&, MessageParcel&) {
            taken_.Add(LaterReply::Take());
            return int32_t{IPC_UNKNOWN_REQUEST};
        });
    }
    std::shared_ptr<LaterReply> Taken(size_t count = 1) { return taken_.WaitFor(count).at(count - 1); }

    Tests::Trail<std::shared_ptr<LaterReply>> taken_;
};

TEST_F(LaterReplyTest, CompletedAndDroppedRepliesReachClient)
{
    Serve([](const IpcHeader& request, MessageParcel&, MessageParcel&) {
        const auto later = LaterReply::Take();
        EXPECT_EQ(LaterReply::Take(), nullptr) << "taken already";
        if (request.code == AT_ONCE) {
            later->Complete(IPC_OK, ParcelOf(3));
        }
        return int32_t{IPC_UNKNOWN_REQUEST};
    });
    const UniqueFd socket = Send(AT_ONCE);
    EXPECT_EQ(ReceiveRaw(socket).value, 3);
    ASSERT_TRUE(SendRaw(socket, RequestOf(0, LATER)));
    EXPECT_EQ(ReceiveRaw(socket).status, IPC_HANDLER_FAILED);
}

TEST_F(LaterReplyTest, OnlyDisconnectedClientIsDroppedBeforeReply)
{
    ServeLater();
    UniqueFd gone = Send(LATER);
    const auto unwanted = Taken();
    const UniqueFd stopped = Send(LATER);
    ::shutdown(stopped.Get(), SHUT_WR);
    const auto wanted = Taken(2);
    gone.Reset();
    EXPECT_TRUE(Eventually([&] { return server_->Counts().connections == 1; }));
    unwanted->Complete(IPC_OK, ParcelOf(3));
    wanted->Complete(IPC_OK, ParcelOf(4));
    EXPECT_EQ(ReceiveRaw(stopped).value, 4);
    EXPECT_TRUE(Eventually([&] { return server_->Counts().connections == 0; }));
}

TEST_F(LaterReplyTest, ServerMayBeDestroyedBeforeReply)
{
    ServeLater();
    const UniqueFd socket = Send(LATER);
    const auto later = Taken();
    server_.reset();
    later->Complete(IPC_OK, ParcelOf(3));
    EXPECT_EQ(ReceiveRaw(socket).status, -1);
}

TEST_F(LaterReplyTest, RepliesRacingWithDisconnectLeaveNothingBehind)
{
    ServeLater();
    for (size_t round = 1; round <= 200; ++round) {
        UniqueFd socket = Send(LATER);
        const auto later = Taken(round);
        const auto completed = std::async(std::launch::async, [&] { later->Complete(IPC_OK, ParcelOf(3)); });
        socket.Reset();
    }
    EXPECT_TRUE(Eventually([&] { return server_->Counts().connections == 0; }));
}

}  // namespace
}  // namespace Vexo::Ipc
