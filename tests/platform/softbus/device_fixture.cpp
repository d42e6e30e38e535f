#include "tests/platform/softbus/device_fixture.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "platform/base/files.h"

namespace Vexo::SoftBus::Tests {

bool Eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

namespace {

// What Install leaves behind, for a certificate that it would refuse.
Result<void> InstallExpired(const std::filesystem::path& folder, const std::string& chain)
{
    const size_t second = chain.find("-----BEGIN", 1);
    auto done = WriteFileAtomically(folder / "device.crt", chain.substr(0, second), 0600);
    return done ? WriteFileAtomically(folder / "account.crt", chain.substr(second), 0600) : std::move(done);
}

}  // namespace

Trust::Identity Account::NewDevice(std::chrono::hours validity)
{
    const auto first = folder_.Path() / "0";
    const auto own = folder_.Path() / std::to_string(devices_);
    const std::string name = "device " + std::to_string(devices_);
    Result<void> done;
    if (devices_++ == 0) {
        done = Trust::CreateAccount(own, "home", name);
    } else {
        const auto request = Trust::MakeRequest(own, name);
        EXPECT_TRUE(request) << request.Message();
        const auto chain = Trust::Admit(first, request.Value(), validity);
        EXPECT_TRUE(chain) << chain.Message();
        done = validity.count() > 0 ? Trust::Install(own, chain.Value()) : InstallExpired(own, chain.Value());
    }
    EXPECT_TRUE(done) << done.Message();
    auto identity = Trust::LoadIdentity(own);
    EXPECT_TRUE(identity) << identity.Message();
    return std::move(identity.Value());
}

SessionAttribute ByteSession(std::vector<int32_t> linkTypes)
{
    SessionAttribute attribute;
    attribute.dataType = TYPE_BYTES;
    attribute.linkTypeNum = LINK_TYPE_COUNT;
    std::copy(linkTypes.begin(), linkTypes.end(), attribute.linkType);
    return attribute;
}

void Recorder::Add(Event event)
{
    event.when = std::chrono::steady_clock::now();
    event.thread = std::this_thread::get_id();
    MutexLock lock(mutex_);
    events_.push_back(event);
    const auto hook = hook_;
    changed_.NotifyAll();
    lock.Unlock();
    if (hook) {
        hook(event);
    }
}

Event Recorder::WaitFor(const std::function<bool(const Event&)>& fits)
{
    const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
    MutexLock lock(mutex_);
    while (true) {
        const auto found = std::find_if(events_.begin(), events_.end(), fits);
        if (found != events_.end()) {
            return *found;
        }
        if (!changed_.WaitUntil(mutex_, deadline)) {
            ADD_FAILURE() << "the awaited callback did not come";
            return {Event::Kind::CLOSED, -1, -1, {}, {}, {}};
        }
    }
}

size_t Recorder::Count(Event::Kind kind, int id) const
{
    const auto events = All();
    return static_cast<size_t>(std::count_if(events.begin(), events.end(),
                                             [=](const Event& event) { return event.kind == kind && event.id == id; }));
}

std::vector<Event> Recorder::All() const
{
    MutexLock lock(mutex_);
    return events_;
}

void Recorder::OnEvent(std::function<void(const Event&)> hook)
{
    MutexLock lock(mutex_);
    hook_ = std::move(hook);
}

void Recorder::Clear()
{
    MutexLock lock(mutex_);
    events_.clear();
    hook_ = nullptr;
}

sptr<SoftBusServer> StartBus(const Trust::Identity& identity, const std::string& name, std::vector<std::string> peers,
                             SoftBusOptions options)
{
    options.deviceName = name;
    options.peerAddresses = std::move(peers);
    auto bus = SoftBusServer::Start(identity, std::move(options));
    EXPECT_TRUE(bus) << bus.Message();
    return bus ? bus.Value() : nullptr;
}

bool SeesOnline(const sptr<SoftBusServer>& bus, const std::string& networkId)
{
    const auto nodes = bus->Nodes();
    return std::any_of(nodes.begin(), nodes.end(),
                       [&](const Node& node) { return node.networkId == networkId && node.online; });
}

void PairTest::SetUp()
{
    atLaptop.Clear();
    atPhone.Clear();
    phone = StartBus(phoneIdentity, "phone", {}, phoneOptions);
    laptop = StartBus(laptopIdentity, "laptop", {phone->ListenAddress()}, laptopOptions);
    ASSERT_EQ(laptop->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    ASSERT_EQ(phone->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    ASSERT_TRUE(Eventually(
        [&] { return SeesOnline(laptop, phoneIdentity.networkId) && SeesOnline(phone, laptopIdentity.networkId); }));
}

void PairTest::TearDown()
{
    laptop->Stop();
    phone->Stop();
}

std::pair<int, int> PairTest::OpenPair()
{
    atPhone.Clear();
    const int id = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
    EXPECT_GT(id, 0);
    EXPECT_EQ(atLaptop.WaitFor(Event::Kind::OPENED, id).result, SOFTBUS_OK);
    const Event opened = atPhone.WaitFor(Event::Kind::OPENED);
    EXPECT_EQ(opened.result, SOFTBUS_OK);
    return {id, opened.id};
}

Bare::Bare(const std::string& address, const Trust::Identity& identity)
{
    auto context = Trust::TlsContext::Make(identity);
    EXPECT_TRUE(context) << context.Message();
    context_ = std::move(context.Value());
    const size_t colon = address.rfind(':');
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(std::stoi(address.substr(colon + 1))));
    inet_pton(AF_INET, address.substr(0, colon).c_str(), &to.sin_addr);
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::connect(fd_, reinterpret_cast<sockaddr*>(&to), sizeof(to)), 0);
    ssl_ = context_->NewClient({});
    SSL_set_fd(ssl_.get(), fd_);
}

Bare::~Bare()
{
    Crash();
}

bool Bare::Handshake()
{
    return SSL_connect(ssl_.get()) == 1;
}

bool Bare::Write(const std::string& bytes)
{
    return SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
}

bool Bare::ReadFrame(Frame& frame)
{
    char buffer[4096];
    while (true) {
        std::string_view input = unread_;
        const auto status = decoder_.Next(input, frame);
        unread_ = std::string(input);
        if (status != FrameDecoder::Status::MORE) {
            return status == FrameDecoder::Status::FRAME;
        }
        const int got = SSL_read(ssl_.get(), buffer, sizeof(buffer));
        if (got <= 0) {
            return false;
        }
        unread_.append(buffer, static_cast<size_t>(got));
    }
}

bool Bare::WaitForEnd(std::chrono::milliseconds limit)
{
    const timeval wait{limit.count() / 1000, (limit.count() % 1000) * 1000};
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof(wait));
    char buffer[4096];
    ssize_t got = 0;
    while ((got = ::recv(fd_, buffer, sizeof(buffer), 0)) > 0) {
    }
    return got == 0 || errno != EAGAIN;
}

void Bare::Crash()
{
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

}  // namespace Vexo::SoftBus::Tests
