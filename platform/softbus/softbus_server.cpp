#include "platform/softbus/softbus_server.h"

#include <openssl/x509.h>
#include <pthread.h>

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/ip/address.hpp>
#include <asio/post.hpp>
#include <thread>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/text.h"
#include "platform/base/utf8.h"
#include "platform/dfx/guard.h"
#include "platform/dfx/trace.h"
#include "platform/softbus/account/key_transfer.h"
#include "platform/softbus/account/state_exchange.h"
#include "platform/softbus/discovery/finder.h"
#include "platform/softbus/discovery/folder_channel.h"
#include "platform/softbus/discovery/nodes.h"
#include "platform/softbus/discovery/period_timer.h"
#include "platform/softbus/discovery/route.h"
#include "platform/softbus/enrolment/invitations.h"
#include "platform/softbus/inbound_links.h"
#include "platform/softbus/sessions/sessions.h"
#include "platform/softbus/softbus_log.h"
#include "platform/softbus/transport/tcp_transport.h"

namespace Vexo::SoftBus {

namespace {

// The time limit of Stop: the time for GOODBYE, the time for closing links, and some more.
constexpr std::chrono::milliseconds STOP_LIMIT = GOODBYE_LIMIT + CLOSE_LIMIT + std::chrono::milliseconds(200);

constexpr const char* TCP = "tcp";

class Server final : public SoftBusServer {
public:
    explicit Server(SoftBusOptions options);
    ~Server() override { Stop(); }

    Result<void> Begin(const Trust::Identity& identity);

    std::string ListenAddress() const override { return listenAddress_; }
    SoftBusCounts Counts() const override;
    void Stop() override;

    int CreateSessionServer(const std::string& pkgName, const std::string& sessionName,
                            const ISessionListener& listener) override;
    int RemoveSessionServer(const std::string& pkgName, const std::string& sessionName) override;
    int OpenSession(const std::string& mySessionName, const std::string& peerSessionName,
                    const std::string& peerNetworkId, const SessionAttribute& attr) override;
    void CloseSession(int sessionId) override;
    int SendBytes(int sessionId, const void* data, unsigned int len) override;
    int GetPeerNetworkId(int sessionId, std::string& networkId) override;
    std::vector<Node> Nodes() override { return ListNodes(context_); }
    Node LocalNode() override;
    void Scan(std::function<void()> done) override;
    void SuggestAddress(const std::string& networkId, const std::string& ipAddress) override;
    void SendAccountKey(const std::string& networkId, std::string key,
                        std::function<void(Result<void> result)> done) override;
    void UseIdentity(Trust::Identity identity) override { exchange_.UseIdentity(std::move(identity)); }
    std::optional<std::chrono::sys_seconds> RemovedAt() const override { return context_.account.RemovedAt(); }
    Result<std::shared_ptr<Invitation>> Invite(InvitationOptions options) override;

private:
    Result<void> Listen();
    void OnIdentityUsed();
    void AnnounceNow();
    Result<void> Discover();
    Channels MakeChannels(FolderChannel::IsOwn isOwn) const;
    Result<void> AnnounceEachPeriod();
    void RunReactor() EXCLUDES(lifeMutex_);
    // Calls work() later, on the reactor thread. If the soft bus is stopping, does not call work() and returns false.
    template <typename WorkOnReactor>
    bool PostWhileRunning(WorkOnReactor work) EXCLUDES(lifeMutex_);

    const SoftBusOptions options_;
    ReactorContext context_;
    const std::shared_ptr<SessionTable> table_;
    Finder finder_;
    Sessions sessions_;
    Invitations invitations_;
    InboundLinks inbound_;
    PeriodTimer periods_;
    StateExchange exchange_;
    std::string listenAddress_;
    std::string accountName_;
    Channels channels_;  // constant while the reactor runs

