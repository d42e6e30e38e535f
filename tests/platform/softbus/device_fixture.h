// Fixtures for soft bus tests: soft buses over loopback, and a recorder of the callbacks of a session server. Bare: a
// client that can send TLS messages and frames that a real device never sends.
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
    int result = 0;          // set only for OPENED
    std::string bytes = {};  // set only for BYTES
    std::chrono::steady_clock::time_point when = std::chrono::steady_clock::now();
    std::thread::id thread = std::this_thread::get_id();
};

class Recorder : public Vexo::Tests::Trail<Event> {
public:
    // Records the event, then runs the action that OnEvent() has set.
    void Record(const Event& event) EXCLUDES(mutex_);
    // Blocks until an event of this kind was recorded for this session. Returns the first such event. Fails the test
    // after WAIT_LIMIT. id: the session, or 0 for any session.
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

// The callbacks of one session server. A callback has no context pointer, so each device of a test has its own Slot
// and, with it, its own functions.
template <int Slot>
struct Listener {
    static Recorder& Events()
    {
        // The recorder is never destroyed, because a callback may still run when the program ends.
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
// Blocks until each device sees the other online. Returns false after WAIT_LIMIT.
bool Meet(const sptr<SoftBusServer>& one, const sptr<SoftBusServer>& other);

// Decides how the laptop and the phone of a PairTest connect. This class uses TCP. A derived class can use another
// transport.
class SessionWorld {
public:
    enum Side : size_t { LAPTOP, PHONE };

    explicit SessionWorld(LinkType type = LINK_TYPE_WIFI_5G, size_t opens = 50) : linkType(type), opensAtOnce(opens) {}
    virtual ~SessionWorld() = default;
    // Returns the soft bus options with which a device reaches the other device. side: the device that uses the
    // options. peer: the identity of the other device.
    virtual SoftBusOptions OptionsOf(Side /*side*/, const Trust::Identity& /*peer*/) { return {}; }

    // Returns options with the given transport and with a channel that reports the peer at the given addresses.
    static SoftBusOptions Over(TransportFactory transport, const std::string& name, const Trust::Identity& peer,
                               std::function<std::vector<std::string>()> addresses);

    const LinkType linkType;
    const size_t opensAtOnce;  // The transport may refuse more simultaneous opens.
};

// A fixture with two devices, a laptop and a phone, that know each other. Each device has a session server called NAME.
class PairTest : public testing::Test {
protected:
    explicit PairTest(std::unique_ptr<SessionWorld> made = std::make_unique<SessionWorld>()) : world(std::move(made)) {}
    void SetUp() override;
    void TearDown() override;
    // Opens a session from the laptop to a session server on the phone. Returns the id of the session on the laptop.
    // name: the session server.
    int Open(const std::string& name = NAME);
    // Opens a session and waits for OnSessionOpened on both devices. Returns the id of the session on the laptop and
    // its id on the phone.
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

// A client with blocking TCP and TLS calls, for actions that a real device would not perform.
class Bare {
public:
    Bare(const std::string& address, const Trust::Identity& identity);
    // Connects as a joiner (a device that enrols with a ticket).
    Bare(const std::string& address, const Trust::Ticket& ticket);
    // Acts as the holder (the device that admits others) on an accepted connection. Sends the challenge and completes
    // the TLS handshake.
    Bare(UniqueFd accepted, const Trust::Ticket& ticket);
    // Acts as a member of the account on an accepted connection. Sends the challenge and completes the TLS handshake.
    Bare(UniqueFd accepted, const Trust::Identity& identity);

    void TrustAnyServer() { SSL_set_verify(ssl_.get(), SSL_VERIFY_NONE, nullptr); }
    // Reads up to 16 bytes, because a server first sends a challenge of 16 bytes. Returns fewer bytes if the server
    // closes the connection.
    std::string ReadChallenge();
    bool WriteRaw(std::string_view bytes);
    // Creates the first TLS message without sending it.
    std::string FirstMessage();
    // Offers the server the pre-shared key that another client derived from its connection to the same server. Call
    // this before Handshake(). other: that client, which must outlive this object.
    void UsePskOf(const Bare& other, const std::string& serverNetworkId);
    bool PskWasAccepted() const { return SSL_session_reused(ssl_.get()) == 1; }
    // Reads the challenge, sends the bytes that prove knowledge of the account's link key (or of the ticket), and
    // completes the TLS handshake. Returns false if the TLS handshake fails.
    bool Handshake();
    // Exchanges HELLO frames. Returns false on failure. Call this after Handshake().
    bool Greet();
    bool Write(const std::string& bytes);
    bool WriteFrame(FrameKind kind, const std::string& payload)
    {
        return Write(EncodeHeader(kind, payload.size()) + payload);
    }
    // Reads the next frame, which may be a PING. Returns false at the end of the connection.
    bool ReadFrame(Frame& frame);
    // Reads until the connection ends. Returns false if the connection is still open after 8 s.
    bool WaitForEnd();
    // Returns whether the peer's kernel has acknowledged all bytes that this client wrote (tcp(7), SIOCOUTQ).
    bool AllArrived() const;
    // Returns the keying material that this TLS connection exports (RFC 8446, 7.5) for the label.
    Trust::SecretBytes ExportSecret(const std::string& label) const;
    // Closes the socket without a TLS close message.
    void Crash() { socket_.Reset(); }

private:
    void Connect(const std::string& address);
    void Accept();

    UniqueFd socket_;
    const std::string deviceId_;
    std::shared_ptr<Trust::TlsContext> context_;
    std::shared_ptr<const Trust::Preamble> preamble_;
    Trust::SslPtr ssl_;
    FrameDecoder decoder_;
};

// A listening socket on which the test acts as a server.
class BareListener {
public:
    BareListener();
    // Waits for a connection. Returns an empty descriptor if no connection arrives in time. limit: the longest time to
    // wait, or a negative value to wait without a limit.
    UniqueFd Accept(std::chrono::milliseconds limit = std::chrono::milliseconds(-1)) const;
    const std::string& Address() const { return address_; }

private:
    UniqueFd socket_;
    std::string address_;
};

}  // namespace Vexo::SoftBus::Tests
