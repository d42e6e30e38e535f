// Devices for soft bus tests: soft buses over loopback, and a recorder of what the callbacks of a session server say.
// Bare: a peer that speaks TLS and frames by hand, to do what a good one never would.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/unique_fd.h"
#include "platform/softbus/link/frame.h"
#include "platform/softbus/softbus_server.h"
#include "platform/trust/preamble.h"
#include "platform/trust/tls_context.h"
#include "tests/platform/trust/trust_fixture.h"
#include "tests/support/trail.h"

namespace Vexo::SoftBus::Tests {

using Vexo::Tests::Eventually;

inline constexpr char PKG[] = "test.package";
inline constexpr char NAME[] = "test.session";

inline SessionAttribute ByteSession(LinkType type = LINK_TYPE_WIFI_5G)
{
    return {TYPE_BYTES, 1, {type}};
}

enum class Kind { OPENED, CLOSED, BYTES };

struct Event {
    Kind kind;
    int id;
    int result = 0;          // of OPENED
    std::string bytes = {};  // of BYTES
    std::chrono::steady_clock::time_point when = std::chrono::steady_clock::now();
    std::thread::id thread = std::this_thread::get_id();
};

class Recorder : public Vexo::Tests::Trail<Event> {
public:
    // Adds it, and does what OnEvent says.
    void Record(const Event& event) EXCLUDES(mutex_);
    // Waits until such an event came, of any session if id is 0, and returns the first; fails the test at the limit.
    Event WaitFor(Kind kind, int id = 0);
    size_t Count(Kind kind, int id);
    std::vector<Event> All() { return Trail::WaitFor(0); }
    // What a callback does besides being recorded.
    void OnEvent(Kind kind, const std::function<void(const Event&)>& act) EXCLUDES(mutex_);
    // Forgets the events and what to do.
    void Clear() EXCLUDES(mutex_);

private:
    Mutex mutex_;
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
            Events().Record({Kind::OPENED, id, result});
            return 0;
        };
        table.OnSessionClosed = [](int id) { Events().Record({Kind::CLOSED, id}); };
        table.OnBytesReceived = [](int id, const void* data, unsigned int length) {
            Events().Record({Kind::BYTES, id, 0, {static_cast<const char*>(data), length}});
        };
        return table;
    }
};

sptr<SoftBusServer> StartBus(const Trust::Identity& identity, const std::string& name,
                             std::vector<std::string> peers = {}, SoftBusOptions options = {});
bool SeesOnline(const sptr<SoftBusServer>& bus, const std::string& networkId);
// Waits until each sees the other.
bool Meet(const sptr<SoftBusServer>& one, const sptr<SoftBusServer>& other);

// How a pair of devices reach each other: over TCP, unless a derived class says otherwise.
class SessionWorld {
public:
    enum Side : size_t { LAPTOP, PHONE };

    explicit SessionWorld(LinkType type = LINK_TYPE_WIFI_5G, size_t opens = 50) : linkType(type), opensAtOnce(opens) {}
    virtual ~SessionWorld() = default;
    // What the device of that side is started with, to reach its peer.
    virtual SoftBusOptions OptionsOf(Side /*side*/, const Trust::Identity& /*peer*/) { return {}; }

    // Over that transport and, for the addresses of the peer, a channel of it.
    static SoftBusOptions Over(TransportFactory transport, const std::string& name, const Trust::Identity& peer,
                               std::function<std::vector<std::string>()> addresses);

    const LinkType linkType;
    const size_t opensAtOnce;  // how many may be opening before the transport refuses one
};

// Two devices that know each other, both serving NAME.
class PairTest : public testing::Test {
protected:
    explicit PairTest(std::unique_ptr<SessionWorld> way = std::make_unique<SessionWorld>()) : world(std::move(way)) {}
    void SetUp() override;
    void TearDown() override;
    // Opens from laptop to phone a session of the server of that name, and returns its id at the laptop.
    int Open(const std::string& name = NAME);
    // Opens one; both ids once both have their opened callback.
    std::pair<int, int> OpenPair();

    Trust::Tests::Devices account;
    Trust::Identity laptopIdentity = account.Enrol("laptop");
    Trust::Identity phoneIdentity = account.Enrol("phone");
    const std::unique_ptr<SessionWorld> world;
    sptr<SoftBusServer> phone;
    sptr<SoftBusServer> laptop;
    Recorder& atLaptop = Listener<0>::Events();
    Recorder& atPhone = Listener<1>::Events();
};

// A TCP and TLS client that blocks, for what a real device would not do.
class Bare {
public:
    Bare(const std::string& address, const Trust::Identity& identity);
    // The joiner's side of an enrolment by ticket.
    Bare(const std::string& address, const Trust::Ticket& ticket);
    // The holder's side, on a connection that was accepted. The challenge and the handshake are made here.
    Bare(UniqueFd accepted, const Trust::Ticket& ticket);

    void TrustAnyServer() { SSL_set_verify(ssl_.get(), SSL_VERIFY_NONE, nullptr); }
    // The 16 bytes that the server sends first; shorter when it sent none.
    std::string ReadChallenge();
    bool WriteRaw(std::string_view bytes);
    // The first TLS message, made but not sent.
    std::string FirstMessage();
    // Offers the ticket that another one got, which must live on.
    void UseTicketOf(const Bare& other);
    bool IsResumed() const { return SSL_session_reused(ssl_.get()) == 1; }
    // Reads the challenge, proves, and shakes hands.
    bool Handshake();
    // After the handshake: HELLO both ways.
    bool Greet();
    bool Write(const std::string& bytes);
    bool WriteFrame(FrameKind kind, const std::string& payload)
    {
        return Write(EncodeHeader(kind, payload.size()) + payload);
    }
    // The next frame, PINGs included; false at the end of the connection.
    bool ReadFrame(Frame& frame);
    // Reads to the end; false when the connection is still open after 8 s.
    bool WaitForEnd();
    // Whether the other side's kernel has all that was written (tcp(7), SIOCOUTQ).
    bool AllArrived() const;
    // The secret of this TLS connection under a label.
    Trust::SecretBytes ExportSecret(const std::string& label) const;
    // Ends the connection without a word of TLS.
    void Crash() { socket_.Reset(); }

private:
    void Connect(const std::string& address);

    UniqueFd socket_;
    const std::string deviceId_;
    std::shared_ptr<Trust::TlsContext> context_;
    std::shared_ptr<const Trust::Preamble> preamble_;
    Trust::SslPtr ssl_;
    FrameDecoder decoder_;
};

}  // namespace Vexo::SoftBus::Tests
