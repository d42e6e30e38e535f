// Compares the time of a local request with the minimum, which is a bare blocking ping-pong over SOCK_SEQPACKET. The
// server and the client are two processes on one CPU, because waking an idle virtual CPU would take most of the
// measured time. The measurements alternate, so that a change of the machine's load affects all of them.
//   ipc_bench [REQUESTS]     prints the median and the 99th percentile in microseconds, and the ratio to the minimum
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "distributed/services/utils/ffrt_utils.h"
#include "platform/ability/system_ability_manager.h"
#include "platform/access/policy.h"
#include "platform/base/unique_fd.h"
#include "platform/ipc/ipc_client.h"
#include "platform/ipc/ipc_server.h"
#include "platform/ipc/iremote_object.h"
#include "platform/ipc/unix_socket.h"
#include "platform/ipc/wire.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace Vexo;

constexpr size_t REQUEST_SIZE = 100;
constexpr size_t REPLY_SIZE = 16;
constexpr int ROUNDS = 10;
constexpr int IDLE_CLIENTS = 1000;

constexpr uint32_t EMPTY_ABILITY = 1;    // returns at once
constexpr uint32_t CHECKED_ABILITY = 2;  // is in the registry; checks the permissions of its caller as the service does
constexpr uint32_t TASK_ABILITY = 3;     // also runs its work on the task runtime, after the same checks

class EmptyStub : public IPCObjectStub {
public:
    int OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&) override { return IPC_OK; }
};

class CheckedStub : public IPCObjectStub {
public:
    int OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&) override
    {
        using namespace Security;
        const AccessTokenID token = IPCSkeleton::GetCallingTokenID();
        HapTokenInfo info;
        const bool granted = TokenIdKit::IsSystemAppByFullTokenID(IPCSkeleton::GetCallingFullTokenID()) &&
                             AccessTokenKit::GetTokenTypeFlag(token) == TOKEN_HAP &&
                             AccessTokenKit::GetHapTokenInfo(token, info) == ACCESS_TOKEN_OK &&
                             info.apl >= APL_SYSTEM_BASIC &&
                             AccessTokenKit::VerifyAccessToken(token, CONNECTIVITY_INTERNAL_PERMISSION) == 0;
        return granted ? IPC_OK : IPC_UNKNOWN_REQUEST;
    }
};

class TaskStub : public CheckedStub {
public:
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override
    {
        const int status = CheckedStub::OnRemoteRequest(code, data, reply, option);
        int result = IPC_UNKNOWN_REQUEST;
        NetManagerStandard::FFRTUtils::SubmitTaskSync([&] { result = status; });
        return result;
    }
};

void LetThisUserIn()
{
    Security::AccessPolicy policy;
    policy.entries.push_back({.user = std::to_string(::getuid()),
                              .group = {},
                              .tokenType = Security::TOKEN_HAP,
                              .privilegeLevel = Security::APL_SYSTEM_BASIC,
                              .systemApp = true,
                              .permissions = {Security::CONNECTIVITY_INTERNAL_PERMISSION}});
    Security::InstallAccessPolicy(std::move(policy));
}

void Check(bool good, const char* what)
{
    if (!good) {
        std::perror(what);
        std::exit(1);
    }
}

void PinToOneCpu()
{
    cpu_set_t allowed;
    Check(::sched_getaffinity(0, sizeof(allowed), &allowed) == 0, "sched_getaffinity");
    cpu_set_t one;
    CPU_ZERO(&one);
    for (int cpu = CPU_SETSIZE - 1; cpu >= 0; --cpu) {
        if (CPU_ISSET(cpu, &allowed)) {
            CPU_SET(cpu, &one);
            break;
        }
    }
    Check(::sched_setaffinity(0, sizeof(one), &one) == 0, "sched_setaffinity");
}

// Raises the limit of open file descriptors. Each idle client needs one descriptor in this process and one in the
// server process, which inherits the limit.
void RaiseDescriptorLimit()
{
    rlimit limit{};
    Check(::getrlimit(RLIMIT_NOFILE, &limit) == 0, "getrlimit");
    limit.rlim_cur = limit.rlim_max;
    Check(::setrlimit(RLIMIT_NOFILE, &limit) == 0, "setrlimit");
}

pid_t RunChild(const std::function<void()>& body)
{
    const pid_t child = ::fork();
    Check(child >= 0, "fork");
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        ::_exit(0);
    }
    return child;
}

pid_t StartEcho(int socket)
{
    return RunChild([socket] {
        std::array<uint8_t, REQUEST_SIZE> buffer{};
        while (::recv(socket, buffer.data(), buffer.size(), 0) > 0) {
            ::send(socket, buffer.data(), REPLY_SIZE, MSG_NOSIGNAL);
        }
    });
}

pid_t StartServer(const std::string& path)
{
    return RunChild([&path] {
        LetThisUserIn();
        const auto stub = MakeSptr<EmptyStub>();
        const auto manager = MakeSptr<SystemAbilityManager>();
        manager->AddSystemAbility(CHECKED_ABILITY, MakeSptr<CheckedStub>());
        manager->AddSystemAbility(TASK_ABILITY, MakeSptr<TaskStub>());
        auto server =
            Ipc::IpcServer::Start(Ipc::IpcServerOptions{.socketPath = path}, Security::IdentifyCaller,
                                  [&](const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply) {
                                      if (request.abilityId != EMPTY_ABILITY) {
                                          return manager->Dispatch(request, data, reply);
                                      }
                                      MessageOption option;
                                      return int32_t{stub->OnRemoteRequest(request.code, data, reply, option)};
                                  });
        Check(server.has_value(), "server");
        ::pause();
    });
}

