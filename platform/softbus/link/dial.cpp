#include "platform/softbus/link/dial.h"

#include <algorithm>
#include <asio/post.hpp>
#include <atomic>

#include "platform/base/check.h"
#include "platform/dfx/trace.h"
#include "platform/softbus/discovery/hello.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

// Returns the weight of a failure. A dial reports the failed attempt with the largest weight. A refusal weighs more
// than a timeout, and a timeout more than a closed or broken connection.
int Weight(LinkEnd end)
{
    switch (end) {
        case LinkEnd::REFUSED:
            return 2;
        case LinkEnd::TIMED_OUT:
            return 1;
        case LinkEnd::CLOSED:
        case LinkEnd::BROKEN:
            break;
    }
    return 0;
}

int32_t NextSpanId()
{
    static std::atomic<int32_t> last{0};
    return ++last;
}

}  // namespace

// The attempt at one address: the connection and its handshake. If the device refuses the proof of the current link
// key, the attempt makes two more connections. The second connection uses the previous link key and delivers the
// account's state. The third connection uses the current link key again.
class Dial::Attempt : public LinkOwner, public std::enable_shared_from_this<Attempt> {
public:
    Attempt(std::shared_ptr<Dial> dial, PeerAddress where) : dial_(std::move(dial)), where_(std::move(where)) {}

    void Start(std::chrono::milliseconds limit)
    {
        Transport* const transport = dial_->context_.FindTransport(where_.transport);
        if (transport == nullptr) {
            OnEnded(LinkEnd::BROKEN, "there is no transport \"" + where_.transport + "\" here");
            return;
        }
        StartAsyncTrace(TRACE_TAG_PLATFORM, SpanName::CONNECT, span_);
        connect_ = transport->Connect(where_.address, limit, [self = shared_from_this()](Result<Stream> stream) {
            FinishAsyncTrace(TRACE_TAG_PLATFORM, SpanName::CONNECT, self->span_);
            if (!stream) {
                self->ConnectFailed(stream.error());
            } else if (self->dial_) {
                self->StartHandshake(std::move(stream.value()));
            }
        });
    }

    // Stops the attempt. The dial and its attempts refer to each other, so the references are removed here.
    void Abandon()
    {
        FinishAsyncTrace(TRACE_TAG_PLATFORM, SpanName::CONNECT, span_);  // no effect if the span has ended
        dial_.reset();
        connect_.reset();
        if (const auto link = std::exchange(link_, nullptr)) {
            link->Abort();
        }
    }

    void OnReady() override
    {
        if (key_ == Trust::ProvenKey::PREVIOUS) {
            link_->Send(FrameKind::HELLO, OwnHello(dial_->context_));
            return;
        }
        if (link_->PeerNetworkId() == dial_->context_.ownNetworkId) {
            const auto link = link_;
            dial_->result_.isThisDevice = true;
            OnEnded(LinkEnd::CLOSED, "it leads back to this device");
            link->Abort();
            return;
        }
        dial_->Succeeded(shared_from_this(), std::exchange(link_, nullptr));
    }

    // Called only for the connection that delivers the state. The link of any other connection has a new owner when it
    // is ready.
    void OnFrame(FrameKind kind, std::string payload) override
    {
        if (kind != FrameKind::HELLO || std::exchange(hasDelivered_, true)) {
            link_->Refuse("an unexpected frame before a session");
        } else {
            OnHello(dial_->context_, *link_, payload, where_);  // sends the state; the device then closes
        }
    }

    void OnEnded(LinkEnd end, const std::string& why) override
    {
        const bool wasProofRefused = link_ && link_->WasProofRefused();
        link_.reset();
        const auto dial = dial_;
        if (!dial) {
            return;
        }
        if (key_ == Trust::ProvenKey::CURRENT && wasProofRefused && !hasDelivered_ && dial->CanDeliver()) {
            key_ = Trust::ProvenKey::PREVIOUS;
            Start(dial->TimeLeft());
        } else if (key_ == Trust::ProvenKey::PREVIOUS && hasDelivered_ && end == LinkEnd::CLOSED) {
            key_ = Trust::ProvenKey::CURRENT;
            Start(dial->TimeLeft());
        } else {
            dial->Failed(shared_from_this(), end, why);
        }
    }

    const PeerAddress& Where() const { return where_; }

private:
    void ConnectFailed(const Error& error)
    {
        const bool nobodyAnswers = error.code == ErrorCode::UNAVAILABLE || error.code == ErrorCode::TIMED_OUT;
        if (dial_ && nobodyAnswers) {
            dial_->wasTried_ = true;
        }
        OnEnded(LinkEnd::BROKEN, error.message);
    }

