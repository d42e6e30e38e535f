// What one user's programs can do to the others by asking too much, through the real daemon. A second user is needed:
// without root these cases are skipped.
#include <fcntl.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>

#include "client/distnet_client.h"
#include "distributed/services/service/i_distnet_service.h"
#include "interfaces/i_distnet_host.h"
#include "platform/ability/ability_ids.h"
#include "platform/ipc/unix_socket.h"
#include "platform/ipc/wire.h"
#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

using Host::HostInterfaceCode;
using Host::HostStatus;
using Host::IDistNetHost;
using NetManagerStandard::IDistNetService;

constexpr uid_t NOBODY = 65534;

std::vector<uint8_t> RequestOf(uint32_t ability, uint32_t code, const std::u16string& token,
                               const std::vector<uint32_t>& words = {})
{
    MessageParcel parcel;
    parcel.WriteInterfaceToken(token);
    for (const uint32_t word : words) {
        parcel.WriteUint32(word);
    }
    std::vector<uint8_t> bytes(Ipc::IPC_HEADER_SIZE);
    Ipc::EncodeHeader({0, ability, code}, bytes.data());
    bytes.insert(bytes.end(), parcel.GetData(), parcel.GetData() + parcel.GetDataSize());
    return bytes;
}

bool SendTo(const UniqueFd& socket, const std::vector<uint8_t>& bytes)
{
    return ::send(socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// The status of the next reply, or -1.
int32_t StatusOf(const UniqueFd& socket)
{
    uint8_t bytes[Ipc::IPC_HEADER_SIZE];
    Ipc::IpcHeader header;
    const ssize_t size = ::recv(socket.Get(), bytes, sizeof(bytes), 0);
    return size == sizeof(bytes) && Ipc::DecodeHeader(bytes, sizeof(bytes), header) == nullptr
               ? static_cast<int32_t>(header.code)
               : -1;
}

// A program of another user: runs the body, which says how it went, and then stays until the object goes.
class ProgramOf {
public:
    ProgramOf(uid_t user, const std::function<int()>& body)
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        said_ = UniqueFd(ends[0]);
        const UniqueFd says(ends[1]);
        child_ = ::fork();
        if (child_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            int result = -1;
            if (::setgroups(0, nullptr) == 0 && ::setgid(user) == 0 && ::setuid(user) == 0) {
                result = body();
            }
            (void)!::write(says.Get(), &result, sizeof(result));
            ::pause();
            ::_exit(0);
        }
    }
    ~ProgramOf()
    {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }
    ProgramOf(const ProgramOf&) = delete;
    ProgramOf& operator=(const ProgramOf&) = delete;

    // What its body returned; -1 when it could not become that user.
    int Said() const
    {
        int result = -1;
        (void)!::read(said_.Get(), &result, sizeof(result));
        return result;
    }

private:
    UniqueFd said_;
    pid_t child_ = -1;
};

class FloodTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (::getuid() != 0) {
            GTEST_SKIP() << "needs root, to be a second user";
        }
        device_.Start(false);
        // So that another user reaches the socket.
        ::chmod(world_.Path().c_str(), 0711);
        ::chmod(device_.StateDir().c_str(), 0711);
    }
    UniqueFd Connect() const
    {
        auto socket = Ipc::ConnectTo(device_.Socket(), PATIENCE);
        if (!socket) {
            return UniqueFd();
        }
        Ipc::SetReceiveLimit(socket.value().Get(), PATIENCE);
        return std::move(socket.value());
    }
    // Sends a request again and again; how many were answered with that status.
    int Repeat(const std::vector<uint8_t>& request, int32_t status, std::chrono::milliseconds time) const
    {
        const UniqueFd socket = Connect();
        const auto end = std::chrono::steady_clock::now() + time;
        int answers = 0;
        while (std::chrono::steady_clock::now() < end && SendTo(socket, request) && StatusOf(socket) == status) {
            ++answers;
        }
        return answers;
    }

    World world_;
    Device& device_{world_.Add("laptop")};
};

TEST_F(FloodTest, ConnectionsOfAUserAreAShareAndRootConnectsAllTheSame)
{
    constexpr int CLIENTS = 300;
    std::vector<UniqueFd> sockets(CLIENTS);  // the other program's
    const ProgramOf flood(NOBODY, [&] {
        int turnedAway = 0;
        for (UniqueFd& socket : sockets) {
            socket = Connect();
            Ipc::SetReceiveLimit(socket.Get(), std::chrono::milliseconds(20));
            turnedAway += StatusOf(socket) == IPC_BUSY ? 1 : 0;
        }
        return turnedAway;
    });
    EXPECT_EQ(flood.Said(), CLIENTS - 64);
    EXPECT_EQ(device_.Count("ipc_connections"), 65) << "root's own is the last";
    EXPECT_EQ(device_.Status("service"), "not_loaded");
}

