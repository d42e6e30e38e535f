// IpcTestServer: a fixture with an IPC server and functions for raw client sockets. The test sets the server's
// dispatcher. The clients run in this process, so requests carry the identity of this process.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "platform/ipc/ipc_client.h"
#include "platform/ipc/ipc_server.h"
#include "platform/ipc/ipc_types.h"
#include "platform/ipc/unix_socket.h"
#include "tests/support/eventually.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Ipc {

using Tests::Eventually;
using Tests::WAIT_LIMIT;

inline constexpr uint32_t TEST_ABILITY = 42;
inline constexpr uint32_t TEST_TOKEN = 7;

// Returns a request datagram: the header and a parcel with one integer.
inline std::vector<uint8_t> RequestOf(int32_t value, uint32_t code = 1)
{
    MessageParcel parcel;
    parcel.WriteInt32(value);
    std::vector<uint8_t> bytes(IPC_HEADER_SIZE);
    EncodeHeader(IpcHeader{0, TEST_ABILITY, code}, bytes.data());
    bytes.insert(bytes.end(), parcel.GetData(), parcel.GetData() + parcel.GetDataSize());
    return bytes;
}

inline bool SendRaw(const UniqueFd& socket, const std::vector<uint8_t>& bytes)
{
    return ::send(socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

struct RawReply {
    int32_t status = -1;  // -1: there was no reply
    int32_t value = -1;   // -1: there was no integer in the reply
};

inline RawReply ReceiveRaw(const UniqueFd& socket)
{
    uint8_t bytes[256];
    const ssize_t size = ::recv(socket.Get(), bytes, sizeof(bytes), 0);
    IpcHeader header;
    RawReply reply;
    if (size < 0 || DecodeHeader(bytes, static_cast<size_t>(size), header) || header.flags != IPC_FLAG_REPLY) {
        return reply;
    }
    MessageParcel parcel;
    parcel.ParseFrom(bytes + IPC_HEADER_SIZE, static_cast<size_t>(size) - IPC_HEADER_SIZE);
    parcel.ReadInt32(reply.value);
    reply.status = static_cast<int32_t>(header.code);
    return reply;
}

class IpcTestServer : public ::testing::Test {
protected:
    IpcTestServer() { options_.socketPath = folder_.Path() / "ipc.sock"; }

    void Serve(Dispatcher dispatch)
    {
        const auto identify = [](const PeerCredentials& peer) {
            return CallerIdentity{peer.pid, peer.uid, TEST_TOKEN, (1ULL << 32) | TEST_TOKEN};
        };
        server_ = std::move(IpcServer::Start(options_, identify, std::move(dispatch)).value());
    }
    // Replies with the integer that the request carries.
    static int32_t Echo(MessageParcel& data, MessageParcel& reply)
    {
        int32_t value = 0;
        return data.ReadInt32(value) && reply.WriteInt32(value) ? IPC_OK : IPC_UNKNOWN_REQUEST;
    }
    void ServeEcho()
    {
        Serve([](const IpcHeader&, MessageParcel& data, MessageParcel& reply) { return Echo(data, reply); });
    }
    // Starts a server in which requests with code 1 block until Release(). All other requests are answered at once.
    void ServeGate()
    {
        Serve([this](const IpcHeader& request, MessageParcel&, MessageParcel&) {
            if (request.code == 1) {
                ++entered_;
                released_.wait();
            }
            return IPC_OK;
        });
    }
    void Release() { release_.set_value(); }
    bool Entered(size_t count)
    {
        return Eventually([this, count] { return entered_ == count; });
    }

    std::shared_ptr<IpcConnection> Connect() const { return IpcConnection::Connect(options_.socketPath).value(); }
    UniqueFd ConnectRaw() const
    {
        auto socket = ConnectTo(options_.socketPath, WAIT_LIMIT);
        SetReceiveLimit(socket.value().Get(), WAIT_LIMIT);
        return std::move(socket.value());
    }
    // Connects a new client and sends one request. Returns the client's socket.
    UniqueFd Send(uint32_t code = 1) const
    {
        UniqueFd socket = ConnectRaw();
        EXPECT_TRUE(SendRaw(socket, RequestOf(0, code)));
        return socket;
    }
    static void ExpectEcho(const UniqueFd& socket, int32_t value = 5)
    {
        ASSERT_TRUE(SendRaw(socket, RequestOf(value)));
        EXPECT_EQ(ReceiveRaw(socket).value, value);
    }

    std::atomic<size_t> entered_{0};
    std::promise<void> release_;
    std::shared_future<void> released_ = release_.get_future().share();
    Tests::TempFolder folder_;
    IpcServerOptions options_;
    MessageParcel data_;
    MessageParcel reply_;
    // The last member, so that the server stops before the members that its dispatcher uses are destroyed.
    std::unique_ptr<IpcServer> server_;
};

}  // namespace Vexo::Ipc
