// Compares the cost of a session with the minimum for TLS. The minimum is a bare OpenSSL pair that connects, makes a
// handshake and exchanges one byte. Everything runs in one process on one CPU, because waking an idle virtual CPU would
// take most of the measured time.
//   softbus_bench [ROUNDS]    prints medians of opening a session and of echoing 3 bytes, and the memory of a session
// Also prints the cost of refusing a stranger, which is a client that does not belong to the account. It connects,
// sends a wrong proof of membership and is disconnected. The opened callback runs on both devices. On the device that
// calls OpenSession it never runs within 1 ms, so the callback on the peer is measured too.
#include <malloc.h>
#include <sched.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/softbus/link/socket_bio.h"
#include "platform/softbus/softbus_server.h"
#include "platform/trust/account.h"
#include "platform/trust/tls_context.h"

namespace {

using namespace Vexo;
using SoftBus::SoftBusServer;
using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr char PKG[] = "bench";
constexpr char NAME[] = "bench.session";
constexpr int MEMORY_SESSIONS = 400;
constexpr int ECHOES_PER_ROUND = 20;

void Check(bool good, const char* what)
{
    if (!good) {
        std::fprintf(stderr, "softbus_bench: %s failed\n", what);
        std::exit(1);
    }
}

template <typename T>
T Take(Result<T> result)
{
    if (!result) {
        std::fprintf(stderr, "softbus_bench: %s\n", result.error().message.c_str());
        std::exit(1);
    }
    return std::move(result.value());
}

void PinToOneCpu()
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<size_t>(::sched_getcpu()), &one);
    Check(::sched_setaffinity(0, sizeof(one), &one) == 0, "sched_setaffinity");
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The elapsed time and the processor time of this process, in microseconds.
struct Cost {
    double wall;
    double cpu;
};

class Stopwatch {
public:
    explicit Stopwatch(clockid_t cpuClock = CLOCK_PROCESS_CPUTIME_ID) : cpuClock_(cpuClock) {}

    Cost Elapsed(Clock::time_point end = Clock::now()) const
    {
        return {Microseconds(end - wall_).count(), CpuMicroseconds() - cpu_};
    }

private:
    double CpuMicroseconds() const
    {
        timespec now{};
        Check(::clock_gettime(cpuClock_, &now) == 0, "clock_gettime");
        return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
    }

    const clockid_t cpuClock_;
    const Clock::time_point wall_ = Clock::now();
    const double cpu_ = CpuMicroseconds();
};

class Costs {
public:
    void Add(Cost cost)
    {
        wall_.push_back(cost.wall);
        cpu_.push_back(cost.cpu);
    }
    Cost Medians() const { return {Median(wall_), Median(cpu_)}; }

private:
    std::vector<double> wall_;
    std::vector<double> cpu_;
};

// A counter that callbacks increment. The measuring thread waits until the counter reaches a value.
class Signal {
public:
    void Raise(int id)
    {
        const std::lock_guard lock(mutex_);
        lastId_ = id;
        when_ = Clock::now();
        ++count_;
        changed_.notify_one();
    }
    Clock::time_point WaitFor(size_t count)
    {
        std::unique_lock lock(mutex_);
        Check(changed_.wait_for(lock, std::chrono::seconds(20), [&] { return count_ >= count; }), "waiting");
        return when_;
    }
    size_t Count()
    {
        const std::lock_guard lock(mutex_);
        return count_;
    }
    int LastId()
    {
        const std::lock_guard lock(mutex_);
        return lastId_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Clock::time_point when_;
    size_t count_ = 0;
    int lastId_ = 0;
};

struct Side {
    std::filesystem::path folder;
    Trust::Identity identity;
    std::shared_ptr<Trust::TlsContext> tls;
};

Cost Each(Cost all, int count)
{
    return {all.wall / count, all.cpu / count};
}

// Measures the minimum that the soft bus is compared with: TLS on blocking sockets, with one thread for each side.
class BarePair {
public:
    BarePair(Side& client, Side& server)
        : client_(client), server_(server), acceptor_(context_, {asio::ip::tcp::v4(), 0})
    {
        thread_ = std::thread([this] { Serve(); });
    }
    ~BarePair()
    {
        ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
        thread_.join();
    }

