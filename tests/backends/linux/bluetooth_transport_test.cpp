// Tests the Bluetooth transport with Unix sockets instead of L2CAP sockets. A write of more than UNIT bytes fails with
// EMSGSIZE, like a write to an L2CAP socket.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <asio/io_context.hpp>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <optional>

#include "backends/linux/bluetooth_transport.h"
#include "tests/platform/softbus/session_suite.h"
#include "tests/support/log_capture.h"

namespace {

constexpr size_t UNIT = 600;
constexpr size_t CHALLENGE_BYTES = 16;
std::atomic<int> sends{0};

}  // namespace

// Replaces the function send() of the C library in the whole test program.
extern "C" ssize_t send(int fd, const void* bytes, size_t length, int flags)
{
    int domain = 0;
    socklen_t size = sizeof domain;
    static_cast<void>(::getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size));
    if (domain == AF_UNIX) {
        if (length > UNIT) {
            errno = EMSGSIZE;
            return -1;
        }
        // Every third write sends only half of its bytes. The challenge, the first message on a connection, is always
        // sent whole, because the server closes a connection on which the challenge does not fit into one write.
        length = ++sends % 3 == 0 && length > CHALLENGE_BYTES ? length / 2 : length;
    }
    return ::sendto(fd, bytes, length, flags, nullptr, 0);
}

namespace Vexo::Linux {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr const char* SOMEBODY = "02:11:22:33:44:55/random/129";
constexpr const char* DEVICE_OF_SOMEBODY = "02:11:22:33:44:55/random";

class FakeSockets final : public L2capSockets {
public:
    int openError = 0;
    int connectError = 0;  // the error that Connect() returns
    int lateError = 0;     // the error that SendUnit() returns when a pending connect completes
    int connects = 0;
    bool isSilent = false;  // whether a connect stays pending until Answer()
    std::deque<int> acceptErrors;

    int Open(const BluetoothAddress& local) override
    {
        if (openError != 0) {
            return -openError;
        }
        const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const sockaddr_un address = NameOf(local.psm);
        if (local.psm != 0 && ::bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            const int error = errno;
            ::close(made);
            return -error;
        }
        return made;
    }
    int Listen(int socket) override { return ::listen(socket, SOMAXCONN); }
    int Accept(int socket, BluetoothAddress& from) override
    {
        if (!acceptErrors.empty()) {
            const int error = acceptErrors.front();
            acceptErrors.pop_front();
            return -error;
        }
        from.bytes = {2, 1, 2, 3, 4, 5};
        const int accepted = ::accept4(socket, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        return accepted < 0 ? -errno : accepted;
    }
    int Connect(int socket, const BluetoothAddress& to) override
    {
        ++connects;
        if (connectError != 0) {
            return -connectError;
        }
        if (isSilent) {
            BecomeFull(socket);
            return -EINPROGRESS;
        }
        const sockaddr_un address = NameOf(to.psm);
        return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ? -errno : 0;
    }
    int SendUnit(int) override { return lateError != 0 ? -lateError : int{UNIT}; }

    // Lets the pending connect of Connect() succeed.
    void Answer()
    {
        std::array<char, 65536> bytes{};
        while (::recv(farEnd_.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
        }
    }

private:
    static sockaddr_un NameOf(uint16_t psm)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(&address.sun_path[1], sizeof address.sun_path - 1, "distnet-l2cap-%d-%d", ::getpid(), int{psm});
        return address;
    }
    // Replaces the socket with another one whose send buffer is full, so that the socket is not writable.
    void BecomeFull(int socket)
    {
        std::array<int, 2> pair{};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair.data()), 0);
        ::dup2(pair[0], socket);
        ::close(pair[0]);
        farEnd_.Reset(pair[1]);
        while (::sendto(socket, "x", 1, 0, nullptr, 0) > 0) {
        }
    }

    UniqueFd farEnd_;
};

