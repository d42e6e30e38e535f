#include "backends/linux/bluetooth_transport.h"

#include <poll.h>

#include <array>
#include <asio/post.hpp>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {

using SoftBus::Stream;

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bluetooth"};

// The pause after accepting a connection has failed, for example because no descriptor is free. The connection stays in
// the kernel's queue, so retrying without a pause would use all processor time.
constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};

// The number of spare channels, which are opened in advance. To get online over another device, this device needs three
// channels: one between the two daemons, one for the wake-up message, and one for the service. The second and the third
// are spare channels. They are opened right after the first, because BlueZ opens its own channels on both sides of a
// new radio link some hundred milliseconds later. If a channel that one side opens later has the same identifier as a
// channel that the other side opened, kernel 6.1 confuses the two channels. The kernel then rejects the next new
// channel for up to 40 s, or sends the data of one channel over the other.
constexpr size_t SPARES = 2;
// How long an unused spare channel stays open. The peer closes a channel without authentication after a longer time
// (LimitsOfAdmission).
constexpr std::chrono::milliseconds SPARE_TIME{4000};
// If a channel is not open after this time, the kernel may have confused it with another channel. A second channel with
// a new identifier is then opened. The channel that opens first is used.
constexpr std::chrono::milliseconds SECOND_CHANNEL_DELAY{1000};

Failure FailureOf(const std::string& what, int number)
{
    return Fail(ErrorCodeOf(number), what + ": " + std::strerror(number));
}

Failure ListenFailure(int number)
{
    if (number == EAFNOSUPPORT || number == EPROTONOSUPPORT) {
        return Fail(ErrorCode::UNAVAILABLE, "the kernel has no Bluetooth");
    }
    return FailureOf("cannot listen over Bluetooth", number);
}

}  // namespace

// One attempt to connect. It ends when the kernel completes it or when its time limit has passed. The limit is needed,
// because the kernel waits for ever for an absent device.
class BluetoothTransport::Attempt : public std::enable_shared_from_this<Attempt> {
public:
    Attempt(asio::io_context& reactor, L2capSockets& sockets, std::string address)
        : address_(std::move(address)),
          sockets_(sockets),
          channels_{Channel(reactor), Channel(reactor)},
          limit_(reactor),
          secondDue_(reactor)
    {
    }

    void Start(asio::io_context& reactor, BluetoothShared& shared, std::chrono::milliseconds limit,
               Transport::Connected done)
    {
        done_ = std::move(done);
        if (const Result<BluetoothAddress> to = ParseBluetoothAddress(address_)) {
            // The attempt counts as a use of the radio link even if it fails, because a failed attempt may leave a
            // radio link open.
            use_ = shared.AddUse(DeviceOf(*to), BluetoothShared::OpenedBy::THIS_DEVICE);
        }
        const BluetoothAddress adapter = shared.Adapter();
        if (Result<void> begun = Begin(channels_[0], adapter); !begun) {
            asio::post(reactor, [self = shared_from_this(), why = begun.error()] { self->Finish(Failure(why)); });
            return;
        }
        limit_.expires_after(limit);
        limit_.async_wait([self = shared_from_this()](const asio::error_code& error) {
            if (!error) {
                self->Finish(Fail(ErrorCode::TIMED_OUT, self->address_ + " does not answer"));
            }
        });
        secondDue_.expires_after(SECOND_CHANNEL_DELAY);
        secondDue_.async_wait([self = shared_from_this(), adapter](const asio::error_code& error) {
            if (!error && self->done_) {
                (void)self->Begin(self->channels_[1], adapter);
            }
        });
    }

    // Called instead of Start if a channel is already open. The reactor later passes this channel to the callback.
    void StartWith(asio::io_context& reactor, Stream stream, Transport::Connected done)
    {
        done_ = std::move(done);
        const auto open = std::make_shared<Stream>(std::move(stream));
        asio::post(reactor, [self = shared_from_this(), open] { self->Finish(std::move(*open)); });
    }

    void Cancel()
    {
        done_ = nullptr;
        limit_.cancel();
        secondDue_.cancel();
        for (auto& channel : channels_) {
            asio::error_code ignored;
            channel.close(ignored);
        }
        use_.reset();
    }

private:
    using Channel = asio::posix::stream_descriptor;