    Cost Open(bool resume) { return Run(resume, 0).first; }
    Cost Echo() { return Run(true, ECHOES_PER_ROUND).second; }

private:
    // Returns the cost of opening a connection and the cost of one echo. resume: whether to resume an earlier TLS
    // session.
    std::pair<Cost, Cost> Run(bool resume, int echoes)
    {
        const Stopwatch opening;
        asio::ip::tcp::socket socket(context_);
        socket.connect({asio::ip::address_v4::loopback(), acceptor_.local_endpoint().port()});
        socket.set_option(asio::ip::tcp::no_delay(true));
        const auto ssl = client_.tls->NewClient(resume ? server_.identity.networkId : std::string());
        SoftBus::AttachSocket(ssl.get(), socket.native_handle(), std::string());
        Check(SSL_connect(ssl.get()) == 1 && client_.tls->VerifiedPeer(ssl.get()).has_value(), "bare connect");
        char bytes[3] = {};
        Check(SSL_read(ssl.get(), bytes, 1) == 1, "bare read");
        const Cost opened = opening.Elapsed();
        Check(SSL_session_reused(ssl.get()) == (resume ? 1 : 0), "resuming as asked");
        const Stopwatch echoing;
        for (int i = 0; i < echoes; ++i) {
            Check(SSL_write(ssl.get(), bytes, 3) == 3 && SSL_read(ssl.get(), bytes, 3) == 3, "bare echo");
        }
        const Cost echo = Each(echoing.Elapsed(), std::max(echoes, 1));
        SSL_shutdown(ssl.get());
        return {opened, echo};
    }

    void Serve()
    {
        while (true) {
            asio::ip::tcp::socket socket(context_);
            asio::error_code error;
            acceptor_.accept(socket, error);
            if (error) {
                return;
            }
            socket.set_option(asio::ip::tcp::no_delay(true));
            const auto ssl = server_.tls->NewServer();
            SoftBus::AttachSocket(ssl.get(), socket.native_handle(), std::string());
            Check(SSL_accept(ssl.get()) == 1 && server_.tls->VerifiedPeer(ssl.get()).has_value(), "bare accept");
            char bytes[3] = {};
            SSL_write(ssl.get(), bytes, 1);
            while (SSL_read(ssl.get(), bytes, 3) == 3) {
                SSL_write(ssl.get(), bytes, 3);
            }
        }
    }

    Side& client_;
    Side& server_;
    asio::io_context context_;
    asio::ip::tcp::acceptor acceptor_;
    std::thread thread_;
};

sptr<SoftBusServer> g_phone;
Signal g_laptopOpened;
Signal g_phoneOpened;
Signal g_laptopBytes;

ISessionListener LaptopListener()
{
    ISessionListener listener{};
    listener.OnSessionOpened = [](int id, int result) {
        Check(result == 0, "opening a session");
        g_laptopOpened.Raise(id);
        return 0;
    };
    listener.OnBytesReceived = [](int id, const void*, unsigned int) { g_laptopBytes.Raise(id); };
    return listener;
}

ISessionListener PhoneListener()
{
    ISessionListener listener{};
    listener.OnSessionOpened = [](int id, int) {
        g_phoneOpened.Raise(id);
        return 0;
    };
    listener.OnBytesReceived = [](int id, const void* data, unsigned int length) {
        g_phone->SendBytes(id, data, length);
    };
    return listener;
}

class SessionPair {
public:
    SessionPair(const Side& laptop, const Side& phone) : phoneId_(phone.identity.networkId)
    {
        SoftBus::SoftBusOptions options;
        options.deviceName = "phone";
        options.peerShare = options.maxSessions;  // the default would allow too few sessions for this benchmark
        options.identityFolder = phone.folder;
        g_phone = Take(SoftBusServer::Start(phone.identity, options));
        options.deviceName = "laptop";
        options.peerAddresses = {g_phone->ListenAddress()};
        options.identityFolder = laptop.folder;
        laptop_ = Take(SoftBusServer::Start(laptop.identity, options));
        laptop_->CreateSessionServer(PKG, NAME, LaptopListener());
        g_phone->CreateSessionServer(PKG, NAME, PhoneListener());
        WaitUntil([this] { return laptop_->Nodes().size() == 1 && g_phone->Nodes().size() == 1; });
    }
    ~SessionPair()
    {
        laptop_->Stop();
        g_phone->Stop();
        g_phone = nullptr;
    }

