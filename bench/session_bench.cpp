// Compares sessions of the soft bus with a bare OpenSSL pair: blocking sockets, and one thread for each side. The
// figures are session.open, session.reopen, session.echo3, session.echo46k, session.stream and stranger (bench.h:
// arguments and output). The time of an open ends at the OnSessionOpened callback on the accepting device, because the
// soft bus delays the callback on the opening device by at least 1 ms.
#include <malloc.h>
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
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench.h"
#include "platform/softbus/link/socket_bio.h"
#include "platform/softbus/softbus_server.h"
#include "platform/trust/account.h"
#include "platform/trust/tls_context.h"

namespace {

using namespace Vexo;
using Bench::Check;
using Bench::Sample;
using SoftBus::SoftBusServer;
using Clock = std::chrono::steady_clock;

constexpr char PKG[] = "bench";
constexpr char NAME[] = "bench.session";
constexpr char SINK_NAME[] = "bench.sink";
constexpr size_t SMALL_BYTES = 3;
constexpr size_t LARGE_BYTES = 46'000;
constexpr size_t CHUNK_BYTES = 65'536;
constexpr size_t STREAM_BYTES = 64 * 1024 * 1024;
constexpr int TOGETHER = 16;
constexpr int STRANGERS = 50;

template <typename T>
T Take(Result<T> result)
{
    if (!result) {
        std::fprintf(stderr, "session_bench: %s\n", result.error().message.c_str());
        std::exit(1);
    }
    return std::move(result.value());
}

double Microseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

// Returns the processor time that the operation takes on other threads of this process, in microseconds.
double CpuOfOthers(const std::function<void()>& operation)
{
    const auto others = [] {
        timespec all{};
        timespec own{};
        Check(::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &all) == 0, "clock_gettime");
        Check(::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &own) == 0, "clock_gettime");
        return static_cast<double>(all.tv_sec - own.tv_sec) * 1e6 +
               static_cast<double>(all.tv_nsec - own.tv_nsec) / 1e3;
    };
    const double before = others();
    operation();
    return others() - before;
}

double MebibytesPerSecond(Clock::duration time)
{
    return STREAM_BYTES / 1048576.0 / std::chrono::duration<double>(time).count();
}

// A counter that callbacks increment. The measuring thread waits until the counter reaches a value.
class Signal {
public:
    void Raise()
    {
        const std::lock_guard lock(mutex_);
        when_ = Clock::now();
        ++count_;
        changed_.notify_one();
    }
    Clock::time_point WaitFor(size_t count)
    {
        std::unique_lock lock(mutex_);
        Check(changed_.wait_for(lock, std::chrono::seconds(60), [&] { return count_ >= count; }), "waiting");
        return when_;
    }
    size_t Count()
    {
        const std::lock_guard lock(mutex_);
        return count_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Clock::time_point when_;
    size_t count_ = 0;
};

struct Device {
    std::filesystem::path folder;
    Trust::Identity identity;
    std::shared_ptr<Trust::TlsContext> tls;
};

class BarePair {
public:
    BarePair(Device& client, Device& server)
        : client_(client), server_(server), acceptor_(context_, {asio::ip::tcp::v4(), 0})
    {
        thread_ = std::thread([this] { Serve(); });
    }
    ~BarePair()
    {
        ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
        thread_.join();
    }

    // Opens a connection with a full handshake and returns the time until the server's first byte, in microseconds.
    double Open()
    {
        Connection connection(context_);
        return Connect(connection, SMALL_BYTES);
    }

    Sample Echo(size_t bytes, int echoes)
    {
        Connection connection(context_);
        Connect(connection, static_cast<uint32_t>(bytes));
        std::string message(bytes, 'a');
        return Bench::TimeEach(echoes, [&] {
            WriteAll(connection.ssl.get(), message);
            ReadAll(connection.ssl.get(), message);
        });
    }

    double Stream()
    {
        Connection connection(context_);
        Connect(connection, 0);
        const std::string chunk(CHUNK_BYTES, 'a');
        const auto start = Clock::now();
        for (size_t sent = 0; sent < STREAM_BYTES; sent += CHUNK_BYTES) {
            WriteAll(connection.ssl.get(), chunk);
        }
        std::string end(1, '\0');
        ReadAll(connection.ssl.get(), end);
        return MebibytesPerSecond(Clock::now() - start);
    }

private:
    struct Connection {
        explicit Connection(asio::io_context& context) : socket(context) {}

