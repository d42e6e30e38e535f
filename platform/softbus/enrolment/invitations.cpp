#include "platform/softbus/enrolment/invitations.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <asio/post.hpp>

#include "platform/base/host_port.h"

namespace Vexo::SoftBus {

namespace {

// The maximum number of tickets to keep for answers to late joiners. If there are more, the oldest is dropped.
constexpr size_t MAX_HOLDERS = 16;
constexpr const char* ANY_IPV4 = "0.0.0.0";
constexpr const char* ANY_IPV6 = "::";

// The object that SoftBusServer::Invite returns. The caller of Invite owns this object.
class Handle final : public Invitation, public NoCopyable {
public:
    explicit Handle(std::shared_ptr<TicketHolder> holder) : holder_(std::move(holder)) {}
    ~Handle() override { holder_->Close(); }

    InvitationStatus Status() const override { return holder_->Status(); }
    Result<void> Answer(const std::string& networkId, bool admit) override { return holder_->Answer(networkId, admit); }
    void Close() override { holder_->Close(); }

private:
    const std::shared_ptr<TicketHolder> holder_;
};

// Returns the IPv4 address of the first interface that is up and is not the loopback interface. Empty if there is none.
std::string LanAddress()
{
    ifaddrs* all = nullptr;
    if (::getifaddrs(&all) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(all, ::freeifaddrs);
    for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
        const bool isUp = (one->ifa_flags & IFF_RUNNING) != 0 && (one->ifa_flags & IFF_LOOPBACK) == 0;
        if (isUp && one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET) {
            std::array<char, INET_ADDRSTRLEN> text{};
            const auto* address = reinterpret_cast<const sockaddr_in*>(one->ifa_addr);
            return ::inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size()) != nullptr ? text.data() : "";
        }
    }
    return {};
}

}  // namespace

std::string AddressForTicket(const std::string& listening)
{
    const auto where = ParseHostPort(listening);
    if (!where) {
        return {};
    }
    const bool isAny = where.value().host == ANY_IPV4 || where.value().host == ANY_IPV6;
    const std::string host = isAny ? LanAddress() : where.value().host;
    in_addr ignored{};
    return ::inet_pton(AF_INET, host.c_str(), &ignored) == 1 ? ToText(HostPort{host, where.value().port}) : "";
}

Result<std::shared_ptr<Invitation>> Invitations::Open(InvitationOptions options, const std::string& account,
                                                      const std::string& address, std::function<Channels()> make)
{
    const MutexLock lock(mutex_);
    if (isStopped_) {
        return Fail(ErrorCode::UNAVAILABLE, "the soft bus has stopped");
    }
    if (!holders_.empty() && holders_.back()->IsOpen()) {
        return Fail(ErrorCode::ALREADY_EXISTS, "another invitation is open");
    }
    auto holder = MakeHolder(std::move(options), account, address, std::move(make));
    if (!holder) {
        return Failure(std::move(holder).error());
    }
    if (!holders_.empty()) {
        holders_.back()->Announcer().Withdraw();
    }
    if (holders_.size() >= MAX_HOLDERS) {
        asio::post(*context_.reactor, [oldest = holders_.front()] { oldest->Stop(); });
        holders_.erase(holders_.begin());
    }
    holders_.push_back(holder.value());
    return std::make_shared<Handle>(std::move(holder.value()));
}

Result<Invitations::HolderPtr> Invitations::MakeHolder(InvitationOptions options, const std::string& account,
                                                       const std::string& address, std::function<Channels()> make) const
{
    auto ticket = Trust::MakeTicket(address);
    if (!ticket) {
        return Failure(std::move(ticket).error());
    }
    TicketAnnouncer::Tokens tokens;
    for (const auto& transport : context_.transports) {
        auto made = Trust::AnnouncementTokens::Make(Trust::TicketKeys(ticket.value()), transport->Name());
        if (!made) {
            return Failure(std::move(made).error());
        }
        tokens[transport->Name()] = std::move(made.value());
    }
    auto announcer = std::make_shared<TicketAnnouncer>(std::move(make), std::move(tokens), context_.ownNetworkId);
    return TicketHolder::Make(
        {ticket.value(), context_.account.NameOf(context_.ownNetworkId, context_.ownHello.deviceName), account,
         context_.reactor, std::move(announcer)},
        std::move(options), timers_);
}

std::vector<Invitations::HolderPtr> Invitations::Holders() const
{
    const MutexLock lock(mutex_);
    return holders_;
}

bool Invitations::IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage)
{
    const auto holders = Holders();
    const auto found = std::find_if(holders.begin(), holders.end(), [&](const HolderPtr& holder) {
        return holder->IsProof(proof, challenge, firstMessage);
    });
    proven_ = found != holders.end() ? *found : nullptr;
    return proven_ != nullptr;
}

void Invitations::Accept(Stream stream, const std::string& firstMessage)
{
    if (const HolderPtr holder = std::exchange(proven_, nullptr)) {
        holder->Accept(std::move(stream), firstMessage);
    }
}

void Invitations::Announce()
{
    const MutexLock lock(mutex_);
    if (!holders_.empty()) {
        holders_.back()->Announcer().Announce();
    }
}

void Invitations::Withdraw()
{
    {
        const MutexLock lock(mutex_);
        isStopped_ = true;
    }
    for (const HolderPtr& holder : Holders()) {
        holder->Announcer().Withdraw();
        holder->Announcer().Drain();
    }
}

void Invitations::Stop()
{
    for (const HolderPtr& holder : Holders()) {
        holder->Stop();
    }
}

}  // namespace Vexo::SoftBus
