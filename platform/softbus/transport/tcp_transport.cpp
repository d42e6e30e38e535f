#include "platform/softbus/transport/tcp_transport.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <asio/connect.hpp>
#include <asio/ip/address.hpp>
#include <asio/post.hpp>
#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/base/host_port.h"
#include "platform/dfx/guard.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

using asio::ip::tcp;

// The pause after a failed accept, for example because no file descriptor is free. The connection stays in the kernel's
// queue, so without a pause the reactor would call accept all the time.
constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};
// After this number of accepted connections, the reactor does other work before it accepts more. Otherwise a flood of
// connections would keep it from reading the proofs of the connections that it has accepted.
constexpr int ACCEPTS_PER_TURN = 16;

std::optional<tcp::endpoint> NumericEndpoint(const HostPort& where)
{
    asio::error_code error;
    const asio::ip::address address = asio::ip::make_address(where.host, error);
    return error ? std::nullopt : std::optional(tcp::endpoint(address, where.port));
}

std::string TextOf(const tcp::endpoint& endpoint)
{
    return ToText(HostPort{endpoint.address().to_string(), endpoint.port()});
}

void Prepare(int fd)
{
    const int on = 1;
    static_cast<void>(::fcntl(fd, F_SETFD, FD_CLOEXEC));
    // A failure is ignored, because a socket without TCP_NODELAY is only slower.
    static_cast<void>(::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)));
}

}  // namespace

// One outbound connection. It resolves the host name if the address has one, and tries each endpoint. The attempt ends
// when a connection exists, when all endpoints have failed or when the time limit has passed.
class TcpTransport::Attempt : public std::enable_shared_from_this<Attempt> {
public:
    Attempt(asio::io_context& reactor, std::string address)
        : address_(std::move(address)), resolver_(reactor), socket_(reactor), limit_(reactor)
    {
    }

    void Start(asio::io_context& reactor, std::chrono::milliseconds limit, Transport::Connected done)
    {
        done_ = std::move(done);
        limit_.expires_after(limit);
        limit_.async_wait([self = shared_from_this()](const asio::error_code& error) {
            if (!error) {
                self->Finish(Fail(ErrorCode::TIMED_OUT, self->address_ + " does not answer"));
            }
        });
        const Result<HostPort> where = ParseHostPort(address_);
        if (!where) {
            asio::post(reactor, [self = shared_from_this(), why = where.error()] { self->Finish(Failure(why)); });
        } else if (const auto endpoint = NumericEndpoint(where.value())) {
            ConnectTo(std::array{*endpoint});
        } else {
            resolver_.async_resolve(
                where.value().host, std::to_string(where.value().port),
                [self = shared_from_this()](const asio::error_code& error, const tcp::resolver::results_type& found) {
                    if (error) {
                        self->Finish(Fail(ErrorCode::UNAVAILABLE, self->address_ + ": " + error.message()));
                    } else {
                        self->ConnectTo(found);
                    }
                });
        }
    }

    void Cancel()
    {
        done_ = nullptr;
        Close();
    }

private:
    template <typename Endpoints>
    void ConnectTo(const Endpoints& endpoints)
    {
        if (!done_) {
            return;
        }
        asio::async_connect(
            socket_, endpoints, [self = shared_from_this()](const asio::error_code& error, const tcp::endpoint&) {
                if (error) {
                    self->Finish(Fail(ErrorCodeOf(error.value()), self->address_ + ": " + error.message()));
                } else {
                    self->Connected();
                }
            });
    }

    void Connected()
    {
        if (!done_) {
            return;
        }
        asio::error_code error;
        socket_.non_blocking(true, error);
        UniqueFd stream(socket_.release(error));
        if (error) {
            Finish(Fail(ErrorCode::SYSTEM, address_ + ": " + error.message()));
            return;
        }
        Prepare(stream.Get());
        Finish(Stream{std::move(stream)});
    }

    void Finish(Result<Stream> result)
    {
        const Transport::Connected done = std::move(done_);
        Cancel();
        if (done) {
            done(std::move(result));
        }
    }

    void Close()
    {
        limit_.cancel();
        resolver_.cancel();
        asio::error_code ignored;
        socket_.close(ignored);
    }

    const std::string address_;
    tcp::resolver resolver_;
    tcp::socket socket_;
    asio::steady_timer limit_;
    Transport::Connected done_;
};

TcpTransport::TcpTransport(asio::io_context& reactor, std::string listenAddress)
    : reactor_(reactor), listenAddress_(std::move(listenAddress)), acceptor_(reactor), acceptPause_(reactor)
{
}

TcpTransport::~TcpTransport() = default;