    Mutex lifeMutex_;
    bool running_ GUARDED_BY(lifeMutex_) = false;
    bool reactorDone_ GUARDED_BY(lifeMutex_) = false;
    CondVar reactorEnded_;
    Mutex stopMutex_;  // held by Stop, so that a second call of Stop returns only when the first call is done
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    std::thread thread_ GUARDED_BY(stopMutex_);
};

Server::Server(SoftBusOptions options)
    : options_(std::move(options)),
      table_(std::make_shared<SessionTable>(options_.maxSessions, context_.reactor)),
      finder_(context_),
      sessions_(context_, table_),
      invitations_(context_, *options_.ticketTimers),
      inbound_(context_, sessions_, invitations_),
      periods_(*context_.reactor),
      exchange_(context_, {options_.identityFolder, [this](auto work) { PostWhileRunning(std::move(work)); },
                           [this] { OnIdentityUsed(); },
                           [this] {
                               if (options_.identityChanged) {
                                   options_.identityChanged();
                               }
                           }}),
      work_(asio::make_work_guard(*context_.reactor))
{
    context_.linkSetup.maxQueuedBytes = options_.maxQueuedBytes;
    context_.peerShare = options_.peerShare;
    context_.limitsMessages = options_.limitsMessages;
    context_.policy = options_.policy;
    context_.openSessions = {options_.openSessions.begin(), options_.openSessions.end()};
    context_.onlineChanged = options_.onlineChanged;
    context_.exchange = &exchange_;
}

// --- start and stop ---

Result<void> Server::Begin(const Trust::Identity& identity)
{
    if (!identity.Enrolled()) {
        return Fail(ErrorCode::NOT_FOUND, "the soft bus needs an identity that is enrolled in an account");
    }
    if (options_.deviceName.empty() || options_.deviceName.size() >= DEVICE_NAME_BUF_LEN ||
        !IsUtf8(options_.deviceName)) {
        return Fail(ErrorCode::INVALID_ARGUMENT,
                    "the device name must have 1 to " + std::to_string(DEVICE_NAME_BUF_LEN - 1) + " bytes of UTF-8");
    }
    context_.ownNetworkId = identity.networkId;
    accountName_ = identity.accountName;
    context_.ownHello = {options_.deviceTypeId, identity.deviceId, options_.deviceName, {}};
    if (auto listening = Listen(); !listening) {
        return listening;
    }
    if (auto prepared = exchange_.Begin(identity); !prepared) {
        return prepared;
    }
    if (!options_.knownDevicesFile.empty()) {
        context_.devices.UseFile(options_.knownDevicesFile, Trust::NetworkIdOf(identity.accountCertificate.get()));
    }
    {
        MutexLock stopLock(stopMutex_);
        MutexLock lock(lifeMutex_);
        running_ = true;
        thread_ = std::thread([this] { RunReactor(); });
    }
    if (auto discovering = Discover(); !discovering) {
        return discovering;
    }
    PostWhileRunning([this] { finder_.GreetKnownDevices(); });
    return {};
}

Result<void> Server::Listen()
{
    const auto tcp = std::make_shared<TcpTransport>(*context_.reactor, options_.listenAddress);
    for (const std::string& address : options_.peerAddresses) {
        if (auto usable = tcp->CheckAddress(address); !usable) {
            return usable;
        }
    }
    context_.transports.push_back(tcp);
    for (const TransportFactory& make : options_.moreTransports) {
        context_.transports.push_back(make(*context_.reactor));
    }
    for (const auto& transport : context_.transports) {
        auto bound = transport->Listen([this, name = transport->Name()](Stream stream, const std::string& from) {
            inbound_.Accepted(std::move(stream), {name, from});
        });
        if (bound && !bound.value().empty()) {
            context_.ownHello.addresses.push_back({transport->Name(), bound.value()});
        } else if (bound) {
            continue;
        } else if (transport == tcp) {
            return Failure(std::move(bound).error());
        } else {
            QuviewDFX::LogWarn(LOG_SOFTBUS, "no links over %{public}s: %{public}s", transport->Name(),
                               bound.error().message);
        }
    }
    listenAddress_ = context_.ownHello.addresses.front().address;
    return {};
}

Result<void> Server::Discover()
{
    for (const std::string& address : options_.peerAddresses) {
        PostWhileRunning([this, address] { finder_.AddConfigured({TCP, address}); });
    }
    channels_ = MakeChannels(
        [this](const std::string& token, WallTime then) { return context_.sightings.IsOwn(TCP, token, then); });
    for (const auto& channel : channels_) {
        auto started = channel->Start(
            context_.sightings.OwnToken(channel->TransportName()),
            [this, transport = channel->TransportName()](const std::string& token) {
                return context_.sightings.IsOurs(transport, token);
            },
            [this, kind = channel->Name()](const std::string& name, const std::optional<Announcement>& heard) {
                PostWhileRunning([this, kind, name, heard] { finder_.OnAnnouncement(kind, name, heard); });
            });
        if (!started) {
            Stop();
            return started;
        }
    }
    // seek uses all channels, so it is set only when all channels have started.
    PostWhileRunning([this] { context_.seek = [this] { return SeekOnAll(channels_); }; });
    return AnnounceEachPeriod();
}

Channels Server::MakeChannels(FolderChannel::IsOwn isOwn) const
{
    Channels channels;
    if (!options_.announceFolder.empty()) {
        channels.push_back(std::make_unique<FolderChannel>(options_.announceFolder, context_.ownHello.addresses.front(),
                                                           std::move(isOwn)));
    }
    for (const AnnouncementChannelFactory& make : options_.channels) {
        channels.push_back(make(listenAddress_));
    }
    return channels;
}

Result<std::shared_ptr<Invitation>> Server::Invite(InvitationOptions options)
{
    const bool canAnnounce =
        std::any_of(channels_.begin(), channels_.end(), [](const auto& channel) { return channel->CanAnnounce(); });
    return invitations_.Open(std::move(options), accountName_, canAnnounce ? "" : AddressForTicket(listenAddress_),
                             [this] { return MakeChannels([](const std::string&, WallTime) { return false; }); });
}

Result<void> Server::AnnounceEachPeriod()
{
    return periods_.Start([this] {
        finder_.DropOldAnnouncements();
        AnnounceNow();
        invitations_.Announce();
    });
}

void Server::AnnounceNow()
{
    for (const auto& channel : channels_) {
        channel->Announce(context_.sightings.OwnToken(channel->TransportName()));
    }
}

void Server::OnIdentityUsed()
{
    sessions_.EndRemoved();
    context_.UpdateAllReachability();
    AnnounceNow();
    finder_.PassStateOn();
}

void Server::Stop()
{
    MutexLock stopLock(stopMutex_);
    if (!thread_.joinable()) {
        return;
    }
    invitations_.Withdraw();
    for (const auto& channel : channels_) {
        channel->Withdraw();
    }
    {
        MutexLock lock(lifeMutex_);
        running_ = false;
        asio::post(*context_.reactor, [this] {
            periods_.Stop();
            inbound_.Stop();
            invitations_.Stop();
            sessions_.Stop();
            finder_.Stop([this] {
                for (const auto& transport : context_.transports) {
                    transport->Stop();
                }
                work_.reset();
            });
        });
    }
    // The reactor returns when its last link has ended. Every link ends within CLOSE_LIMIT. Only the resolution of a
    // host name may take longer.
    const auto deadline = Clock::System().Now() + STOP_LIMIT;
    {
        MutexLock lock(lifeMutex_);
        while (!reactorDone_ && reactorEnded_.WaitUntil(lifeMutex_, deadline)) {
        }
    }
    context_.reactor->stop();
    thread_.join();
    exchange_.Drain();
    context_.devices.Flush();
}

void Server::RunReactor()
{
    pthread_setname_np(pthread_self(), "softbus");
    // If a handler throws an exception, it is not called again. The reactor continues with the other handlers.
    while (!QuviewDFX::RunGuarded(LOG_SOFTBUS, "reactor work", [this] { context_.reactor->run(); })) {
    }
    MutexLock lock(lifeMutex_);
    reactorDone_ = true;
    reactorEnded_.NotifyAll();
}

template <typename WorkOnReactor>
bool Server::PostWhileRunning(WorkOnReactor work)
{
    MutexLock lock(lifeMutex_);
    if (running_) {
        asio::post(*context_.reactor, std::move(work));
    }
    return running_;
}

SoftBusCounts Server::Counts() const
{
    return {sessions_.OpenCount(), sessions_.PendingCount(), table_->ServerCount()};
}

void Server::Scan(std::function<void()> done)
{
    if (!PostWhileRunning([this, done] { finder_.Scan(done); })) {
        done();
    }
}

void Server::SuggestAddress(const std::string& networkId, const std::string& ipAddress)
{
    asio::error_code error;
    if (!ipAddress.empty()) {
        asio::ip::make_address(ipAddress, error);
    }
    if (error) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "\"%{public}s\" is no IP address; %{public}s is not tried there", ipAddress,
                           ShortId(networkId));
        return;
    }
    context_.devices.SuggestHost(networkId, ipAddress);
}

