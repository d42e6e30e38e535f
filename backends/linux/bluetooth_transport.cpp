#include "backends/linux/bluetooth_transport.h"

#include <asio/post.hpp>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {

using SoftBus::Stream;

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bluetooth"};

// The pause when no descriptor is free. The connection stays in the kernel's queue, so a retry at once would spin.
constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};

// BlueZ opens channels of its own on both sides of a new radio link. Where two of them carry the same identifier,
// kernel 6.1 takes one for the other: the number of a closed channel stays taken at the peer for up to 40 s, and a new
// channel with this number is refused. A kernel gives each new channel the lowest free number. So a refused connect is
// repeated, and as many others are begun just before it: these get the numbers that are refused.
constexpr std::chrono::milliseconds REFUSED_PAUSE{100};
constexpr int MAX_REFUSALS = 6;

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

// One connect: ends by completion or by the limit. The kernel itself waits forever for a device that is not there.
class BluetoothTransport::Attempt : public std::enable_shared_from_this<Attempt> {
public:
    Attempt(asio::io_context& reactor, L2capSockets& sockets, std::string address)
        : address_(std::move(address)), sockets_(sockets), socket_(reactor), limit_(reactor), pause_(reactor)
    {
    }

    void Start(asio::io_context& reactor, BluetoothShared& shared, std::chrono::milliseconds limit,
               Transport::Connected done)
    {
        done_ = std::move(done);
        adapter_ = shared.Adapter();
        if (const Result<BluetoothAddress> to = ParseBluetoothAddress(address_)) {
            // An attempt that fails may leave a radio link too.
            use_ = shared.AddUse(DeviceOf(*to), BluetoothShared::OpenedBy::THIS_DEVICE);
        }
        if (Result<void> begun = Begin(); !begun) {
            asio::post(reactor, [self = shared_from_this(), why = begun.error()] { self->Finish(Failure(why)); });
            return;
        }
        limit_.expires_after(limit);
        limit_.async_wait([self = shared_from_this()](const asio::error_code& error) {
            if (!error) {
                self->Finish(self->refusals_ > 0 ? FailureOf(self->address_, ECONNREFUSED)
                                                 : Fail(ErrorCode::TIMED_OUT, self->address_ + " does not answer"));
            }
        });
        AwaitWritable();
    }

    void Cancel()
    {
        done_ = nullptr;
        limit_.cancel();
        pause_.cancel();
        others_.clear();
        asio::error_code ignored;
        socket_.close(ignored);
        use_.reset();
    }

private:
    [[nodiscard]] Result<void> Begin()
    {
        const Result<BluetoothAddress> to = ParseBluetoothAddress(address_);
        if (!to) {
            return Failure(to.error());
        }
        others_.clear();
        for (int i = 0; i < refusals_; ++i) {
            others_.emplace_back(sockets_.Open(adapter_));
        }
        UniqueFd socket(sockets_.Open(adapter_));
        if (!socket) {
            return FailureOf(address_, -socket.Get());
        }
        // In one go: a number is free again once its channel has been refused.
        for (const UniqueFd& other : others_) {
            static_cast<void>(sockets_.Connect(other.Get(), *to));
        }
        if (const int result = sockets_.Connect(socket.Get(), *to); result < 0 && result != -EINPROGRESS) {
            return FailureOf(address_, -result);
        }
        asio::error_code error;
        socket_.assign(socket.Get(), error);
        if (error) {
            return Fail(ErrorCode::SYSTEM, address_ + ": " + error.message());
        }
        static_cast<void>(socket.Release());
        return {};
    }

    void AwaitWritable()
    {
        socket_.async_wait(asio::posix::stream_descriptor::wait_write,
                           [self = shared_from_this()](const asio::error_code& error) {
                               if (!error && self->done_) {
                                   self->OnWritable();
                               }
                           });
    }

    void OnWritable()
    {
        const int unit = sockets_.SendUnit(socket_.native_handle());
        if (unit == -ECONNREFUSED && ++refusals_ < MAX_REFUSALS) {
            RepeatLater();
        } else if (unit < 0) {
            Finish(FailureOf(address_, -unit));
        } else {
            Finish(Stream{UniqueFd(socket_.release()), static_cast<size_t>(unit), std::move(use_)});
        }
    }

    void RepeatLater()
    {
        asio::error_code ignored;
        socket_.close(ignored);
        pause_.expires_after(REFUSED_PAUSE);
        pause_.async_wait([self = shared_from_this()](const asio::error_code& error) {
            if (error || !self->done_) {
                return;
            }
            if (Result<void> begun = self->Begin(); !begun) {
                self->Finish(Failure(begun.error()));
            } else {
                self->AwaitWritable();
            }
        });
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
    asio::posix::stream_descriptor socket_;
    asio::steady_timer limit_;
    asio::steady_timer pause_;  // before it is repeated
    BluetoothAddress adapter_;
    std::shared_ptr<void> use_;
    int refusals_ = 0;
    std::vector<UniqueFd> others_;  // take the numbers that are refused
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
        return;  // the peer has left again
    }
    // One link that fails must not end accepting.
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
    attempt->Start(reactor_, *shared_, limit,
                   [this, self = shared_from_this(), weak = std::weak_ptr(attempt),
                    done = std::move(done)](Result<Stream> stream) {
                       attempts_.erase(weak.lock());
                       done(std::move(stream));
                   });
    return {attempt.get(), [self = shared_from_this(), attempt](void*) {
                attempt->Cancel();
                self->attempts_.erase(attempt);
            }};
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
}

}  // namespace Vexo::Linux