    void StartHandshake(Stream stream)
    {
        link_ = dial_->context_.MakeClientLink(std::move(stream), dial_->request_.networkId, key_);
        if (link_) {
            dial_->wasTried_ = true;
            link_->Start(shared_from_this());
        } else {
            OnEnded(LinkEnd::BROKEN, "not enough memory");
        }
    }

    std::shared_ptr<Dial> dial_;
    const PeerAddress where_;
    const int32_t span_ = NextSpanId();
    Trust::ProvenKey key_ = Trust::ProvenKey::CURRENT;
    bool hasDelivered_ = false;
    std::shared_ptr<void> connect_;
    std::shared_ptr<Link> link_;
};

Dial::Dial(ReactorContext& context, DialRequest request, Done done)
    : context_(context),
      request_(std::move(request)),
      done_(std::move(done)),
      timer_(*context.reactor),
      span_(NextSpanId())
{
}

std::shared_ptr<Dial> Dial::Start(ReactorContext& context, DialRequest request, Done done)
{
    DISTNET_ASSERT(context.RunsOnThisThread(), "on the reactor thread");
    std::shared_ptr<Dial> dial(new Dial(context, std::move(request), std::move(done)));
    dial->routes_ = dial->request_.routes();
    dial->routes_.resize(std::min(dial->routes_.size(), MAX_ROUTES));
    context.dials.insert(dial);
    asio::post(*context.reactor, [dial] { dial->StartDueAttempts(); });
    return dial;
}

void Dial::AddNewAddresses()
{
    const auto passed = std::chrono::ceil<std::chrono::milliseconds>(Clock::System().Now() - start_);
    for (const Route& route : request_.routes()) {
        const bool isNew = std::none_of(routes_.begin(), routes_.end(),
                                        [&](const Route& known) { return known.where == route.where; });
        if (isNew && routes_.size() < MAX_ROUTES) {
            lastAdded_ = std::max(passed, lastAdded_ + NEXT_ADDRESS_DELAY);
            routes_.push_back({route.where, lastAdded_, seeking_ != nullptr});
        }
    }
    std::stable_sort(routes_.begin() + static_cast<std::ptrdiff_t>(next_), routes_.end(),
                     [](const Route& a, const Route& b) { return a.after < b.after; });
    StartDueAttempts();
}

void Dial::StartDueAttempts()
{
    const auto passed = Clock::System().Now() - start_;
    if (const std::string why = context_.account.OwnRemovalText(); done_ && !why.empty()) {
        result_.end = LinkEnd::REFUSED;
        result_.why = why;
        Finish();
    }
    while (done_ && next_ < routes_.size() && attempts_.size() < MAX_ATTEMPTS &&
           (routes_[next_].after <= passed || (attempts_.empty() && !routes_[next_].isRepeated))) {
        Try(routes_[next_++]);
    }
    if (done_ && attempts_.empty() && !SeeksNow()) {
        Finish();
    } else if (done_) {
        Wait();
    }
}

// Starts to seek when SEEK_DELAY has passed or all addresses have failed. Seeks again if the addresses that were found
// by seeking have failed. Returns true while a channel seeks.
bool Dial::SeeksNow()
{
    const auto passed = std::chrono::ceil<std::chrono::milliseconds>(Clock::System().Now() - start_);
    const bool isDue = attempts_.empty() || (!hasSought_ && passed >= SEEK_DELAY);
    if (request_.seekingLimit && !seeking_ && isDue) {
        hasSought_ = true;
        seeking_ = context_.seek ? context_.seek() : nullptr;
        if (seeking_) {
            limit_ = *request_.seekingLimit;
            StartAsyncTrace(TRACE_TAG_PLATFORM, SpanName::SEEK, span_);
        }
    }
    return seeking_ != nullptr;
}

void Dial::StopSeeking()
{
    if (std::exchange(seeking_, nullptr)) {
        FinishAsyncTrace(TRACE_TAG_PLATFORM, SpanName::SEEK, span_);
    }
}

void Dial::Try(const Route& route)
{
    if (route.wasSought) {
        StopSeeking();  // because connecting is slow while a radio scans
    }
    const auto attempt = std::make_shared<Attempt>(shared_from_this(), route.where);
    attempts_.insert(attempt);
    attempt->Start(TimeLeft());
}

// Returns the time limit for a connection attempt that starts now.
std::chrono::milliseconds Dial::TimeLeft() const
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(start_ + limit_ - Clock::System().Now());
    return std::clamp(left, std::chrono::milliseconds(1), HANDSHAKE_LIMIT);
}