Result<std::string> TcpTransport::Listen(Accepted accepted)
{
    const Result<HostPort> where = ParseHostPort(listenAddress_);
    if (!where) {
        return Failure(where.error());
    }
    const auto endpoint = NumericEndpoint(where.value());
    if (!endpoint) {
        return Fail(ErrorCode::INVALID_ARGUMENT, "listen address \"" + listenAddress_ + "\" has no numeric host");
    }
    asio::error_code error;
    acceptor_.open(endpoint->protocol(), error);
    if (!error) {
        Prepare(acceptor_.native_handle());  // accepted sockets inherit TCP_NODELAY
        acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
        acceptor_.bind(*endpoint, error);
    }
    if (!error) {
        acceptor_.listen(asio::socket_base::max_listen_connections, error);
    }
    if (!error) {
        acceptor_.non_blocking(true, error);
    }
    const tcp::endpoint bound = error ? *endpoint : acceptor_.local_endpoint(error);
    if (error) {
        asio::error_code ignored;
        acceptor_.close(ignored);
        return Fail(ErrorCode::SYSTEM, "cannot listen on " + listenAddress_ + ": " + error.message());
    }
    accepted_ = std::move(accepted);
    AcceptNext();
    return TextOf(bound);
}

void TcpTransport::AcceptNext()
{
    acceptor_.async_wait(tcp::acceptor::wait_read, [self = shared_from_this()](const asio::error_code& error) {
        if (!error && !self->stopped_) {
            self->AcceptSome();
        }
    });
}

void TcpTransport::AcceptSome()
{
    for (int accepts = 0; accepts < ACCEPTS_PER_TURN; ++accepts) {
        sockaddr_storage from{};
        socklen_t length = sizeof(from);
        UniqueFd stream(::accept4(acceptor_.native_handle(), reinterpret_cast<sockaddr*>(&from), &length,
                                  SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!stream) {
            if (errno == ECONNABORTED || errno == EINTR) {
                continue;
            }
            if (errno == EAGAIN || errno == EWOULDBLOCK) {
                AcceptNext();
                return;
            }
            QuviewDFX::LogError(LOG_SOFTBUS, "accepting a link failed: %{public}s", std::strerror(errno));
            acceptPause_.expires_after(ACCEPT_PAUSE);
            acceptPause_.async_wait([self = shared_from_this()](const asio::error_code& error) {
                if (!error && !self->stopped_) {
                    self->AcceptNext();
                }
            });
            return;
        }
        // If the handling of one connection fails, other connections must still be accepted.
        QuviewDFX::RunGuarded(LOG_SOFTBUS, "accepting", [&] {
            tcp::endpoint peer;
            peer.resize(length);
            std::memcpy(peer.data(), &from, length);
            accepted_(Stream{std::move(stream)}, TextOf(peer));
        });
        if (stopped_) {
            return;
        }
    }
    asio::post(reactor_, [self = shared_from_this()] {
        if (!self->stopped_) {
            self->AcceptSome();
        }
    });
}

Result<void> TcpTransport::CheckAddress(const std::string& address) const
{
    const Result<HostPort> where = ParseHostPort(address);
    if (!where) {
        return Failure(where.error());
    }
    if (where.value().port == 0) {
        return Fail(ErrorCode::INVALID_ARGUMENT, "address \"" + address + "\" has port 0; 1 to 65535 are allowed");
    }
    return {};
}

std::shared_ptr<void> TcpTransport::Connect(const std::string& address, std::chrono::milliseconds limit, Connected done)
{
    if (stopped_) {
        return nullptr;
    }
    const auto attempt = std::make_shared<Attempt>(reactor_, address);
    attempts_.insert(attempt);
    attempt->Start(reactor_, limit,
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

std::string TcpTransport::Reachable(const std::string& announced, const std::string& seenFrom) const
{
    const Result<HostPort> where = ParseHostPort(announced);
    const Result<HostPort> seen = ParseHostPort(seenFrom);
    if (!where || !seen) {
        return announced;
    }
    const auto endpoint = NumericEndpoint(where.value());
    if (!endpoint || !endpoint->address().is_unspecified()) {
        return announced;
    }
    return ToText(HostPort{seen->host, where->port});
}

std::string TcpTransport::SourceOf(const std::string& from) const
{
    constexpr size_t NETWORK_BYTES = 8;
    const Result<HostPort> where = ParseHostPort(from);
    const auto endpoint = where ? NumericEndpoint(where.value()) : std::nullopt;
    if (!endpoint) {
        return from;
    }
    const asio::ip::address host = endpoint->address();
    if (host.is_v4() || host.to_v6().is_v4_mapped()) {
        return (host.is_v4() ? host.to_v4() : asio::ip::make_address_v4(asio::ip::v4_mapped, host.to_v6())).to_string();
    }
    auto network = host.to_v6().to_bytes();
    std::fill(network.begin() + NETWORK_BYTES, network.end(), uint8_t{0});
    return asio::ip::address_v6(network).to_string() + "/64";
}

void TcpTransport::Stop()
{
    stopped_ = true;
    accepted_ = nullptr;
    acceptPause_.cancel();
    asio::error_code ignored;
    acceptor_.close(ignored);
    for (const auto& attempt : attempts_) {
        attempt->Cancel();
    }
    attempts_.clear();
}

}  // namespace Vexo::SoftBus
