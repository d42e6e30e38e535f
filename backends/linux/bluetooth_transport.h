// BluetoothTransport: connection-oriented L2CAP channels over Bluetooth Low Energy, used for link type 4. Devices are
// not paired and no privilege is needed: the handshake proves who the peer is. An address is
// "AA:BB:CC:DD:EE:FF/public/128" or "…/random/128" (bluetooth_address.h); addresses are not stored, because devices
// change them. Threads: transport.h.
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
    bool Carries(LinkType type) const override { return type == LINK_TYPE_BR; }
    // Accepts connections on every adapter, at the first free channel number, which it stores in shared. The returned
    // text is empty: peers read the address and the number from the announcement.
    [[nodiscard]] Result<std::string> Listen(Accepted accepted) override;
    [[nodiscard]] Result<void> CheckAddress(const std::string& address) const override;
    // Connects from the adapter in use.
    [[nodiscard]] std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit,
                                                Connected done) override;
    bool KeepsAddresses() const override { return false; }
    // Returns the device address without its type and the channel number.
    std::string SourceOf(const std::string& from) const override { return from.substr(0, from.find('/')); }
    // A controller holds only a few connections, and a stranger can give itself any number of addresses.
    SoftBus::AdmissionLimits LimitsOfAdmission() const override
    {
        return {.time = std::chrono::seconds(5), .connections = 4, .ofSource = 4, .ofMembers = 0};
    }
    void Stop() override;

private:
    class Attempt;
    // A channel that is open and not used yet.
    struct Spare {
        SoftBus::Stream stream;
        std::shared_ptr<asio::steady_timer> expiry;
    };

    // Returns a listening socket, and the number it is bound to.
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
    std::multimap<std::string, Spare> spares_;  // by address
    bool stopped_ = false;
};

}  // namespace Vexo::Linux