// Returns true if this device can send the account's state to a device that has only the previous link key.
bool Dial::CanDeliver() const
{
    return context_.exchange != nullptr && context_.account.State() && context_.linkSetup.preamble->HasPrevious();
}

// Sets the timer for the next event: the next address, the start of seeking, or the time limit of the dial.
void Dial::Wait()
{
    auto until = limit_;
    if (next_ < routes_.size() && attempts_.size() < MAX_ATTEMPTS) {
        until = std::min(until, routes_[next_].after);
    }
    if (request_.seekingLimit && !hasSought_) {
        until = std::min(until, SEEK_DELAY);
    }
    timer_.expires_at(start_ + until);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (error || !self->done_) {
            return;
        }
        if (Clock::System().Now() >= self->start_ + self->limit_) {
            for (const AttemptPtr& waiting : self->attempts_) {
                self->RecordTry(waiting->Where(), "no answer within the limit");
            }
            self->result_.end = LinkEnd::TIMED_OUT;
            self->result_.why = "no answer within the limit" +
                                (self->result_.where.address.empty() ? "" : ", and before: " + self->result_.why);
            self->Finish();
        } else {
            self->SeeksNow();
            self->StartDueAttempts();
        }
    });
}

// Records the attempt if the device is known. Attempts to reach unknown devices are not recorded, because the list of
// nodes shows only known devices, and there may be many unknown devices.
void Dial::RecordTry(const PeerAddress& where, const std::string& answer)
{
    const std::string networkId =
        request_.networkId.empty() ? context_.devices.FindByPrefix(request_.idPrefix) : request_.networkId;
    if (context_.devices.IsKnown(networkId)) {
        context_.tries.Record(networkId, where, Clock::System().WallNow(), answer);
    }
}

void Dial::Succeeded(const AttemptPtr& attempt, std::shared_ptr<Link> link)
{
    context_.sightings.RecordHandshake(request_.idPrefix, attempt->Where(), false);
    RecordTry(attempt->Where(), "");
    if (request_.greets) {
        link->Send(FrameKind::HELLO, OwnHello(context_));
    }
    result_ = {.link = std::move(link), .where = attempt->Where()};
    Finish();
}

void Dial::Failed(const AttemptPtr& attempt, LinkEnd end, const std::string& why)
{
    attempts_.erase(attempt);
    attempt->Abandon();
    RecordTry(attempt->Where(), why);
    if (end == LinkEnd::REFUSED) {
        context_.sightings.RecordHandshake(request_.idPrefix, attempt->Where(), true);
    }
    if (result_.where.address.empty() || Weight(end) > Weight(result_.end)) {
        result_ = {.where = attempt->Where(), .end = end, .why = why, .isThisDevice = result_.isThisDevice};
    }
    if (end == LinkEnd::BROKEN || end == LinkEnd::TIMED_OUT) {
        RepeatIfByRadio(attempt->Where());
    }
    StartDueAttempts();
}

void Dial::RepeatIfByRadio(const PeerAddress& where)
{
    const Transport* const transport = context_.FindTransport(where.transport);
    const auto untried = routes_.begin() + static_cast<std::ptrdiff_t>(next_);
    const auto route = std::find_if(routes_.begin(), untried, [&](const Route& one) { return one.where == where; });
    if (route == untried || routes_.size() >= MAX_ROUTES) {
        return;
    }
    const bool isByRadio = route->wasSought || (transport != nullptr && !transport->HasStableAddresses());
    if (!isByRadio) {
        return;
    }
    const auto passed = std::chrono::ceil<std::chrono::milliseconds>(Clock::System().Now() - start_);
    const Route again{where, passed + REPEAT_DELAY, route->wasSought, true};
    const auto later = std::find_if(untried, routes_.end(), [&](const Route& one) { return one.after > again.after; });
    routes_.insert(later, again);
}

void Dial::Finish()
{
    const Done done = std::move(done_);
    result_.wasTried = wasTried_;
    result_.took = Clock::System().Now() - start_;
    result_.deadline = start_ + limit_;
    const DialResult result = std::exchange(result_, {});
    Cancel();
    done(result);
}

void Dial::Cancel()
{
    done_ = nullptr;
    timer_.cancel();
    StopSeeking();
    context_.dials.erase(shared_from_this());
    for (const AttemptPtr& attempt : std::exchange(attempts_, {})) {
        attempt->Abandon();
    }
}

}  // namespace Vexo::SoftBus