    [[nodiscard]] Result<void> Begin(Channel& channel, const BluetoothAddress& adapter)
    {
        const Result<BluetoothAddress> to = ParseBluetoothAddress(address_);
        if (!to) {
            return Failure(to.error());
        }
        UniqueFd socket(sockets_.Open(adapter));
        if (!socket) {
            return FailureOf(address_, -socket.Get());
        }
        if (const int result = sockets_.Connect(socket.Get(), *to); result < 0 && result != -EINPROGRESS) {
            return FailureOf(address_, -result);
        }
        asio::error_code error;
        channel.assign(socket.Get(), error);
        if (error) {
            return Fail(ErrorCode::SYSTEM, address_ + ": " + error.message());
        }
        static_cast<void>(socket.Release());
        channel.async_wait(Channel::wait_write, [self = shared_from_this(), &channel](const asio::error_code& failed) {
            if (!failed && self->done_) {
                self->OnWritable(channel);
            }
        });
        return {};
    }

    void OnWritable(Channel& channel)
    {
        const int unit = sockets_.SendUnit(channel.native_handle());
        if (unit >= 0) {
            Finish(Stream{UniqueFd(channel.release()), static_cast<size_t>(unit), std::move(use_)});
            return;
        }
        asio::error_code ignored;
        channel.close(ignored);
        if (!channels_[0].is_open() && !channels_[1].is_open()) {
            Finish(FailureOf(address_, -unit));
        }
    }

    void Finish(Result<Stream> result)
    {
        const Transport::Connected done = std::move(done_);
        Cancel();
        if (done) {
            done(std::move(result));
        }
    }

    const std::string address_;
    L2capSockets& sockets_;
    std::array<Channel, 2> channels_;  // the second one is used if the first one does not open soon
    asio::steady_timer limit_;
    asio::steady_timer secondDue_;
    std::shared_ptr<void> use_;
    Transport::Connected done_;
};

BluetoothTransport::BluetoothTransport(asio::io_context& reactor, std::shared_ptr<BluetoothShared> shared,
                                       L2capSockets& sockets)
    : reactor_(reactor), shared_(std::move(shared)), sockets_(sockets), acceptor_(reactor), acceptPause_(reactor)
{
}

BluetoothTransport::~BluetoothTransport() = default;

Result<std::pair<UniqueFd, uint16_t>> BluetoothTransport::Bind()
{
    BluetoothAddress local;
    for (local.psm = FIRST_PSM; local.psm <= LAST_PSM; ++local.psm) {
        const int opened = sockets_.Open(local);
        if (opened == -EADDRINUSE) {
            continue;
        }
        if (opened < 0) {
            return ListenFailure(-opened);
        }
        UniqueFd socket(opened);
        if (const int result = sockets_.Listen(opened); result < 0) {
            return ListenFailure(-result);
        }
        return std::pair(std::move(socket), local.psm);
    }
    return ListenFailure(EADDRINUSE);
}

Result<std::string> BluetoothTransport::Listen(Accepted accepted)
{
    Result<std::pair<UniqueFd, uint16_t>> bound = Bind();
    asio::error_code error;
    if (bound) {
        acceptor_.assign(bound->first.Get(), error);
    }
    if (bound && error) {
        bound = Fail(ErrorCode::SYSTEM, "cannot listen over Bluetooth: " + error.message());
    }
    if (!bound) {
        shared_->SetState({{false, bound.error().message}, "Bluetooth needs the kernel module: modprobe bluetooth"});
        return Failure(bound.error());
    }
    static_cast<void>(bound->first.Release());
    shared_->SetPsm(bound->second);
    accepted_ = std::move(accepted);
    AcceptNext();
    return std::string();
}

void BluetoothTransport::AcceptNext()
{
    acceptor_.async_wait(asio::posix::stream_descriptor::wait_read,
                         [self = shared_from_this()](const asio::error_code& error) {
                             if (!error && !self->stopped_) {
                                 self->AcceptAll();
                             }
                         });
}

void BluetoothTransport::AcceptAll()
{
    while (!stopped_) {
        BluetoothAddress from;
        const int accepted = sockets_.Accept(acceptor_.native_handle(), from);
        if (accepted >= 0) {
            OnAccepted(UniqueFd(accepted), from);
        } else if (accepted == -EAGAIN) {
            AcceptNext();
            return;
        } else if (accepted != -ECONNABORTED && accepted != -EINTR) {
            QuviewDFX::LogError(LABEL, "accepting a link failed: %{public}s", std::strerror(-accepted));
            acceptPause_.expires_after(ACCEPT_PAUSE);
            acceptPause_.async_wait([self = shared_from_this()](const asio::error_code& error) {
                if (!error && !self->stopped_) {
                    self->AcceptNext();
                }
            });
            return;
        }
    }
}