Node Server::LocalNode()
{
    return {context_.ownNetworkId,
            context_.ownHello.deviceId,
            context_.account.NameOf(context_.ownNetworkId, options_.deviceName),
            options_.deviceTypeId,
            true,
            MillisecondsOf(Clock::System().WallNow())};
}

// --- sessions ---

bool IsGoodName(const std::string& name)
{
    return !name.empty() && name.size() <= MAX_SESSION_NAME && IsUtf8(name) && name.find('\0') == std::string::npos;
}

int Server::CreateSessionServer(const std::string& pkgName, const std::string& sessionName,
                                const ISessionListener& listener)
{
    if (!IsGoodName(pkgName) || !IsGoodName(sessionName)) {
        return SOFTBUS_INVALID_PARAM;
    }
    const int result = table_->AddServer(pkgName, sessionName, listener);
    if (result == SOFTBUS_OK && !PostWhileRunning([this, sessionName] { sessions_.ServerAppeared(sessionName); })) {
        return SOFTBUS_UNAVAILABLE;
    }
    return result;
}

int Server::RemoveSessionServer(const std::string& pkgName, const std::string& sessionName)
{
    const int result = table_->RemoveServer(pkgName, sessionName);
    if (result == SOFTBUS_OK) {
        for (const SessionPtr& session : table_->List(sessionName)) {
            CloseSession(session->Id());
        }
    }
    return result;
}