class BluetoothTransportTest : public testing::Test {
protected:
    std::shared_ptr<BluetoothTransport> Make(std::shared_ptr<BluetoothShared> with)
    {
        return std::make_shared<BluetoothTransport>(reactor, std::move(with), sockets);
    }
    // Connects and returns the result, such as "connected, 600 bytes", or an error message. begun: a function to call
    // while the connect is in progress.
    std::string Connect(
        const std::string& address, const std::function<void()>& begun = [] {})
    {
        std::string end;
        const auto attempt = transport->Connect(address, milliseconds(200), [&](Result<SoftBus::Stream> stream) {
            end = stream ? "connected, " + std::to_string(stream->maxWriteBytes) + " bytes" : stream.error().message;
        });
        EXPECT_EQ(end, "") << "never inside the call";
        begun();
        RunUntil([&] { return !end.empty(); });
        return end;
    }
    void RunUntil(const std::function<bool()>& done)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done() && std::chrono::steady_clock::now() < limit) {
            reactor.restart();
            reactor.run_one_for(milliseconds(50));
        }
        EXPECT_TRUE(done());
    }

    asio::io_context reactor;
    FakeSockets sockets;
    std::shared_ptr<BluetoothShared> shared = std::make_shared<BluetoothShared>();
    std::shared_ptr<BluetoothTransport> transport = Make(shared);
};

TEST_F(BluetoothTransportTest, ListensOnFirstFreePsmOrReportsWhyNot)
{
    const auto other = std::make_shared<BluetoothShared>();
    const auto first = Make(other);
    const auto ignore = [](SoftBus::Stream, const std::string&) {};
    EXPECT_EQ(first->Listen(ignore).value_or("failed"), "");
    EXPECT_EQ(transport->Listen(ignore).value_or("failed"), "");
    EXPECT_EQ(other->Psm(), 128);
    EXPECT_EQ(shared->Psm(), 129);

    sockets.openError = EAFNOSUPPORT;
    const auto without = std::make_shared<BluetoothShared>();
    EXPECT_EQ(Make(without)->Listen(ignore).error().message, "the kernel has no Bluetooth");
    EXPECT_EQ(without->State().presence.reason, "the kernel has no Bluetooth");
    EXPECT_EQ(without->Psm(), 0);
}

TEST_F(BluetoothTransportTest, ChecksAddresses)
{
    for (const char* good : {"AA:BB:CC:DD:EE:0f/public/128", SOMEBODY, "00:00:00:00:00:00/random/255"}) {
        EXPECT_TRUE(transport->CheckAddress(good)) << good;
        EXPECT_EQ(transport->SourceOf(good), std::string(good).substr(0, 17));
    }
    const struct {
        const char* address;
        const char* expected;
    } cases[] = {
        {"", "is not of the form"},
        {"192.0.2.7:40117", "is not of the form"},
        {"02:11:22:33:44:55/random", "is not of the form"},
        {"02:11:22:33:44/random/128", "six bytes"},
        {"02:11:22:33:44:5g/random/128", "six bytes"},
        {"02-11-22-33-44-55/random/128", "six bytes"},
        {"02:11:22:33:44:55:/random/128", "six bytes"},
        {"02:11:22:33:44:55/static/128", "public and random"},
        {"02:11:22:33:44:55/random/127", "128 to 255"},
        {"02:11:22:33:44:55/random/256", "128 to 255"},
        {"02:11:22:33:44:55/random/65664", "128 to 255"},
        {"02:11:22:33:44:55/random/128/", "128 to 255"},
    };
    for (const auto& c : cases) {
        const Result<void> checked = transport->CheckAddress(c.address);
        ASSERT_FALSE(checked) << c.address;
        EXPECT_THAT(checked.error().message, HasSubstr(c.expected));
    }
}

TEST_F(BluetoothTransportTest, EachConnectEndsByAnswerRefusalOrTimeLimit)
{
    EXPECT_THAT(Connect(SOMEBODY), HasSubstr("Connection refused")) << "nobody listens";
    EXPECT_THAT(Connect("nowhere"), HasSubstr("is not of the form"));
    sockets.connectError = EHOSTDOWN;
    EXPECT_THAT(Connect(SOMEBODY), HasSubstr("Host is down"));
    sockets.connectError = 0;
    sockets.isSilent = true;
    EXPECT_THAT(Connect(SOMEBODY), HasSubstr("does not answer"));
    EXPECT_EQ(Connect(SOMEBODY, [&] { sockets.Answer(); }), "connected, 600 bytes");
    sockets.lateError = ECONNREFUSED;
    EXPECT_THAT(Connect(SOMEBODY, [&] { sockets.Answer(); }), HasSubstr("Connection refused"));
    sockets.openError = EAFNOSUPPORT;
    EXPECT_THAT(Connect(SOMEBODY), HasSubstr("not supported"));

    sockets.openError = 0;
    const auto attempt = transport->Connect(SOMEBODY, milliseconds(1),
                                            [](const Result<SoftBus::Stream>&) { FAIL() << "it was stopped"; });
    transport->Stop();
    reactor.restart();
    reactor.run_for(milliseconds(50));
}