void BluetoothTransport::OnAccepted(UniqueFd socket, const BluetoothAddress& from)
{
    const int unit = sockets_.SendUnit(socket.Get());
    if (unit < 0) {
        return;  // the peer has already disconnected
    }
    // An exception in the callback of one connection must not stop the acceptance of other connections.
    QuviewDFX::RunGuarded(LABEL, "accepting", [&] {
        accepted_(Stream{std::move(socket), static_cast<size_t>(unit),
                         shared_->AddUse(DeviceOf(from), BluetoothShared::OpenedBy::OTHER)},
                  ToText(from));
    });
}

Result<void> BluetoothTransport::CheckAddress(const std::string& address) const
{
    const Result<BluetoothAddress> parsed = ParseBluetoothAddress(address);
    return parsed ? Result<void>() : Failure(parsed.error());
}

std::shared_ptr<void> BluetoothTransport::Connect(const std::string& address, std::chrono::milliseconds limit,
                                                  Connected done)
{
    if (stopped_) {
        return nullptr;
    }
    const auto attempt = std::make_shared<Attempt>(reactor_, sockets_, address);
    attempts_.insert(attempt);
    const Result<BluetoothAddress> to = ParseBluetoothAddress(address);
    const bool isFirst = to && !shared_->IsUsed(DeviceOf(*to));
    auto ended = [this, self = shared_from_this(), weak = std::weak_ptr(attempt), done = std::move(done), address,
                  isFirst](Result<Stream> stream) {
        attempts_.erase(weak.lock());
        for (size_t opened = 0; stream && isFirst && opened < SPARES; ++opened) {
            OpenSpare(address);
        }
        done(std::move(stream));
    };
    if (std::optional<Stream> spare = TakeSpare(address)) {
        attempt->StartWith(reactor_, std::move(*spare), std::move(ended));
    } else {
        attempt->Start(reactor_, *shared_, limit, std::move(ended));
    }
    return {attempt.get(), [self = shared_from_this(), attempt](void*) {
                attempt->Cancel();
                self->attempts_.erase(attempt);
            }};
}

void BluetoothTransport::OpenSpare(const std::string& address)
{
    const auto attempt = std::make_shared<Attempt>(reactor_, sockets_, address);
    attempts_.insert(attempt);
    attempt->Start(reactor_, *shared_, SPARE_TIME,
                   [this, self = shared_from_this(), weak = std::weak_ptr(attempt), address](Result<Stream> stream) {
                       attempts_.erase(weak.lock());
                       if (!stream) {
                           return;
                       }
                       const auto timer = std::make_shared<asio::steady_timer>(reactor_, SPARE_TIME);
                       spares_.emplace(address, Spare{std::move(stream.value()), timer});
                       timer->async_wait([this, self, timer](const asio::error_code& error) {
                           if (!error) {
                               std::erase_if(spares_, [&](const auto& spare) { return spare.second.expiry == timer; });
                           }
                       });
                   });
}

std::optional<Stream> BluetoothTransport::TakeSpare(const std::string& address)
{
    for (auto spare = spares_.extract(address); !spare.empty(); spare = spares_.extract(address)) {
        spare.mapped().expiry->cancel();
        pollfd closedByPeer{spare.mapped().stream.socket.Get(), POLLRDHUP, 0};
        if (::poll(&closedByPeer, 1, 0) == 0) {
            return std::move(spare.mapped().stream);
        }
    }
    return std::nullopt;
}

void BluetoothTransport::Stop()
{
    stopped_ = true;
    accepted_ = nullptr;
    shared_->SetPsm(0);
    acceptPause_.cancel();
    asio::error_code ignored;
    acceptor_.close(ignored);
    for (const auto& attempt : attempts_) {
        attempt->Cancel();
    }
    attempts_.clear();
    for (const auto& [address, spare] : std::exchange(spares_, {})) {
        spare.expiry->cancel();
    }
}

}  // namespace Vexo::Linux
