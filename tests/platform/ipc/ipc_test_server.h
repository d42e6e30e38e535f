// IpcTestServer: an IPC server in a temporary folder whose dispatcher is the test's, and raw sockets to it. A client of
// the test is this process, so the identity that requests see is this process's own.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/ipc/ipc_client.h"
#include "platform/ipc/ipc_server.h"
#include "platform/ipc/ipc_types.h"
#include "platform/ipc/unix_socket.h"

namespace Vexo::Ipc {

inline constexpr uint32_t TEST_ABILITY = 42;
inline constexpr uint32_t TEST_TOKEN = 7;
inline constexpr std::chrono::seconds PATIENCE{10};

inline bool Eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

class IpcTestServer : public ::testing::Test {
protected:
    IpcTestServer()
    {
        std::string name = std::filesystem::temp_directory_path() / "ipc_test_XXXXXX";
        folder_ = ::mkdtemp(name.data());
        options_.socketPath = folder_ / "ipc.sock";
    }
    ~IpcTestServer() override
    {
        server_.reset();
        std::filesystem::remove_all(folder_);
    }

    void Serve(Dispatcher dispatch)
    {
        auto server = IpcServer::Start(
            options_,
            [](const PeerCredentials& peer) {
                return CallerIdentity{peer.pid, peer.uid, TEST_TOKEN, (1ULL << 32) | TEST_TOKEN};
            },
            std::move(dispatch));
        ASSERT_TRUE(server) << server.Message();
        server_ = std::move(server.Value());
    }

    // Replies with the integer that it was sent.
    void ServeEcho()
    {
        Serve([](const IpcHeader&, MessageParcel& data, MessageParcel& reply) {
            int32_t value = 0;
            return data.ReadInt32(value) && reply.WriteInt32(value) ? IPC_OK : IPC_UNKNOWN_REQUEST;
        });
    }

    // Request 1 waits until Release; the others are answered at once.
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

    std::shared_ptr<IpcConnection> Connect() const
    {
        auto connection = IpcConnection::Connect(options_.socketPath);
        EXPECT_TRUE(connection) << (connection ? "" : connection.Message());
        return connection ? connection.Value() : nullptr;
    }

    UniqueFd ConnectRaw() const
    {
        auto socket = ConnectTo(options_.socketPath, PATIENCE);
        EXPECT_TRUE(socket) << (socket ? "" : socket.Message());
        SetReceiveLimit(socket.Value().Get(), PATIENCE);
        return std::move(socket.Value());
    }

    std::atomic<size_t> entered_{0};
    std::promise<void> release_;
    std::shared_future<void> released_ = release_.get_future().share();
    std::filesystem::path folder_;
    IpcServerOptions options_;
    std::unique_ptr<IpcServer> server_;
};

// A datagram: the header and, as its parcel, one integer.
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
    bool read = false;
    int32_t status = -1;
    int32_t value = -1;  // when the reply carries an integer
};

inline RawReply ReceiveRaw(const UniqueFd& socket)
{
    uint8_t bytes[256];
    const ssize_t size = ::recv(socket.Get(), bytes, sizeof(bytes), 0);
    IpcHeader header;
    RawReply reply;
    if (size < 0 || DecodeHeader(bytes, static_cast<size_t>(size), header) != nullptr) {
        return reply;
    }
    MessageParcel parcel;
    parcel.ParseFrom(bytes + IPC_HEADER_SIZE, static_cast<size_t>(size) - IPC_HEADER_SIZE);
    parcel.ReadInt32(reply.value);
    reply.read = header.flags == IPC_FLAG_REPLY;
    reply.status = static_cast<int32_t>(header.code);
    return reply;
}

}  // namespace Vexo::Ipc
