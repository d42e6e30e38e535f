// Fixtures for soft bus tests: soft buses over loopback, and a recorder of the callbacks of a session server. Bare: a
// client that builds TLS messages and frames by hand, to send what a real device never sends.
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
    int result = 0;          // set for OPENED
    std::string bytes = {};  // set for BYTES
    std::chrono::steady_clock::time_point when = std::chrono::steady_clock::now();
    std::thread::id thread = std::this_thread::get_id();
};

class Recorder : public Vexo::Tests::Trail<Event> {
public:
    // Records the event, then runs the action that OnEvent() has set.
    void Record(const Event& event) EXCLUDES(mutex_);
    // Blocks until an event of this kind occurred in this session (0: in any session), and returns the first one. Fails
    // the test after the time limit.
    Event WaitFor(Kind kind, int id = 0);
    size_t Count(Kind kind, int id);
    std::vector<Event> All() { return Trail::WaitFor(0); }
    // Sets the action to run for each event of this kind. Replaces the previous action.
    void OnEvent(Kind kind, const std::function<void(const Event&)>& act) EXCLUDES(mutex_);
    // Removes all events and the action.
    void Clear() EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::function<void(const Event&)> hook_ GUARDED_BY(mutex_);
};

// Session callbacks carry no context pointer, so each device of a test has its own functions.
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
// Blocks until each device sees the other online. Returns false after the time limit.
bool Meet(const sptr<SoftBusServer>& one, const sptr<SoftBusServer>& other);

// How the two devices of a pair reach each other: over TCP, unless a derived class overrides it.
class SessionWorld {
public:
    enum Side : size_t { LAPTOP, PHONE };

    explicit SessionWorld(LinkType type = LINK_TYPE_WIFI_5G, size_t opens = 50) : linkType(type), opensAtOnce(opens) {}
    virtual ~SessionWorld() = default;
    // Returns the soft bus options that the device on that side needs to reach its peer.
    virtual SoftBusOptions OptionsOf(Side /*side*/, const Trust::Identity& /*peer*/) { return {}; }

    // Returns options with this transport, and with a channel that announces the peer at these addresses.
    static SoftBusOptions Over(TransportFactory transport, const std::string& name, const Trust::Identity& peer,
                               std::function<std::vector<std::string>()> addresses);

    const LinkType linkType;
    const size_t opensAtOnce;  // more opens at a time than this may be refused by the transport
};

// Two devices that know each other; each has a session server called NAME.
class PairTest : public testing::Test {
protected:
    explicit PairTest(std::unique_ptr<SessionWorld> made = std::make_unique<SessionWorld>()) : world(std::move(made)) {}
    void SetUp() override;
    void TearDown() override;
    // Opens a session from laptop to phone, to the server with that name. Returns its id on the laptop.
    int Open(const std::string& name = NAME);
    // Opens a session and waits for the opened callback on both sides. Returns the ids on laptop and phone.
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

// A blocking TCP and TLS client, for actions that a real device would not perform.
class Bare {
public:
    Bare(const std::string& address, const Trust::Identity& identity);
    // Connects as the joiner of an enrolment by ticket.
    Bare(const std::string& address, const Trust::Ticket& ticket);
    // Acts as the holder of an enrolment, on an accepted connection: sends the challenge and completes the handshake.
    Bare(UniqueFd accepted, const Trust::Ticket& ticket);

    void TrustAnyServer() { SSL_set_verify(ssl_.get(), SSL_VERIFY_NONE, nullptr); }
    // Reads the 16 bytes that the server sends first. Returns fewer bytes if the server closes the connection.
    std::string ReadChallenge();
    bool WriteRaw(std::string_view bytes);
    // Creates the first TLS message without sending it.
    std::string FirstMessage();
    // Offers the TLS session ticket that other has received. other must outlive this object.
    void UseTicketOf(const Bare& other);
    bool IsResumed() const { return SSL_session_reused(ssl_.get()) == 1; }
    // Reads the challenge, sends the proof of the account and completes the TLS handshake.
    bool Handshake();
    // Exchanges HELLO frames. Call after Handshake().
    bool Greet();
    bool Write(const std::string& bytes);
    bool WriteFrame(FrameKind kind, const std::string& payload)
    {
        return Write(EncodeHeader(kind, payload.size()) + payload);
    }
    // Reads the next frame, PINGs included. Returns false at the end of the connection.
    bool ReadFrame(Frame& frame);
    // Reads until the connection ends. Returns false if it is still open after 8 s.
    bool WaitForEnd();
    // Returns whether the other side's kernel has received all written bytes (tcp(7), SIOCOUTQ).
    bool AllArrived() const;
    // Returns the secret that this TLS connection exports for a label.
    Trust::SecretBytes ExportSecret(const std::string& label) const;
    // Closes the socket without a TLS close message.
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