    struct Times {
        Cost peersCallback;  // its processor time includes both callbacks
        Cost ownCallback;
        Cost echo;
    };
    Times OpenAndEcho()
    {
        const size_t own = g_laptopOpened.Count();
        const size_t peers = g_phoneOpened.Count();
        const Stopwatch opening;
        const int id = Start();
        Times times{};
        times.ownCallback = opening.Elapsed(g_laptopOpened.WaitFor(own + 1));
        times.peersCallback = opening.Elapsed(g_phoneOpened.WaitFor(peers + 1));
        const Stopwatch echoing;
        for (int i = 0; i < ECHOES_PER_ROUND; ++i) {
            const size_t before = g_laptopBytes.Count();
            laptop_->SendBytes(id, "abc", 3);
            g_laptopBytes.WaitFor(before + 1);
        }
        times.echo = Each(echoing.Elapsed(), ECHOES_PER_ROUND);
        laptop_->CloseSession(id);
        WaitUntil([] { return g_phone->Counts().sessions == 0; });
        return times;
    }

    // Opens several sessions at the same time and returns the cost of each. count: the number of sessions. At most one
    // of them resumes with the stored TLS ticket. The others make full handshakes.
    Cost OpenTogether(int count)
    {
        const size_t before = g_laptopOpened.Count();
        const Stopwatch opening;
        std::vector<int> ids;
        for (int i = 0; i < count; ++i) {
            ids.push_back(Start());
        }
        const Cost each = Each(opening.Elapsed(g_laptopOpened.WaitFor(before + static_cast<size_t>(count))), count);
        CloseAll(ids);
        return each;
    }

    // Returns the memory in KiB that one end of one session needs.
    double MemoryKiB()
    {
        const double before = HeldKiB();
        std::vector<int> ids;
        for (int i = 0; i < MEMORY_SESSIONS; ++i) {
            const size_t opened = g_laptopOpened.Count();
            ids.push_back(Start());
            g_laptopOpened.WaitFor(opened + 1);
        }
        const double after = HeldKiB();
        CloseAll(ids);
        return (after - before) / (2.0 * MEMORY_SESSIONS);
    }

    // Returns the cost of refusing one stranger, a client that does not belong to the account. The processor time of
    // the thread that plays the stranger is not included.
    Cost RefuseAStranger()
    {
        const asio::ip::address_v4 host = asio::ip::address_v4::loopback();
        const std::string address = g_phone->ListenAddress();
        const auto port = static_cast<uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)));
        // The stranger sends a wrong proof of membership (32 zero bytes), followed by the record header of a
        // ClientHello.
        std::string answer(32, '\0');
        answer += std::string("\x16\x03\x01\x01\x00\x01\x00\x00\xfc", 9) + std::string(252, '\0');
        constexpr int STRANGERS = 50;
        const Stopwatch all(CLOCK_PROCESS_CPUTIME_ID);
        const Stopwatch own(CLOCK_THREAD_CPUTIME_ID);
        for (int i = 0; i < STRANGERS; ++i) {
            asio::io_context context;
            asio::ip::tcp::socket socket(context);
            socket.connect({host, port});
            asio::error_code end;
            char challenge[16];
            asio::read(socket, asio::buffer(challenge), end);
            Check(!end, "reading the challenge");
            asio::write(socket, asio::buffer(answer));
            Check(asio::read(socket, asio::buffer(challenge), end) == 0, "being closed");
        }
        const Cost cost = Each(all.Elapsed(), STRANGERS);
        return {cost.wall, cost.cpu - Each(own.Elapsed(), STRANGERS).cpu};
    }

