#include "bench/ipc_peers.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "bench/bench.h"

namespace Vexo::Bench {
namespace {

constexpr size_t REQUEST_SIZE = 100;
constexpr size_t REPLY_SIZE = 16;
constexpr const char* NAME = "local.distnet.Bench";
constexpr const char* OBJECT = "/bench";
// 64 characters, as a network id has
constexpr const char* TEXT = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

void CheckBus(int result, const char* what)
{
    errno = result < 0 ? -result : 0;
    Check(result >= 0, what);
}

std::array<UniqueFd, 2> SocketPair(int type)
{
    int pair[2];
    Check(::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, pair) == 0, "socketpair");
    return {UniqueFd(pair[0]), UniqueFd(pair[1])};
}

int OnStop(sd_bus_message* message, void*, sd_bus_error*)
{
    int32_t first = 0;
    int32_t second = 0;
    const char* text = nullptr;
    const int read = sd_bus_message_read(message, "iis", &first, &second, &text);
    return read < 0 ? read : sd_bus_reply_method_return(message, "i", 0);
}

const sd_bus_vtable METHODS[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Stop", "iis", "i", OnStop, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

// Answers calls until the client closes the connection.
void Serve(sd_bus* bus)
{
    CheckBus(sd_bus_add_object_vtable(bus, nullptr, OBJECT, NAME, METHODS, nullptr), "sd_bus_add_object_vtable");
    for (;;) {
        const int processed = sd_bus_process(bus, nullptr);
        if (processed < 0 || (processed == 0 && sd_bus_wait(bus, UINT64_MAX) < 0)) {
            return;
        }
    }
}

sd_bus* BusOn(int socket, bool isServer)
{
    sd_bus* bus = nullptr;
    CheckBus(sd_bus_new(&bus), "sd_bus_new");
    CheckBus(sd_bus_set_fd(bus, socket, socket), "sd_bus_set_fd");
    if (isServer) {
        sd_id128_t id;
        CheckBus(sd_id128_randomize(&id), "sd_id128_randomize");
        CheckBus(sd_bus_set_server(bus, 1, id), "sd_bus_set_server");
    }
    CheckBus(sd_bus_start(bus), "sd_bus_start");
    return bus;
}

sd_bus* BusAt(const std::string& address)
{
    sd_bus* bus = nullptr;
    CheckBus(sd_bus_new(&bus), "sd_bus_new");
    CheckBus(sd_bus_set_address(bus, address.c_str()), "sd_bus_set_address");
    CheckBus(sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
    CheckBus(sd_bus_start(bus), "sd_bus_start");
    return bus;
}

}  // namespace

Child::Child(const std::function<void()>& body) : pid_(::fork())
{
    Check(pid_ >= 0, "fork");
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        ::_exit(0);
    }
}

Child::~Child()
{
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
}

RawPeer::RawPeer()
{
    auto pair = SocketPair(SOCK_SEQPACKET);
    socket_ = std::move(pair[0]);
    childSocket_ = std::move(pair[1]);
    child_ = std::make_unique<Child>([this] {
        std::array<uint8_t, REQUEST_SIZE> buffer{};
        while (::recv(childSocket_.Get(), buffer.data(), buffer.size(), 0) > 0) {
            ::send(childSocket_.Get(), buffer.data(), REPLY_SIZE, MSG_NOSIGNAL);
        }
    });
}

void RawPeer::Call() const
{
    std::array<uint8_t, REQUEST_SIZE> buffer{};
    Check(::send(socket_.Get(), buffer.data(), buffer.size(), MSG_NOSIGNAL) == ssize_t{REQUEST_SIZE}, "send");
    Check(::recv(socket_.Get(), buffer.data(), buffer.size(), 0) == ssize_t{REPLY_SIZE}, "recv");
}

SdBusPeer::SdBusPeer()
{
    auto pair = SocketPair(SOCK_STREAM);
    child_ = std::make_unique<Child>([&pair] {
        pair[0].Reset();
        Serve(BusOn(pair[1].Release(), true));
    });
    bus_ = BusOn(pair[0].Release(), false);
    Call();
}

SdBusPeer::SdBusPeer(const std::string& address) : destination_(NAME)
{
    auto pair = SocketPair(SOCK_SEQPACKET);
    child_ = std::make_unique<Child>([&] {
        sd_bus* bus = BusAt(address);
        CheckBus(sd_bus_request_name(bus, NAME, 0), "sd_bus_request_name");
        ::send(pair[1].Get(), "", 1, MSG_NOSIGNAL);
        Serve(bus);
    });
    char byte = 0;
    Check(::recv(pair[0].Get(), &byte, 1, 0) == 1, "wait until the name is owned");
    bus_ = BusAt(address);
    Call();
}

SdBusPeer::~SdBusPeer()
{
    sd_bus_unref(bus_);
}

void SdBusPeer::Call() const
{
    sd_bus_message* reply = nullptr;
    int32_t result = -1;
    CheckBus(sd_bus_call_method(bus_, destination_, OBJECT, NAME, "Stop", nullptr, &reply, "iis", 0, 0, TEXT),
             "sd_bus_call_method");
    CheckBus(sd_bus_message_read(reply, "i", &result), "sd_bus_message_read");
    sd_bus_message_unref(reply);
    Check(result == 0, "the result of the sd-bus call");
}

PrivateDBus::PrivateDBus()
{
    int output[2];
    Check(::pipe2(output, O_CLOEXEC) == 0, "pipe2");
    const UniqueFd readEnd(output[0]);
    UniqueFd writeEnd(output[1]);
    pid_ = ::fork();
    Check(pid_ >= 0, "fork");
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(writeEnd.Get(), STDOUT_FILENO);
        ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address",
                 "--address=unix:tmpdir=/tmp", nullptr);
        std::perror("dbus-daemon");
        ::_exit(1);
    }
    writeEnd.Reset();
    char byte = 0;
    while (::read(readEnd.Get(), &byte, 1) == 1 && byte != '\n') {
        address_ += byte;
    }
    Check(!address_.empty(), "start a private dbus-daemon");
}

PrivateDBus::~PrivateDBus()
{
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
}

}  // namespace Vexo::Bench
