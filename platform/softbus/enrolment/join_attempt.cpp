#include "platform/softbus/enrolment/join_attempt.h"

#include <pthread.h>

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <set>
#include <thread>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/utf8.h"
#include "platform/dfx/guard.h"
#include "platform/softbus/discovery/folder_channel.h"
#include "platform/softbus/enrolment/conversation.h"
#include "platform/softbus/enrolment/join_frames.h"
#include "platform/softbus/link/dial.h"
#include "platform/softbus/reactor_context.h"
#include "platform/softbus/softbus_log.h"
#include "platform/softbus/transport/tcp_transport.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/trust/ticket_join.h"

namespace Vexo::SoftBus {

namespace {

constexpr const char* TCP = "tcp";
constexpr size_t MAX_QUEUED_BYTES = 64 * 1024;
// The pause between two searches. After the pause, an address that failed may work, or a radio may be ready.
constexpr std::chrono::seconds SEARCH_PAUSE{1};

class Attempt;

// The conversation with the holder (the device that created the ticket).
class Talk final : public Conversation {
public:
    Talk(Attempt& attempt, asio::io_context& reactor, const std::shared_ptr<Link>& link, std::string over)
        : Conversation(reactor, link), attempt_(attempt), over_(std::move(over))
    {
    }

    // Call when the link is ready. Sends JOIN_COMMIT. Returns false if the link is closed.
    bool Start(const JoinRequest& request)
    {
        request_ = EncodeJoinRequest(request);
        GetLink().SetOwner(shared_from_this());
        return GetLink().Send(FrameKind::JOIN_COMMIT, Trust::JoinCommitment(request_)) != SendQueue::Pushed::CLOSED;
    }
    bool HasAsked() const { return hasAsked_; }
    const std::string& Over() const { return over_; }

private:
    void OnJoinFrame(FrameKind kind, const std::string& payload) override;
    void OnNonce(const std::string& payload);
    void OnLost(const std::string& why) override;

    Attempt& attempt_;  // outlives all work on the reactor
    const std::string over_;
    std::string request_;  // the payload of JOIN_REQUEST
    bool hasAsked_ = false;
};

class Attempt final : public JoinAttempt, public std::enable_shared_from_this<Attempt> {
public:
    explicit Attempt(JoinOptions options)
        : options_(std::move(options)),
          limit_(*context_.reactor),
          pause_(*context_.reactor),
          work_(asio::make_work_guard(*context_.reactor))
    {
    }
    ~Attempt() override { Cancel(); }

    Result<void> Begin();
    JoinStatus Status() const override EXCLUDES(mutex_);
    void Cancel() override EXCLUDES(mutex_, lifeMutex_);

    // Talk calls these functions on the reactor thread.
    void OnAsked(const JoinNonce& nonce, const std::string& number);
    void OnAnswer(const JoinAnswer& answer);
    void OnLost(const std::string& why);
    void FailWith(JoinFailure failure, const std::string& why, const std::string& suggestion = "");

private:
    Result<void> MakeLinks();
    void ListenForHolders();
    void StartChannel(AnnouncementChannel& channel);
    void Run();
    template <typename Change>
    void Update(Change change) EXCLUDES(mutex_);

    std::vector<Route> Routes() const;
    void Search();
    void SearchLater();
    void OnDialEnded(const DialResult& result);
    void Install(const std::string& answerPem);
    void End();

    const JoinOptions options_;
    std::string requestDer_;
    ReactorContext context_;
    asio::steady_timer limit_;
    asio::steady_timer pause_;
    std::vector<std::unique_ptr<AnnouncementChannel>> channels_;  // constant while the reactor runs
    std::set<std::string> heard_;  // the network id prefixes of holders that announce themselves
    std::shared_ptr<Dial> dial_;
    std::shared_ptr<Talk> talk_;
    bool hasEnded_ = false;
    asio::executor_work_guard<asio::io_context::executor_type> work_;