private:
    static void WaitUntil(const std::function<bool()>& condition)
    {
        while (!condition()) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

    static double HeldKiB()
    {
        std::ifstream statm("/proc/self/statm");
        double all = 0;
        double resident = 0;
        statm >> all >> resident;
        return resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024;
    }

    int Start()
    {
        SessionAttribute attribute;
        attribute.dataType = TYPE_BYTES;
        attribute.linkTypeNum = 1;
        attribute.linkType[0] = LINK_TYPE_WIFI_5G;
        const int id = laptop_->OpenSession(NAME, NAME, phoneId_, attribute);
        Check(id > 0, "OpenSession");
        return id;
    }

    void CloseAll(const std::vector<int>& ids)
    {
        for (const int id : ids) {
            laptop_->CloseSession(id);
        }
        WaitUntil([] { return g_phone->Counts().sessions == 0; });
    }

    const std::string phoneId_;
    sptr<SoftBusServer> laptop_;
};

Side MakeSide(const std::filesystem::path& folder)
{
    Side side{folder, Take(Trust::LoadIdentity(folder)), nullptr};
    side.tls = Take(Trust::TlsContext::Make(side.identity));
    return side;
}

void Row(const char* what, const Costs& costs, const Costs& least)
{
    const Cost cost = costs.Medians();
    const Cost base = least.Medians();
    std::printf("%-52s %8.1f us  x %.2f   %8.1f us  x %.2f\n", what, cost.wall, cost.wall / base.wall, cost.cpu,
                cost.cpu / base.cpu);
}

void Measure(const std::filesystem::path& folder, int rounds)
{
    Check(Trust::CreateAccount(folder / "laptop", "bench", "laptop").has_value(), "creating an account");
    const std::string request = Take(Trust::MakeRequest(folder / "phone", "phone"));
    Check(Trust::Install(folder / "phone", Take(Trust::Admit(folder / "laptop", request))).has_value(),
          "admitting a device");
    Side laptop = MakeSide(folder / "laptop");
    Side phone = MakeSide(folder / "phone");

    BarePair bare(laptop, phone);
    SessionPair sessions(laptop, phone);
    bare.Open(false);
    Costs full, resumed, bareEcho, own, peers, echo, together, stranger;
    constexpr int TOGETHER = 16;
    for (int round = 0; round < rounds; ++round) {
        full.Add(bare.Open(false));
        resumed.Add(bare.Open(true));
        bareEcho.Add(bare.Echo());
        const auto times = sessions.OpenAndEcho();
        own.Add(times.ownCallback);
        peers.Add(times.peersCallback);
        echo.Add(times.echo);
        if (round % 10 == 0) {
            together.Add(sessions.OpenTogether(TOGETHER));
            stranger.Add(sessions.RefuseAStranger());
        }
    }
    std::printf("%-52s %20s   %20s\n", "", "by the wall", "processor time");
    Row("bare pair, full handshake", full, full);
    Row("16 sessions opened at once, each", together, full);
    Row("bare pair, resumed", resumed, resumed);
    Row("OpenSession to the peer's opened callback (resumed)", peers, resumed);
    Row("OpenSession to the own opened callback (>= 1 ms)", own, resumed);
    Row("bare pair, echo of 3 B", bareEcho, bareEcho);
    Row("session, echo of 3 B", echo, bareEcho);
    Row("a stranger refused", stranger, full);
    std::printf("%-52s %9.1f KiB\n", "memory of a session, one end", sessions.MemoryKiB());
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const int rounds = argumentCount > 1 ? std::atoi(arguments[1]) : 200;
    std::string folder = (std::filesystem::temp_directory_path() / "softbus-bench.XXXXXX").string();
    Check(rounds > 0, "reading ROUNDS");
    Check(::mkdtemp(folder.data()) != nullptr, "making a temporary folder");
    ::mallopt(M_ARENA_MAX, 1);  // the daemon has the same setting
    PinToOneCpu();
    Measure(folder, rounds);
    std::filesystem::remove_all(folder);
    return 0;
}