TEST_F(FloodTest, WaitsForEventsLeaveTheWorkersToOthers)
{
    constexpr size_t WAITS = 300;
    std::vector<UniqueFd> waiting(WAITS);
    for (UniqueFd& socket : waiting) {
        socket = Connect();
        // From the start: this daemon has no event yet.
        ASSERT_TRUE(
            SendTo(socket, RequestOf(DISTNET_HOST_ABILITY_ID, static_cast<uint32_t>(HostInterfaceCode::GET_EVENTS),
                                     IDistNetHost::GetDescriptor(), {0, 0, 60'000})));
    }
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(device_.Count("ipc_connections"), static_cast<int>(WAITS) + 1);
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(5)) << "the waits last a minute";
    EXPECT_EQ(device_.Ctl({"info"}).exitCode, 0);  // an event
    for (const UniqueFd& socket : waiting) {
        ASSERT_EQ(StatusOf(socket), IPC_OK);
    }
}

TEST_F(FloodTest, RefusedRequestsAndBadDatagramsWriteAFewLinesAndLeaveTheServiceUnloaded)
{
    const auto startService = static_cast<uint32_t>(NetManagerStandard::DistNetInterfaceCode::START_SERVICE);
    const auto getStatus = static_cast<uint32_t>(HostInterfaceCode::GET_STATUS);
    const struct {
        std::vector<uint8_t> request;
        int32_t status;
    } table[] = {
        {RequestOf(COMM_DISTRIBUTED_NET_ABILITY_ID, startService, IDistNetService::GetDescriptor()),
         IPC_UNKNOWN_REQUEST},
        {RequestOf(COMM_DISTRIBUTED_NET_ABILITY_ID, startService, u"another interface"), IPC_UNKNOWN_REQUEST},
        {RequestOf(COMM_DISTRIBUTED_NET_ABILITY_ID, 1000, IDistNetService::GetDescriptor()), IPC_UNKNOWN_REQUEST},
        {RequestOf(DISTNET_HOST_ABILITY_ID, getStatus, IDistNetHost::GetDescriptor()), IPC_UNKNOWN_REQUEST},
        {{'n', 'o', 'i', 's', 'e'}, IPC_BAD_DATAGRAM},
    };
    const size_t before = device_.Log().size();
    for (const auto& row : table) {
        const ProgramOf flood(NOBODY, [&] { return Repeat(row.request, row.status, std::chrono::milliseconds(200)); });
        EXPECT_GT(flood.Said(), 20);
    }
    EXPECT_LT(device_.Log().size() - before, 4096U) << device_.Log();
    EXPECT_TRUE(Eventually([&] { return device_.Status("service") == "idle"; })) << device_.Log();
}

TEST(DescriptorsTest, ADaemonWithFewDescriptorsServesFewerClientsAndSaysSo)
{
    constexpr size_t CLIENTS = 128;  // half of its descriptors
    World world;
    Device& device = world.Add("laptop");
    const std::filesystem::path program = world.Path() / "few-descriptors";
    std::ofstream(program) << "#!/bin/sh\nulimit -n 256\nexec " DISTNET_BIN_DIR "/distnetd \"$@\"\n";
    ::chmod(program.c_str(), 0700);
    device.SetProgram(program);
    device.Start(false);
    EXPECT_NE(device.Log().find("no more than 128 local clients"), std::string::npos) << device.Log();
    std::vector<UniqueFd> clients;
    while (clients.size() < CLIENTS) {
        auto socket = Ipc::ConnectTo(device.Socket(), PATIENCE);
        ASSERT_TRUE(socket) << socket.error().message;
        clients.push_back(std::move(socket.value()));
    }
    EXPECT_TRUE(Eventually([&] {
        HostStatus status;
        const auto client = device.Connect();
        return client->GetStatus(status).message.find("busy") != std::string::npos;
    })) << device.Log();
    clients.resize(CLIENTS / 2);
    EXPECT_TRUE(Eventually([&] { return device.Count("ipc_connections") == static_cast<int>(CLIENTS) / 2 + 1; }));
}

}  // namespace
}  // namespace Vexo::EndToEnd