void Server::SendAccountKey(const std::string& networkId, std::string key,
                            std::function<void(Result<void> result)> done)
{
    const auto transfer = std::make_shared<KeyTransfer>(context_, networkId, std::move(key), done);
    if (!PostWhileRunning([transfer] { transfer->Start(); })) {
        done(Fail(ErrorCode::UNAVAILABLE, "the soft bus has stopped"));
    }
}

int Server::OpenSession(const std::string& mySessionName, const std::string& peerSessionName,
                        const std::string& peerNetworkId, const SessionAttribute& attr)
{
    if (!IsGoodName(mySessionName) || !IsGoodName(peerSessionName) || peerNetworkId.empty() || attr.linkTypeNum < 1 ||
        attr.linkTypeNum > LINK_TYPE_COUNT ||
        (attr.dataType != TYPE_MESSAGE && attr.dataType != TYPE_BYTES && attr.dataType != TYPE_STREAM)) {
        return SOFTBUS_INVALID_PARAM;
    }
    if (const std::string why = context_.account.OwnRemovalText(); !why.empty()) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "no session with %{public}s: %{public}s", ShortId(peerNetworkId), why);
        return SOFTBUS_PEER_REFUSED;
    }
    if (!context_.devices.IsKnown(peerNetworkId)) {
        return SOFTBUS_NO_SUCH_PEER;
    }
    SessionRequest request{
        true,          mySessionName, peerSessionName,
        peerNetworkId, attr.dataType, {std::begin(attr.linkType), std::begin(attr.linkType) + attr.linkTypeNum}};
    if (!context_.CanSeek(request.linkTypes) && RoutesTo(context_, request.peerNetworkId, request.linkTypes).empty()) {
        return SOFTBUS_NO_LINK;
    }
    const SessionPtr session = table_->Add(std::move(request));
    if (!session) {
        return SOFTBUS_LIMIT;
    }
    StartAsyncTrace(TRACE_TAG_PLATFORM, SpanName::SESSION_OPEN, session->Id());
    if (!PostWhileRunning([this, session] { sessions_.Open(session); })) {
        table_->Remove(session->Id());
        return SOFTBUS_UNAVAILABLE;
    }
    session->SetReturned();
    return session->Id();
}

void Server::CloseSession(int sessionId)
{
    if (const SessionPtr session = table_->Remove(sessionId)) {
        session->StopCallbacks();
        session->SetClosed();
        PostWhileRunning([this, session] { sessions_.Close(session); });
    }
}

int Server::SendBytes(int sessionId, const void* data, unsigned int len)
{
    if (data == nullptr || len == 0 || len > MAX_SESSION_BYTES) {
        return SOFTBUS_INVALID_PARAM;
    }
    const SessionPtr session = table_->Find(sessionId);
    const std::shared_ptr<Link> link = session ? session->OpenLink() : nullptr;
    if (!link) {
        return SOFTBUS_NO_SUCH_SESSION;
    }
    const TraceSpan span(SpanName::SEND);
    session->AwaitAnswer();
    switch (link->Send(FrameKind::DATA, data, len)) {
        case SendQueue::Pushed::QUEUED:
        case SendQueue::Pushed::QUEUED_WAKE:
            return SOFTBUS_OK;
        case SendQueue::Pushed::FULL:
            return SOFTBUS_QUEUE_FULL;
        case SendQueue::Pushed::CLOSED:
            break;
    }
    return SOFTBUS_NO_SUCH_SESSION;
}

int Server::GetPeerNetworkId(int sessionId, std::string& networkId)
{
    const SessionPtr session = table_->Find(sessionId);
    if (!session || !session->OpenLink()) {
        return SOFTBUS_NO_SUCH_SESSION;
    }
    networkId = session->Request().peerNetworkId;
    return SOFTBUS_OK;
}

}  // namespace

Result<sptr<SoftBusServer>> SoftBusServer::Start(const Trust::Identity& identity, SoftBusOptions options)
{
    const auto server = MakeSptr<Server>(std::move(options));
    if (auto begun = server->Begin(identity); !begun) {
        return Failure(std::move(begun).error());
    }
    return sptr<SoftBusServer>(server);
}

}  // namespace Vexo::SoftBus