        asio::ip::tcp::socket socket;
        Trust::SslPtr ssl;
    };

    static void WriteAll(SSL* ssl, const std::string& bytes)
    {
        for (size_t sent = 0; sent < bytes.size();) {  // SSL_write may accept a part
            const int count = SSL_write(ssl, bytes.data() + sent, static_cast<int>(bytes.size() - sent));
            Check(count > 0, "bare write");
            sent += static_cast<size_t>(count);
        }
    }
    static bool ReadSome(SSL* ssl, std::string& bytes)
    {
        for (size_t got = 0; got < bytes.size();) {
            const int count = SSL_read(ssl, bytes.data() + got, static_cast<int>(bytes.size() - got));
            if (count <= 0) {
                return false;
            }
            got += static_cast<size_t>(count);
        }
        return true;
    }
    static void ReadAll(SSL* ssl, std::string& bytes) { Check(ReadSome(ssl, bytes), "bare read"); }

    // Opens a connection like Open. echoBytes: the size of the messages that the server echoes; 0: the server reads
    // STREAM_BYTES and then returns one byte.
    double Connect(Connection& connection, uint32_t echoBytes)
    {
        const auto start = Clock::now();
        connection.socket.connect({asio::ip::address_v4::loopback(), acceptor_.local_endpoint().port()});
        connection.socket.set_option(asio::ip::tcp::no_delay(true));
        connection.ssl = client_.tls->NewClient(std::string());
        SSL* const ssl = connection.ssl.get();
        SoftBus::AttachSocket(ssl, connection.socket.native_handle(), std::string());
        Check(SSL_connect(ssl) == 1 && client_.tls->VerifiedPeer(ssl).has_value(), "bare connect");
        std::string first(1, '\0');
        ReadAll(ssl, first);
        const double took = Microseconds(Clock::now() - start);
        Check(SSL_session_reused(ssl) == 0, "a full handshake");
        WriteAll(ssl, std::string(reinterpret_cast<const char*>(&echoBytes), sizeof(echoBytes)));
        return took;
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
            WriteAll(ssl.get(), "a");
            uint32_t echoBytes = 0;
            std::string size(sizeof(echoBytes), '\0');
            ReadAll(ssl.get(), size);
            size.copy(reinterpret_cast<char*>(&echoBytes), sizeof(echoBytes));
            std::string message(echoBytes == 0 ? CHUNK_BYTES : echoBytes, '\0');
            for (size_t got = message.size(); ReadSome(ssl.get(), message); got += message.size()) {
                if (echoBytes != 0 || got == STREAM_BYTES) {
                    WriteAll(ssl.get(), echoBytes != 0 ? message : "a");
                }
            }
        }
    }

    Device& client_;
    Device& server_;
    asio::io_context context_;
    asio::ip::tcp::acceptor acceptor_;
    std::thread thread_;
};

sptr<SoftBusServer> g_phone;
Signal g_laptopOpened;
Signal g_phoneOpened;
Signal g_laptopBytes;
Signal g_sinkFull;
size_t g_sinkBytes = 0;  // used by the callbacks of one session at a time

ISessionListener LaptopListener()
{
    ISessionListener listener{};
    listener.OnSessionOpened = [](int, int result) {
        Check(result == 0, "opening a session");
        g_laptopOpened.Raise();
        return 0;
    };
    listener.OnBytesReceived = [](int, const void*, unsigned int) { g_laptopBytes.Raise(); };
    return listener;
}

ISessionListener PhoneListener()
{
    ISessionListener listener{};
    listener.OnSessionOpened = [](int, int) {
        g_phoneOpened.Raise();
        return 0;
    };
    listener.OnBytesReceived = [](int id, const void* data, unsigned int length) {
        g_phone->SendBytes(id, data, length);
    };
    return listener;
}

ISessionListener SinkListener()
{
    ISessionListener listener = PhoneListener();
    listener.OnBytesReceived = [](int, const void*, unsigned int length) {
        g_sinkBytes += length;
        if (g_sinkBytes == STREAM_BYTES) {
            g_sinkBytes = 0;
            g_sinkFull.Raise();
        }
    };
    return listener;
}