UniqueFd ConnectTo(const std::string& path)
{
    for (int attempt = 0; attempt < 1000; ++attempt) {
        auto socket = Ipc::ConnectTo(path, std::chrono::seconds(1));
        if (socket) {
            return std::move(socket.value());
        }
        ::usleep(1000);
    }
    Check(false, "connect");
    return UniqueFd();
}

struct Series {
    const char* name;
    std::function<void()> once;
    std::vector<double> microseconds;
    double median = 0;
    double p99 = 0;
};

void Measure(Series& series, int count)
{
    for (int i = 0; i < count / 10; ++i) {
        series.once();
    }
    for (int i = 0; i < count; ++i) {
        const Clock::time_point start = Clock::now();
        series.once();
        series.microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
}

void Summarise(Series& series)
{
    std::sort(series.microseconds.begin(), series.microseconds.end());
    series.median = series.microseconds[series.microseconds.size() / 2];
    series.p99 = series.microseconds[series.microseconds.size() * 99 / 100];
}

// Sends a request and receives the reply as bytes. Does not use the client classes.
void PingPong(int socket, const std::array<uint8_t, REQUEST_SIZE>& request)
{
    std::array<uint8_t, REQUEST_SIZE> reply{};
    Check(::send(socket, request.data(), request.size(), MSG_NOSIGNAL) == ssize_t{REQUEST_SIZE}, "send");
    Check(::recv(socket, reply.data(), reply.size(), 0) == ssize_t{REPLY_SIZE}, "recv");
    const bool refused = std::any_of(reply.begin() + 12, reply.begin() + 16, [](uint8_t byte) { return byte != 0; });
    Check(!refused, "status of the reply");
}

}  // namespace

int main(int count, char** arguments)
{
    const int requests = count > 1 ? std::atoi(arguments[1]) : 200'000;
    Check(requests >= ROUNDS * 100, "ipc_bench [REQUESTS], at least 1000");
    PinToOneCpu();
    RaiseDescriptorLimit();
    std::string folder = std::filesystem::temp_directory_path() / "ipc_bench_XXXXXX";
    Check(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
    const std::string path = folder + "/ipc.sock";

    int pair[2];
    Check(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) == 0, "socketpair");
    const UniqueFd bareSocket(pair[0]);
    const UniqueFd echoSocket(pair[1]);
    const pid_t echo = StartEcho(pair[1]);
    const pid_t server = StartServer(path);
    const UniqueFd raw = ConnectTo(path);
    auto connection = Ipc::IpcConnection::Connect(path);
    Check(connection.has_value(), "connect");

    const std::array<uint8_t, REQUEST_SIZE> bareRequest{};
    std::array<uint8_t, REQUEST_SIZE> request{};
    std::array<uint8_t, REQUEST_SIZE> checkedRequest{};
    Ipc::EncodeHeader(Ipc::IpcHeader{0, EMPTY_ABILITY, 1}, request.data());
    std::array<uint8_t, REQUEST_SIZE> taskRequest{};
    Ipc::EncodeHeader(Ipc::IpcHeader{0, CHECKED_ABILITY, 1}, checkedRequest.data());
    Ipc::EncodeHeader(Ipc::IpcHeader{0, TASK_ABILITY, 1}, taskRequest.data());
    MessageParcel data;
    MessageParcel reply;
    data.ParseFrom(request.data() + Ipc::IPC_HEADER_SIZE, REQUEST_SIZE - Ipc::IPC_HEADER_SIZE);

    std::vector<UniqueFd> idle;
    std::vector<Series> series;
    series.push_back({"bare ping-pong", [&] { PingPong(bareSocket.Get(), bareRequest); }, {}});
    series.push_back({"server, raw client", [&] { PingPong(raw.Get(), request); }, {}});
    series.push_back({"server, IpcConnection",
                      [&] {
                          Check(connection.value()->Transact(EMPTY_ABILITY, 1, data, reply, std::chrono::seconds(5)) ==
                                    IPC_OK,
                                "transact");
                      },
                      {}});
    series.push_back({"server, registry, permission", [&] { PingPong(raw.Get(), checkedRequest); }, {}});
    series.push_back({"…, on the task runtime", [&] { PingPong(raw.Get(), taskRequest); }, {}});
    for (int round = 0; round < ROUNDS; ++round) {
        for (Series& one : series) {
            Measure(one, requests / ROUNDS);
        }
    }
    for (int i = 0; i < IDLE_CLIENTS; ++i) {
        idle.push_back(ConnectTo(path));
    }
    series.push_back({"server, 1000 more clients idle", [&] { PingPong(raw.Get(), request); }, {}});
    Measure(series.back(), requests);

    std::printf("%d requests of 100 B, replies of 16 B, pinned to one CPU\n", requests);
    for (Series& one : series) {
        Summarise(one);
        std::printf("%-30s median %6.2f us   p99 %6.2f us   ratio %.2f\n", one.name, one.median, one.p99,
                    one.median / series.front().median);
    }
    ::kill(server, SIGKILL);
    ::kill(echo, SIGKILL);
    ::waitpid(server, nullptr, 0);
    ::waitpid(echo, nullptr, 0);
    std::filesystem::remove_all(folder);
    return 0;
}
