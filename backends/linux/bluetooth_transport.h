// BluetoothTransport: the transport for LINK_TYPE_BR (link type 4). It uses connection-oriented L2CAP channels over
// Bluetooth Low Energy. The devices need no pairing, because the handshake proves the identity of the peer. The program
// needs no privilege. An address is, for example, "AA:BB:CC:DD:EE:FF/public/128" or "AA:BB:CC:DD:EE:FF/random/128"
// (bluetooth_address.h). Addresses are not stored, because devices change them. transport.h describes the threads.
#pragma once

#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "backends/linux/bluetooth_shared.h"
#include "backends/linux/l2cap.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::Linux {

class BluetoothTransport : public SoftBus::Transport,
                           public std::enable_shared_from_this<BluetoothTransport>,
                           public NoCopyable {
public:
    // sockets must outlive the transport.
    BluetoothTransport(asio::io_context& reactor, std::shared_ptr<BluetoothShared> shared,
                       L2capSockets& sockets = L2capSockets::System());
    ~BluetoothTransport() override;

    std::string Name() const override { return "bluetooth"; }
    bool SupportsLinkType(LinkType type) const override { return type == LINK_TYPE_BR; }
    // Accepts connections on every adapter, at the first free channel number, and stores this number in shared_.
    // Returns an empty text, because peers read the address and the channel number from the announcement.
    [[nodiscard]] Result<std::string> Listen(Accepted accepted) override;
    [[nodiscard]] Result<void> CheckAddress(const std::string& address) const override;
    // Connects from the adapter that BluetoothShared::Adapter() returns. If a spare channel to that address exists,
    // uses this channel instead.
    [[nodiscard]] std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit,
                                                Connected done) override;
    bool HasStableAddresses() const override { return false; }
    // Returns the address without the address type and without the channel number.
    std::string SourceOf(const std::string& from) const override { return from.substr(0, from.find('/')); }
    // The limits are low, because a controller can hold only a few connections. One source may use all of them
    // (AdmissionLimits::ofSource), because a stranger can evade a limit for each source with many addresses.
    SoftBus::AdmissionLimits LimitsOfAdmission() const override
    {
        return {.time = std::chrono::seconds(5), .connections = 4, .ofSource = 4, .ofMembers = 0};
    }
    void Stop() override;

private:
    class Attempt;
    // A spare channel: opened in advance and not used yet. It is closed when the timer expires.
    struct Spare {
        SoftBus::Stream stream;
        std::shared_ptr<asio::steady_timer> expiry;
    };

    // Returns a listening socket and the channel number to which the socket is bound.
    Result<std::pair<UniqueFd, uint16_t>> Bind();
    void AcceptNext();
    void AcceptAll();
    void OpenSpare(const std::string& address);
    std::optional<SoftBus::Stream> TakeSpare(const std::string& address);
    void OnAccepted(UniqueFd socket, const BluetoothAddress& from);

    asio::io_context& reactor_;
    const std::shared_ptr<BluetoothShared> shared_;
    L2capSockets& sockets_;
    asio::posix::stream_descriptor acceptor_;
    asio::steady_timer acceptPause_;
    Accepted accepted_;
    std::set<std::shared_ptr<Attempt>> attempts_;
    std::multimap<std::string, Spare> spares_;  // keyed by address
    bool stopped_ = false;
};

}  // namespace Vexo::Linux