class SessionPair {
public:
    SessionPair(const Device& laptop, const Device& phone) : phoneId_(phone.identity.networkId)
    {
        SoftBus::SoftBusOptions& options = laptopOptions_;
        options.deviceName = "phone";
        options.peerShare = options.maxSessions;  // the default would allow too few sessions for this benchmark
        options.limitsMessages = false;  // measures the link, not the limit that protects the service from floods
        options.identityFolder = phone.folder;
        g_phone = Take(SoftBusServer::Start(phone.identity, options));
        g_phone->CreateSessionServer(PKG, NAME, PhoneListener());
        g_phone->CreateSessionServer(PKG, SINK_NAME, SinkListener());
        options.deviceName = "laptop";
        options.peerAddresses = {g_phone->ListenAddress()};
        options.identityFolder = laptop.folder;
        StartLaptop();
    }
    ~SessionPair()
    {
        laptop_->Stop();
        g_phone->Stop();
        g_phone = nullptr;
    }

    // Opens a session and returns the time until OnSessionOpened runs on the phone, in microseconds.
    double Reopen()
    {
        const size_t own = g_laptopOpened.Count();
        const size_t peers = g_phoneOpened.Count();
        const auto start = Clock::now();
        const int id = Open(NAME);
        const double took = Microseconds(g_phoneOpened.WaitFor(peers + 1) - start);
        g_laptopOpened.WaitFor(own + 1);
        CloseAll({id});
        return took;
    }

    // Opens TOGETHER sessions at once and returns the time for each. The laptop has just started, so at most one of
    // them has a pre-shared key: that of the greeting. The others make full handshakes.
    double OpenTogether()
    {
        laptop_->Stop();
        StartLaptop();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // until both devices have closed the greeting
        const size_t own = g_laptopOpened.Count();
        const size_t peers = g_phoneOpened.Count();
        const auto start = Clock::now();
        std::vector<int> ids;
        for (int i = 0; i < TOGETHER; ++i) {
            ids.push_back(Open(NAME));
        }
        const double took = Microseconds(g_phoneOpened.WaitFor(peers + TOGETHER) - start);
        g_laptopOpened.WaitFor(own + TOGETHER);
        CloseAll(ids);
        return took / TOGETHER;
    }

    Sample Echo(size_t bytes, int echoes)
    {
        const int id = OpenAndWait(NAME);
        const std::string message(bytes, 'a');
        const Sample sample = Bench::TimeEach(echoes, [&] {
            const size_t before = g_laptopBytes.Count();
            Check(laptop_->SendBytes(id, message.data(), static_cast<unsigned int>(bytes)) == 0, "SendBytes");
            g_laptopBytes.WaitFor(before + 1);
        });
        CloseAll({id});
        return sample;
    }

    double Stream()
    {
        const int id = OpenAndWait(SINK_NAME);
        const size_t before = g_sinkFull.Count();
        const std::string chunk(CHUNK_BYTES, 'a');
        const auto start = Clock::now();
        for (size_t sent = 0; sent < STREAM_BYTES;) {
            const int result = laptop_->SendBytes(id, chunk.data(), CHUNK_BYTES);
            Check(result == 0 || result == SOFTBUS_QUEUE_FULL, "SendBytes");
            if (result == 0) {
                sent += CHUNK_BYTES;
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(100));  // the queue of the session is full
            }
        }
        const double rate = MebibytesPerSecond(g_sinkFull.WaitFor(before + 1) - start);
        CloseAll({id});
        return rate;
    }

    // Tries to connect as a stranger, a client that does not belong to the account and sends a wrong proof.
    static void TryAsStranger()
    {
        const std::string address = g_phone->ListenAddress();
        const auto port = static_cast<uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)));
        std::string answer(32, '\0');  // the proof, followed by the record header of a ClientHello
        answer += std::string("\x16\x03\x01\x01\x00\x01\x00\x00\xfc", 9) + std::string(252, '\0');
        asio::io_context context;
        asio::ip::tcp::socket socket(context);
        socket.connect({asio::ip::address_v4::loopback(), port});
        asio::error_code end;
        char challenge[16];
        asio::read(socket, asio::buffer(challenge), end);
        Check(!end, "reading the challenge");
        asio::write(socket, asio::buffer(answer));
        Check(asio::read(socket, asio::buffer(challenge), end) == 0, "being closed");
    }

