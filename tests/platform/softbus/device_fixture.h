// Devices for soft bus tests: identities of one account made in a temporary folder, soft buses over loopback, and a
// recorder of what the callbacks of a session server say. Bare: a peer that speaks TLS and frames by hand, to do what a
// good one never would.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/softbus/frame.h"
#include "platform/softbus/softbus_server.h"
#include "platform/trust/account.h"
#include "platform/trust/tls_context.h"
#include "tests/support/temp_folder.h"

namespace Vexo::SoftBus::Tests {

inline constexpr std::chrono::seconds WAIT_LIMIT{20};
inline constexpr char PKG[] = "test.package";
inline constexpr char NAME[] = "test.session";

// Polls; for conditions that nobody signals. False after WAIT_LIMIT.
bool Eventually(const std::function<bool()>& condition);

// An account on disk; each device is admitted by the first one. A negative validity makes a certificate that has
// expired.
class Account {
public:
    Trust::Identity NewDevice(std::chrono::hours validity = Trust::DEVICE_VALIDITY);

private:
    Vexo::Tests::TempFolder folder_;
    int devices_ = 0;
};

SessionAttribute ByteSession(std::vector<int32_t> linkTypes = {LINK_TYPE_WIFI_5G, LINK_TYPE_WIFI_2G, LINK_TYPE_BR});

struct Event {
    enum class Kind { OPENED, CLOSED, BYTES };
    Kind kind;
    int id;
    int result;         // of OPENED
    std::string bytes;  // of BYTES
    std::chrono::steady_clock::time_point when;
    std::thread::id thread;
};

class Recorder {
public:
    void Add(Event event) EXCLUDES(mutex_);
    // Waits until an event fits, and returns the first that does; fails the test after WAIT_LIMIT.
    Event WaitFor(const std::function<bool(const Event&)>& fits) EXCLUDES(mutex_);
    Event WaitFor(Event::Kind kind, int id)
    {
        return WaitFor([=](const Event& event) { return event.kind == kind && event.id == id; });
    }
    Event WaitFor(Event::Kind kind)
    {
        return WaitFor([=](const Event& event) { return event.kind == kind; });
    }
    size_t Count(Event::Kind kind, int id) const EXCLUDES(mutex_);
    std::vector<Event> All() const EXCLUDES(mutex_);
    void OnEvent(std::function<void(const Event&)> hook) EXCLUDES(mutex_);
    void Clear() EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    CondVar changed_;
    std::vector<Event> events_ GUARDED_BY(mutex_);
    std::function<void(const Event&)> hook_ GUARDED_BY(mutex_);
};

// The callbacks carry no context, so each device of a test has its own functions.
template <int Slot>
struct Listener {
    static Recorder& Events()
    {
        // Never destroyed: a callback may still run when the program ends.
        static Recorder* const recorder = std::make_unique<Recorder>().release();
        return *recorder;
    }
    static ISessionListener Table()
    {
        ISessionListener table{};
        table.OnSessionOpened = [](int id, int result) {
            Events().Add({Event::Kind::OPENED, id, result, {}, {}, {}});
            return 0;
        };
        table.OnSessionClosed = [](int id) { Events().Add({Event::Kind::CLOSED, id, 0, {}, {}, {}}); };
        table.OnBytesReceived = [](int id, const void* data, unsigned int length) {
            Events().Add({Event::Kind::BYTES, id, 0, {static_cast<const char*>(data), length}, {}, {}});
        };
        return table;
    }
};

sptr<SoftBusServer> StartBus(const Trust::Identity& identity, const std::string& name,
                             std::vector<std::string> peers = {}, SoftBusOptions options = {});
bool SeesOnline(const sptr<SoftBusServer>& bus, const std::string& networkId);

// Two devices that know each other, both serving NAME.
class PairTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Opens from laptop to phone; both ids once both have their opened callback.
    std::pair<int, int> OpenPair();

    Account account;
    Trust::Identity laptopIdentity = account.NewDevice();
    Trust::Identity phoneIdentity = account.NewDevice();
    SoftBusOptions phoneOptions;
    SoftBusOptions laptopOptions;
    sptr<SoftBusServer> phone;
    sptr<SoftBusServer> laptop;
    Recorder& atLaptop = Listener<0>::Events();
    Recorder& atPhone = Listener<1>::Events();
};

// A TCP and TLS client that blocks, for what a real device would not do.
class Bare {
public:
    Bare(const std::string& address, const Trust::Identity& identity);
    ~Bare();

    bool Connected() const { return fd_ >= 0; }
    // Handshake and the proof that the peer took it: true when reading is answered by anything but an end.
    bool Handshake();
    bool Write(const std::string& bytes);
    bool WriteFrame(FrameKind kind, const std::string& payload)
    {
        return Write(EncodeHeader(kind, payload.size()) + payload);
    }
    // The next frame, PINGs included; false at the end of the connection.
    bool ReadFrame(Frame& frame);
    // Reads to the end; false when the connection is still open after limit.
    bool WaitForEnd(std::chrono::milliseconds limit = std::chrono::milliseconds(8000));
    // Ends the connection without a word of TLS, as a crash does.
    void Crash();

private:
    int fd_ = -1;
    std::shared_ptr<Trust::TlsContext> context_;
    Trust::SslPtr ssl_;
    FrameDecoder decoder_;
    std::string unread_;
};

}  // namespace Vexo::SoftBus::Tests