TEST_F(BluetoothTransportTest, AttemptAndItsStreamCountAsOneUseOfDevice)
{
    sockets.isSilent = true;
    std::optional<SoftBus::Stream> stream;
    const auto connect = [&] {
        return transport->Connect("02:11:22:33:44:55/random/200", milliseconds(200), [&](Result<SoftBus::Stream> made) {
            ASSERT_TRUE(made);
            stream = std::move(*made);
        });
    };
    auto cancelled = connect();
    EXPECT_TRUE(shared->IsUsed(DEVICE_OF_SOMEBODY));
    cancelled.reset();
    EXPECT_FALSE(shared->IsUsed(DEVICE_OF_SOMEBODY));
    EXPECT_THAT(shared->TakeUnused(), testing::ElementsAre(DEVICE_OF_SOMEBODY));

    const auto attempt = connect();
    sockets.connectError = EHOSTDOWN;  // The second connection, which is opened for the next session, fails.
    sockets.Answer();
    RunUntil([&] { return stream.has_value(); });
    EXPECT_TRUE(shared->IsUsed(DEVICE_OF_SOMEBODY));
    EXPECT_THAT(shared->TakeUnused(), testing::IsEmpty());
    stream.reset();
    RunUntil([&] { return !shared->IsUsed(DEVICE_OF_SOMEBODY); });
    sockets.connectError = 0;
    EXPECT_THAT(Connect(SOMEBODY), HasSubstr("does not answer"));
    EXPECT_FALSE(shared->IsUsed(DEVICE_OF_SOMEBODY));
}

TEST_F(BluetoothTransportTest, SecondChannelReplacesSilentFirstOne)
{
    ASSERT_TRUE(transport->Listen([](const SoftBus::Stream&, const std::string&) {}));
    sockets.isSilent = true;
    std::string end;
    const auto attempt = transport->Connect(
        "02:11:22:33:44:55/random/" + std::to_string(shared->Psm()), std::chrono::seconds(5),
        [&](const Result<SoftBus::Stream>& stream) { end = stream ? "connected" : stream.error().message; });
    sockets.isSilent = false;
    RunUntil([&] { return !end.empty(); });
    EXPECT_EQ(end, "connected");
}

TEST_F(BluetoothTransportTest, AcceptContinuesAfterErrors)
{
    std::string from;
    ASSERT_TRUE(transport->Listen([&](const SoftBus::Stream& stream, const std::string& address) {
        from = address;
        EXPECT_EQ(stream.maxWriteBytes, UNIT);
    }));
    sockets.acceptErrors = {ECONNABORTED, EMFILE, EINTR};
    EXPECT_EQ(Connect("02:11:22:33:44:55/random/" + std::to_string(shared->Psm())), "connected, 600 bytes");
    RunUntil([&] { return !from.empty(); });
    EXPECT_TRUE(sockets.acceptErrors.empty());
    EXPECT_EQ(transport->SourceOf(from), "02:01:02:03:04:05");
}

TEST_F(BluetoothTransportTest, OpensSpareChannelsForNextSessions)
{
    std::vector<SoftBus::Stream> accepted;
    ASSERT_TRUE(
        transport->Listen([&](SoftBus::Stream stream, const std::string&) { accepted.push_back(std::move(stream)); }));
    const std::string self = "02:11:22:33:44:55/random/" + std::to_string(shared->Psm());
    EXPECT_EQ(Connect(self), "connected, 600 bytes");
    RunUntil([&] { return accepted.size() == 3; });
    reactor.restart();
    reactor.run_for(milliseconds(50));  // completes the two connections that were opened in advance
    EXPECT_EQ(Connect(self), "connected, 600 bytes");
    EXPECT_EQ(Connect(self), "connected, 600 bytes");
    EXPECT_EQ(sockets.connects, 3) << "these were the spare ones";

    EXPECT_EQ(Connect(self), "connected, 600 bytes");
    RunUntil([&] { return accepted.size() == 6; });
    reactor.restart();
    reactor.run_for(milliseconds(50));
    accepted.clear();
    EXPECT_EQ(Connect(self), "connected, 600 bytes");
    EXPECT_EQ(sockets.connects, 7) << "the peer had closed the spare ones";
}