    mutable Mutex mutex_;
    JoinStatus status_ GUARDED_BY(mutex_);
    Tasks::Strand strand_;
    Mutex lifeMutex_;
    std::thread thread_ GUARDED_BY(lifeMutex_);
};

// --- the conversation ---

void Talk::OnJoinFrame(FrameKind kind, const std::string& payload)
{
    const auto answer = kind == FrameKind::JOIN_ANSWER ? DecodeJoinAnswer(payload) : Failure(Error{});
    if (answer && (hasAsked_ || answer.value().result != JoinFailure::NONE)) {
        attempt_.OnAnswer(answer.value());
    } else if (kind == FrameKind::JOIN_NONCE && !hasAsked_) {
        OnNonce(payload);
    } else {
        GetLink().Refuse("an unexpected frame during an enrolment by ticket");
    }
}

void Talk::OnNonce(const std::string& payload)
{
    const auto nonce = DecodeJoinNonce(payload);
    const auto number = nonce ? NumberOf(nonce.value().nonce, request_) : Failure(nonce.error());
    if (!number) {
        GetLink().Refuse(number.error().message);
        return;
    }
    hasAsked_ = true;
    GetLink().Send(FrameKind::JOIN_REQUEST, request_);
    KeepAlive();
    attempt_.OnAsked(nonce.value(), number.value());
}

void Talk::OnLost(const std::string& why)
{
    attempt_.OnLost(why);
}

// --- start and stop ---

Result<void> Attempt::Begin()
{
    auto der = Trust::RequestToDer(options_.requestPem);
    if (!der) {
        return Failure(std::move(der).error());
    }
    requestDer_ = std::move(der.value());
    context_.ownNetworkId = options_.networkId;
    if (auto made = MakeLinks(); !made) {
        return made;
    }
    ListenForHolders();
    asio::post(*context_.reactor, [this] {
        limit_.expires_after(JOIN_SEARCH_LIMIT);
        limit_.async_wait([this](const asio::error_code& error) {
            if (!error && !hasEnded_ && !(talk_ && talk_->HasAsked())) {
                FailWith(JoinFailure::NOBODY_FOUND, "");
            }
        });
        Search();
    });
    const MutexLock lock(lifeMutex_);
    thread_ = std::thread([this] { Run(); });
    return {};
}

Result<void> Attempt::MakeLinks()
{
    auto tls = Trust::TlsContext::MakeForTicket(options_.ticket);
    if (!tls) {
        return Failure(std::move(tls).error());
    }
    const Trust::LinkKeys keys = Trust::TicketKeys(options_.ticket);
    auto preamble = Trust::Preamble::Make(keys);
    if (!preamble) {
        return Failure(std::move(preamble).error());
    }
    context_.linkSetup = {std::move(tls.value()), std::move(preamble.value()), MAX_QUEUED_BYTES};
    context_.transports.push_back(std::make_shared<TcpTransport>(*context_.reactor, options_.listenAddress));
    for (const TransportFactory& make : options_.moreTransports) {
        const auto transport = make(*context_.reactor);
        // A channel may need a transport that listens. The address of this listener is not announced.
        if (const auto listening = transport->Listen([](Stream, const std::string&) {}); !listening) {
            QuviewDFX::LogWarn(LOG_SOFTBUS, "no links over %{public}s: %{public}s", transport->Name(),
                               listening.error().message);
        }
        context_.transports.push_back(transport);
    }
    Sightings::TransportTokens tokens;
    for (const auto& transport : context_.transports) {
        auto made = Trust::AnnouncementTokens::Make(keys, transport->Name());
        if (!made) {
            return Failure(std::move(made).error());
        }
        tokens[transport->Name()] = std::move(made.value());
    }
    context_.sightings.SetTokens(options_.networkId, std::move(tokens));
    return {};
}

void Attempt::ListenForHolders()
{
    if (!options_.announceFolder.empty()) {
        channels_.push_back(std::make_unique<FolderChannel>(options_.announceFolder,
                                                            PeerAddress{TCP, options_.listenAddress},
                                                            [](const std::string&, WallTime) { return false; }));
    }
    for (const AnnouncementChannelFactory& make : options_.channels) {
        channels_.push_back(make(options_.listenAddress));
    }
    for (const auto& channel : channels_) {
        StartChannel(*channel);
    }
    context_.seek = [this] { return SeekOnAll(channels_); };
}

void Attempt::StartChannel(AnnouncementChannel& channel)
{
    const auto started = channel.Start(
        "",
        [this, transport = channel.TransportName()](const std::string& token) {
            return context_.sightings.IsOurs(transport, token);
        },
        [this, kind = channel.Name()](const std::string& name, const std::optional<Announcement>& heard) {
            asio::post(*context_.reactor, [this, kind, name, heard] {
                if (const auto owner = context_.sightings.Set(kind, name, heard); owner && !hasEnded_) {
                    heard_.insert(owner->idPrefix);
                    Search();
                }
            });
        });
    if (!started) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "cannot search for the holder over %{public}s: %{public}s", channel.Name(),
                           started.error().message);
    }
}

void Attempt::Run()
{
    pthread_setname_np(pthread_self(), "join");
    while (!QuviewDFX::RunGuarded(LOG_SOFTBUS, "reactor work", [this] { context_.reactor->run(); })) {
    }
    channels_.clear();
}

void Attempt::Cancel()
{
    asio::post(*context_.reactor, [this] { FailWith(JoinFailure::CANCELLED, ""); });
    const MutexLock lock(lifeMutex_);
    if (thread_.joinable()) {
        thread_.join();
    }
}

// Ends the dial, the conversation and the transports. The reactor then returns when its last link has ended.
void Attempt::End()
{
    hasEnded_ = true;
    limit_.cancel();
    pause_.cancel();
    if (const auto dial = std::exchange(dial_, nullptr)) {
        dial->Cancel();
    }
    if (const auto talk = std::exchange(talk_, nullptr)) {
        talk->Close();
    }
    for (const auto& transport : context_.transports) {
        transport->Stop();
    }
    work_.reset();
}

JoinStatus Attempt::Status() const
{
    const MutexLock lock(mutex_);
    return status_;
}