private:
    void StartLaptop()
    {
        laptop_ = Take(SoftBusServer::Start(Take(Trust::LoadIdentity(laptopOptions_.identityFolder)), laptopOptions_));
        laptop_->CreateSessionServer(PKG, NAME, LaptopListener());
        WaitUntil([this] { return laptop_->Nodes().size() == 1 && g_phone->Nodes().size() == 1; });
    }

    static void WaitUntil(const std::function<bool()>& condition)
    {
        while (!condition()) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

    int Open(const char* peerServer)
    {
        SessionAttribute attribute;
        attribute.dataType = TYPE_BYTES;
        attribute.linkTypeNum = 1;
        attribute.linkType[0] = LINK_TYPE_WIFI_5G;
        const int id = laptop_->OpenSession(NAME, peerServer, phoneId_, attribute);
        Check(id > 0, "OpenSession");
        return id;
    }

    int OpenAndWait(const char* peerServer)
    {
        const size_t own = g_laptopOpened.Count();
        const int id = Open(peerServer);
        g_laptopOpened.WaitFor(own + 1);
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
    SoftBus::SoftBusOptions laptopOptions_;
    sptr<SoftBusServer> laptop_;
};

Device MakeDevice(const std::filesystem::path& folder)
{
    Device device{folder, Take(Trust::LoadIdentity(folder)), nullptr};
    device.tls = Take(Trust::TlsContext::Make(device.identity));
    return device;
}

std::function<Sample()> Repeat(int times, std::function<double()> operation)
{
    return [times, operation = std::move(operation)] {
        std::vector<double> values;
        for (int i = 0; i < times; ++i) {
            values.push_back(operation());
        }
        std::sort(values.begin(), values.end());
        return Sample{values[values.size() / 2], values.back()};
    };
}

void MeasureAll(const Bench::Arguments& arguments, const std::filesystem::path& folder)
{
    Check(Trust::CreateAccount(folder / "laptop", "bench", "laptop").has_value(), "creating an account");
    const std::string request = Take(Trust::MakeRequest(folder / "phone", "phone"));
    Check(Trust::Install(folder / "phone", Take(Trust::Admit(folder / "laptop", request))).has_value(),
          "admitting a device");
    Device laptop = MakeDevice(folder / "laptop");
    Device phone = MakeDevice(folder / "phone");
    BarePair bare(laptop, phone);
    SessionPair sessions(laptop, phone);
    const auto compare = [&](const char* name, const char* unit, std::function<Sample()> ours,
                             std::function<Sample()> peer) {
        if (Bench::IsWanted(arguments, name)) {
            Bench::Compare(arguments, name, unit, {"soft bus", std::move(ours)}, {"OpenSSL pair", std::move(peer)});
        }
    };
    const auto fullOpen = Repeat(TOGETHER, [&] { return bare.Open(); });
    compare("session.open", "us", Repeat(3, [&] { return sessions.OpenTogether(); }), fullOpen);
    compare("session.reopen", "us", Repeat(TOGETHER, [&] { return sessions.Reopen(); }), fullOpen);
    compare(
        "session.echo3", "us", [&] { return sessions.Echo(SMALL_BYTES, 500); },
        [&] { return bare.Echo(SMALL_BYTES, 500); });
    compare(
        "session.echo46k", "us", [&] { return sessions.Echo(LARGE_BYTES, 100); },
        [&] { return bare.Echo(LARGE_BYTES, 100); });
    compare("session.stream", "MiB/s", Repeat(1, [&] { return sessions.Stream(); }),
            Repeat(1, [&] { return bare.Stream(); }));
    // The client of the OpenSSL pair has a valid certificate. The peer value is therefore the CPU time of a server that
    // verifies a client.
    compare("stranger", "us", Repeat(STRANGERS, [] { return CpuOfOthers(SessionPair::TryAsStranger); }),
            Repeat(STRANGERS, [&] { return CpuOfOthers([&] { bare.Open(); }); }));
}

}  // namespace

int main(int argc, char** argv)
{
    const Bench::Arguments arguments = Bench::Start(argc, argv);
    std::string folder = (std::filesystem::temp_directory_path() / "session-bench.XXXXXX").string();
    Check(::mkdtemp(folder.data()) != nullptr, "making a temporary folder");
    ::mallopt(M_ARENA_MAX, 1);  // the daemon has the same setting
    MeasureAll(arguments, folder);
    std::filesystem::remove_all(folder);
    return 0;
}
