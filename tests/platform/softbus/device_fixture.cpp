#include "tests/platform/softbus/device_fixture.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>

#include "platform/base/host_port.h"
#include "platform/softbus/link/socket_bio.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::SoftBus::Tests {
namespace {

// A channel that announces nothing and reports one device for each call of Seek().
class SoughtChannel final : public AnnouncementChannel {
public:
    SoughtChannel(std::string transport, std::function<Announcement()> device)
        : transport_(std::move(transport)), device_(std::move(device))
    {
    }
    std::string Name() const override { return transport_; }
    std::string TransportName() const override { return transport_; }
    Result<void> Start(const std::string&, IsOurs, Heard heard) override
    {
        heard_ = std::move(heard);
        return {};
    }
    void Announce(const std::string&) override {}
    std::shared_ptr<void> Seek() override
    {
        heard_("device", device_());
        return std::make_shared<int>();
    }
    void Withdraw() override {}

private:
    const std::string transport_;
    const std::function<Announcement()> device_;
    Heard heard_;
};

}  // namespace

void Recorder::Record(const Event& event)
{
    Add(event);
    MutexLock lock(mutex_);
    const auto hook = hook_;
    lock.Unlock();
    if (hook) {
        hook(event);
    }
}

Event Recorder::WaitFor(Kind kind, int id)
{
    Event found{kind, -1, -1};
    EXPECT_TRUE(Eventually([&] {
        const std::vector<Event> events = All();
        const auto at = std::find_if(events.begin(), events.end(), [=](const Event& event) {
            return event.kind == kind && (id == 0 || event.id == id);
        });
        found = at != events.end() ? *at : found;
        return at != events.end();
    })) << "the awaited callback did not come";
    return found;
}

size_t Recorder::Count(Kind kind, int id)
{
    const auto events = All();
    return static_cast<size_t>(std::count_if(events.begin(), events.end(),
                                             [=](const Event& event) { return event.kind == kind && event.id == id; }));
}

void Recorder::OnEvent(Kind kind, const std::function<void(const Event&)>& act)
{
    const MutexLock lock(mutex_);
    hook_ = [=](const Event& event) {
        if (event.kind == kind) {
            act(event);
        }
    };
}

void Recorder::Clear()
{
    const MutexLock lock(mutex_);
    Take();
    hook_ = nullptr;
}

sptr<SoftBusServer> StartBus(const Trust::Identity& identity, const std::string& name, std::vector<std::string> peers,
                             SoftBusOptions options)
{
    options.deviceName = name;
    options.peerAddresses = std::move(peers);
    auto bus = SoftBusServer::Start(identity, std::move(options));
    EXPECT_TRUE(bus) << bus.error().message;
    return bus ? bus.value() : nullptr;
}

bool SeesOnline(const sptr<SoftBusServer>& bus, const std::string& networkId)
{
    const auto nodes = bus->Nodes();
    return std::any_of(nodes.begin(), nodes.end(),
                       [&](const Node& node) { return node.networkId == networkId && node.online; });
}

bool Meet(const sptr<SoftBusServer>& one, const sptr<SoftBusServer>& other)
{
    return Eventually(
        [&] { return SeesOnline(one, other->LocalNode().networkId) && SeesOnline(other, one->LocalNode().networkId); });
}

SoftBusOptions SessionWorld::Over(TransportFactory transport, const std::string& name, const Trust::Identity& peer,
                                  std::function<std::vector<std::string>()> addresses)
{
    const auto tokens = Trust::AnnouncementTokens::Make(*peer.linkKeys, name).value();
    const auto announced = [=, token = tokens->MakeToken(peer.networkId)] {
        Announcement announcement{token, {}};
        for (const std::string& address : addresses()) {
            announcement.addresses.push_back({name, address});
        }
        return announcement;
    };
    SoftBusOptions options;
    options.moreTransports = {std::move(transport)};
    options.channels = {[=](const std::string&) { return std::make_unique<SoughtChannel>(name, announced); }};
    return options;
}