class BluetoothWorld final : public SoftBus::Tests::SessionWorld {
public:
    BluetoothWorld() : SessionWorld(LINK_TYPE_BR, 1) {}
    SoftBus::SoftBusOptions OptionsOf(Side side, const Trust::Identity& peer) override
    {
        return Over(
            [this, side](auto& reactor) {
                return std::make_shared<BluetoothTransport>(reactor, shared.at(side), sockets_.at(side));
            },
            "bluetooth", peer,
            [far = shared.at(1 - side)] {
                return std::vector{DEVICE_OF_SOMEBODY + ("/" + std::to_string(far->Psm()))};
            });
    }

    const std::array<std::shared_ptr<BluetoothShared>, 2> shared{std::make_shared<BluetoothShared>(),
                                                                 std::make_shared<BluetoothShared>()};

private:
    std::array<FakeSockets, 2> sockets_;
};

using SoftBus::Tests::SessionSuite;
INSTANTIATE_TEST_SUITE_P(Bluetooth, SessionSuite, testing::Values([] { return std::make_unique<BluetoothWorld>(); }));

class BluetoothSession : public SoftBus::Tests::PairTest {
protected:
    BluetoothSession() : PairTest(std::make_unique<BluetoothWorld>()) {}
};

TEST_F(BluetoothSession, SendsBytesInPiecesThatKernelAccepts)
{
    using SoftBus::Tests::Eventually;
    const auto& shared = dynamic_cast<const BluetoothWorld&>(*world).shared;
    const int id = OpenPair().first;
    std::string bytes;
    for (int i = 0; i < 100'000; ++i) {
        bytes += static_cast<char>(i % 251);
    }
    const int before = sends;
    ASSERT_EQ(laptop->SendBytes(id, bytes.data(), static_cast<unsigned>(bytes.size())), 0);
    EXPECT_EQ(atPhone.WaitFor(SoftBus::Tests::Kind::BYTES).bytes, bytes);
    EXPECT_GE(sends - before, static_cast<int>(bytes.size() / UNIT)) << "over the sockets of this test";
    EXPECT_TRUE(shared[0]->IsUsed(DEVICE_OF_SOMEBODY)) << "until the session closes";
    EXPECT_TRUE(shared[1]->IsUsed("02:01:02:03:04:05/public"));
    laptop->CloseSession(id);
    EXPECT_TRUE(Eventually([&] { return !shared[0]->IsUsed(DEVICE_OF_SOMEBODY); }));
    EXPECT_TRUE(Eventually([&] { return !shared[1]->IsUsed("02:01:02:03:04:05/public"); }));
}

TEST(BluetoothAdmission, StrangersHaveFourPlacesSeparateFromTcp)
{
    Trust::Tests::Devices account;
    const Trust::Identity laptopIdentity = account.Enrol("laptop");
    FakeSockets sockets;
    const auto shared = std::make_shared<BluetoothShared>();
    SoftBus::SoftBusOptions options;
    options.moreTransports = {
        [&](asio::io_context& reactor) { return std::make_shared<BluetoothTransport>(reactor, shared, sockets); }};
    const auto phone = SoftBus::Tests::StartBus(account.Enrol("phone"), "phone", {}, options);
    const auto connect = [&] {
        UniqueFd made(sockets.Open({}));
        EXPECT_EQ(sockets.Connect(made.Get(), {.psm = shared->Psm()}), 0);
        return made;
    };
    const auto bytesOf = [](const UniqueFd& socket) {
        pollfd readable{socket.Get(), POLLIN, 0};
        ::poll(&readable, 1, 5000);
        std::array<char, 64> bytes{};
        return ::recv(socket.Get(), bytes.data(), bytes.size(), 0);
    };
    const auto connectByTcp = [&] {
        auto made = std::make_unique<SoftBus::Tests::Bare>(phone->ListenAddress(), laptopIdentity);
        EXPECT_EQ(made->ReadChallenge().size(), CHALLENGE_BYTES);
        return made;
    };
    const Vexo::Tests::LogCapture log;
    const std::array byTcp{connectByTcp(), connectByTcp(), connectByTcp()};
    const std::array strangers{connect(), connect(), connect(), connect(), connect()};
    for (const UniqueFd& stranger : strangers) {
        EXPECT_EQ(bytesOf(stranger), CHALLENGE_BYTES);
    }
    EXPECT_EQ(bytesOf(strangers[0]), 0);
    EXPECT_EQ(log.Count("02:01:02:03:04:05 was refused: too many connections"), 1U);
    connectByTcp();
    phone->Stop();
}

}  // namespace
}  // namespace Vexo::Linux