template <typename Change>
void Attempt::Update(Change change)
{
    const MutexLock lock(mutex_);
    change(status_);
    if (options_.changed) {
        strand_.Post([changed = options_.changed, status = status_] { changed(status); });
    }
}

// --- the search ---

std::vector<Route> Attempt::Routes() const
{
    std::vector<PeerAddress> all;
    const auto add = [&all](const PeerAddress& address) {
        if (std::find(all.begin(), all.end(), address) == all.end()) {
            all.push_back(address);
        }
    };
    if (!options_.ticket.address.empty()) {
        add({TCP, options_.ticket.address});
    }
    for (const std::string& prefix : heard_) {
        for (const PeerAddress& address : context_.sightings.Addresses(prefix)) {
            add(address);
        }
    }
    for (const std::string& address : options_.peerAddresses) {
        add({TCP, address});
    }
    std::vector<Route> routes;
    routes.reserve(all.size());
    for (const PeerAddress& address : all) {
        routes.push_back({address, NEXT_ADDRESS_DELAY * static_cast<int>(routes.size())});
    }
    return routes;
}

void Attempt::Search()
{
    if (hasEnded_ || talk_) {
        return;
    }
    if (const auto dial = dial_) {
        dial->AddNewAddresses();
        return;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit_.expiry() - Clock::System().Now());
    dial_ = Dial::Start(context_,
                        {.networkId = "",
                         .idPrefix = "",
                         .routes = [this] { return Routes(); },
                         .limit = left,
                         .seekingLimit = left,
                         .greets = false},
                        [this](const DialResult& result) { OnDialEnded(result); });
}

void Attempt::SearchLater()
{
    pause_.expires_after(SEARCH_PAUSE);
    pause_.async_wait([this](const asio::error_code& error) {
        if (!error) {
            Search();
        }
    });
}

void Attempt::OnDialEnded(const DialResult& result)
{
    dial_.reset();
    if (!result.link) {
        SearchLater();
        return;
    }
    auto nonce = Trust::MakeJoinNonce();
    talk_ = std::make_shared<Talk>(*this, *context_.reactor, result.link, result.where.transport);
    const bool hasStarted = nonce && talk_->Start({std::move(nonce.value()), options_.deviceTypeId,
                                                   MillisecondsOf(Clock::System().WallNow()), requestDer_});
    if (!hasStarted) {
        FailWith(JoinFailure::LOCAL, "this device has no random bytes or no memory");
    }
}

// --- the outcome ---

void Attempt::OnAsked(const JoinNonce& nonce, const std::string& number)
{
    limit_.cancel();
    Update([&](JoinStatus& status) {
        status.phase = JoinPhase::CONFIRMING;
        status.over = talk_->Over();
        status.holderName = nonce.holderName;
        status.account = nonce.account;
        status.number = number;
    });
}

void Attempt::OnLost(const std::string& why)
{
    const bool hasAsked = talk_ && talk_->HasAsked();
    talk_.reset();
    if (hasAsked) {
        // Do not try again automatically: each attempt shows another number, which the person must compare.
        FailWith(JoinFailure::LOST, "the other device went away before it answered: " + why);
    } else if (!hasEnded_) {
        SearchLater();
    }
}

void Attempt::OnAnswer(const JoinAnswer& answer)
{
    if (answer.result == JoinFailure::NONE) {
        Install(answer.text);
    } else if (answer.result == JoinFailure::NAME_TAKEN) {
        FailWith(answer.result, "", answer.text);
    } else {
        FailWith(answer.result, EscapeHidden(answer.text));
    }
}

void Attempt::Install(const std::string& answerPem)
{
    End();
    const bool isPosted = strand_.Post([self = shared_from_this(), answerPem] {
        const auto installed = self->options_.install(answerPem);
        self->Update([&](JoinStatus& status) {
            status.phase = installed ? JoinPhase::DONE : JoinPhase::FAILED;
            status.failure = installed ? JoinFailure::NONE : JoinFailure::LOCAL;
            status.why = installed ? "" : installed.error().message;
        });
    });
    if (!isPosted) {
        Update([](JoinStatus& status) {
            status.phase = JoinPhase::FAILED;
            status.failure = JoinFailure::LOCAL;
            status.why = "this device has no free thread to install the answer";
        });
    }
}

void Attempt::FailWith(JoinFailure failure, const std::string& why, const std::string& suggestion)
{
    if (hasEnded_) {
        return;
    }
    End();
    Update([&](JoinStatus& status) {
        status.phase = JoinPhase::FAILED;
        status.failure = failure;
        status.why = why;
        status.suggestion = suggestion;
    });
}

}  // namespace

Result<std::shared_ptr<JoinAttempt>> JoinAttempt::Start(JoinOptions options)
{
    const auto attempt = std::make_shared<Attempt>(std::move(options));
    if (auto begun = attempt->Begin(); !begun) {
        return Failure(std::move(begun).error());
    }
    return std::shared_ptr<JoinAttempt>(attempt);
}

}  // namespace Vexo::SoftBus