void PairTest::SetUp()
{
    atLaptop.Clear();
    atPhone.Clear();
    phone = StartBus(phoneIdentity, "phone", {}, world->OptionsOf(SessionWorld::PHONE, laptopIdentity));
    laptop = StartBus(laptopIdentity, "laptop", {phone->ListenAddress()},
                      world->OptionsOf(SessionWorld::LAPTOP, phoneIdentity));
    ASSERT_EQ(laptop->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    ASSERT_EQ(phone->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    ASSERT_TRUE(Meet(laptop, phone));
}

void PairTest::TearDown()
{
    laptop->Stop();
    phone->Stop();
}

int PairTest::Open(const std::string& name)
{
    const int id = laptop->OpenSession(NAME, name, phoneIdentity.networkId, ByteSession(world->linkType));
    EXPECT_GT(id, 0);
    return id;
}

std::pair<int, int> PairTest::OpenPair()
{
    atPhone.Clear();
    const int id = Open();
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_OK);
    return {id, atPhone.WaitFor(Kind::OPENED).id};
}

Bare::Bare(const std::string& address, const Trust::Identity& identity)
    : deviceId_(identity.deviceId),
      context_(Trust::TlsContext::Make(identity).value()),
      preamble_(Trust::Preamble::Make(*identity.linkKeys).value()),
      ssl_(context_->NewClient({}))
{
    Connect(address);
}

Bare::Bare(const std::string& address, const Trust::Ticket& ticket)
    : context_(Trust::TlsContext::MakeForTicket(ticket).value()),
      preamble_(Trust::Preamble::Make(Trust::TicketKeys(ticket)).value()),
      ssl_(context_->NewClient({}))
{
    Connect(address);
}

Bare::Bare(UniqueFd accepted, const Trust::Ticket& ticket)
    : socket_(std::move(accepted)),
      context_(Trust::TlsContext::MakeForTicket(ticket).value()),
      preamble_(Trust::Preamble::Make(Trust::TicketKeys(ticket)).value()),
      ssl_(context_->NewServer())
{
    Accept();
}

Bare::Bare(UniqueFd accepted, const Trust::Identity& identity)
    : socket_(std::move(accepted)),
      deviceId_(identity.deviceId),
      context_(Trust::TlsContext::Make(identity).value()),
      preamble_(Trust::Preamble::Make(*identity.linkKeys).value()),
      ssl_(context_->NewServer())
{
    Accept();
}

void Bare::Accept()
{
    constexpr size_t RECORD_HEADER = 5;
    const std::string challenge = Trust::Preamble::MakeChallenge().value();
    EXPECT_TRUE(WriteRaw(challenge));
    const auto read = [this](size_t bytes) {
        std::string text(bytes, '\0');
        EXPECT_EQ(::recv(socket_.Get(), text.data(), bytes, MSG_WAITALL), static_cast<ssize_t>(bytes));
        return text;
    };
    const std::string proof = read(Trust::PROOF_BYTES);
    std::string message = read(RECORD_HEADER);
    message += read(static_cast<size_t>(static_cast<uint8_t>(message[3]) << 8 | static_cast<uint8_t>(message[4])));
    EXPECT_TRUE(preamble_->IsProof(proof, challenge, message));
    AttachSocket(ssl_.get(), socket_.Get(), message);
    EXPECT_EQ(SSL_accept(ssl_.get()), 1);
}

Trust::SecretBytes Bare::ExportSecret(const std::string& label) const
{
    Trust::SecretBytes secret{};
    EXPECT_EQ(
        SSL_export_keying_material(ssl_.get(), secret.data(), secret.size(), label.data(), label.size(), nullptr, 0, 0),
        1);
    return secret;
}

void Bare::Connect(const std::string& address)
{
    const HostPort where = ParseHostPort(address).value();
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(where.port);
    EXPECT_EQ(::inet_pton(AF_INET, where.host.c_str(), &to.sin_addr), 1);
    socket_.Reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(::connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&to), sizeof(to)), 0);
}

std::string Bare::ReadChallenge()
{
    std::string challenge(Trust::CHALLENGE_BYTES, '\0');
    const ssize_t got = ::recv(socket_.Get(), challenge.data(), challenge.size(), MSG_WAITALL);
    challenge.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return challenge;
}

bool Bare::WriteRaw(std::string_view bytes)
{
    return ::send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

std::string Bare::FirstMessage()
{
    std::string message;
    // The callback stores the message and returns no bytes, so the socket sends nothing.
    AttachSocket(ssl_.get(), socket_.Get(), [&message](std::string_view flight) {
        message = flight;
        return std::string();
    });
    SSL_connect(ssl_.get());
    return message;
}

void Bare::UsePskOf(const Bare& other, const std::string& serverNetworkId)
{
    other.context_->RememberPeer(other.ssl_.get(), serverNetworkId);
    ssl_ = other.context_->NewClient(serverNetworkId);
}

bool Bare::Handshake()
{
    AttachSocket(ssl_.get(), socket_.Get(), [this, challenge = ReadChallenge()](std::string_view flight) {
        return preamble_->Prove(challenge, flight);
    });
    return SSL_connect(ssl_.get()) == 1;
}

bool Bare::Greet()
{
    Frame frame;
    return WriteFrame(FrameKind::HELLO, EncodeHello({DEVICE_TYPE_UNKNOWN, deviceId_, "bare", {}, 0})) &&
           ReadFrame(frame) && frame.kind == FrameKind::HELLO && DecodeHello(frame.payload).has_value();
}

bool Bare::Write(const std::string& bytes)
{
    size_t written = 0;
    for (size_t chunk = 0; written < bytes.size(); written += chunk) {
        if (SSL_write_ex(ssl_.get(), bytes.data() + written, bytes.size() - written, &chunk) != 1) {
            break;
        }
    }
    return written == bytes.size();
}

bool Bare::ReadFrame(Frame& frame)
{
    auto status = FrameDecoder::Status::MORE;
    for (char byte = 0; status == FrameDecoder::Status::MORE && SSL_read(ssl_.get(), &byte, 1) == 1;) {
        std::string_view input(&byte, 1);
        status = decoder_.Next(input, frame);
    }
    return status == FrameDecoder::Status::FRAME;
}

bool Bare::WaitForEnd()
{
    const timeval limit{8, 0};
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    char buffer[4096];
    ssize_t got = 0;
    while ((got = ::recv(socket_.Get(), buffer, sizeof(buffer), 0)) > 0) {
    }
    return got == 0 || errno != EAGAIN;
}

bool Bare::AllArrived() const
{
    int unacknowledged = -1;
    return ::ioctl(socket_.Get(), SIOCOUTQ, &unacknowledged) == 0 && unacknowledged == 0;
}

BareListener::BareListener() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(to);
    auto* const address = reinterpret_cast<sockaddr*>(&to);
    EXPECT_EQ(::bind(socket_.Get(), address, length), 0);
    EXPECT_EQ(::listen(socket_.Get(), 8), 0);
    EXPECT_EQ(::getsockname(socket_.Get(), address, &length), 0);
    address_ = ToText(HostPort{"127.0.0.1", ntohs(to.sin_port)});
}

UniqueFd BareListener::Accept(std::chrono::milliseconds limit) const
{
    pollfd ready{socket_.Get(), POLLIN, 0};
    return UniqueFd(::poll(&ready, 1, static_cast<int>(limit.count())) == 1
                        ? ::accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC)
                        : -1);
}

}  // namespace Vexo::SoftBus::Tests
