// SoftBusServer: the device's soft bus: finding devices, and sessions over TLS. The host makes it with the device's
// identity, registers it as ability 4700 and stops it at the end. One reactor thread does sockets, TLS and timers;
// callbacks run on session strands. How it works inside: docs/link.md. Timing: connect and handshake end within 5 s; a
// session that is silent for 6 s (pinged after 2 s) is closed.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ipc/iremote_object.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/softbus/enrolment/invitation.h"
#include "platform/softbus/peer_policy.h"
#include "platform/softbus/softbus_service.h"
#include "platform/softbus/transport/transport.h"
#include "platform/tasks/timers.h"
#include "platform/trust/identity.h"

namespace Vexo::SoftBus {

// How many sessions one peer may have open to this device, those that wait for a session server included: an eighth of
// all, so that one peer cannot use up the sessions of other peers and of this device.
inline constexpr size_t MAX_SESSIONS_OF_PEER = 128;

// What the host calls the file of known devices (discovery/known_devices.h).
inline constexpr const char* KNOWN_DEVICES_FILE = "known-devices.json";

struct SoftBusOptions {
    std::string deviceName;
    uint16_t deviceTypeId = DEVICE_TYPE_UNKNOWN;
    std::string listenAddress = "127.0.0.1:0";  // TCP; port 0 picks a free one
    std::filesystem::path knownDevicesFile;     // kept by this soft bus; empty: known devices are in memory only
    std::vector<std::string> peerAddresses;     // tried, ever more rarely, until a device has answered there
    std::filesystem::path announceFolder;       // shared with other devices; empty: no announcements
    size_t maxSessions = 1024;
    size_t peerShare = MAX_SESSIONS_OF_PEER;  // of maxSessions
    size_t maxQueuedBytes = 8 * 1024 * 1024;  // per session, not yet taken by the kernel
    std::function<void()> onlineChanged;      // a device became reachable, or is away; on the reactor, must not block
    // Where the identity is: newer states of the account are adopted there. Empty: the account's state is not used.
    std::filesystem::path identityFolder;
    // The soft bus changed that folder: it adopted a state or a certificate, or learned that the account removed this
    // device (Identity::removedAt). On a strand; may block.
    std::function<void()> identityChanged;
    std::vector<AnnouncementChannelFactory> channels;  // beside the folder
    std::vector<TransportFactory> moreTransports;      // beside TCP, in order of preference
    // Decides who may open sessions of this device; outlives the soft bus. Null: every member of the account.
    PeerPolicy* policy = nullptr;
    std::vector<std::string> openSessions;                   // names of session servers that it is not asked about
    Tasks::Timers* ticketTimers = &Tasks::Timers::System();  // by which tickets end; outlive the soft bus
};

struct SoftBusCounts {
    size_t sessions = 0;  // open, both directions
    size_t pendingOpens = 0;
    size_t servers = 0;
};

class SoftBusServer : public ISoftBusService, public IPCObjectStub {
public:
    // Reads the known devices, starts listening and discovering. Blocks on the disk. The identity must be enrolled. The
    // error says what could not be bound or used.
    [[nodiscard]] static Result<sptr<SoftBusServer>> Start(const Trust::Identity& identity, SoftBusOptions options);

    // The address that peers use, with the port really bound.
    virtual std::string ListenAddress() const = 0;
    virtual SoftBusCounts Counts() const = 0;
    // Greets every known device and every announced one, so that Nodes() is up to date when done is called: once,
    // within 5 s, on the reactor thread or in this call. done must not block.
    virtual void Scan(std::function<void()> done) = 0;
    // Works with the identity of the same device as it is now; call when it changed on disk. Returns at once. Devices
    // that are reachable get the account's state if it is newer than theirs.
    virtual void UseIdentity(Trust::Identity identity) = 0;
    // When the account removed this device, as far as it knows; Identity::removedAt follows a little later. Any thread.
    virtual std::optional<std::chrono::sys_seconds> RemovedAt() const = 0;
    // Opens an invitation, which announces this device under a new ticket's keys. Where nothing can be announced, the
    // ticket holds this device's address. ALREADY_EXISTS while another one is open (WAITING or ASKING), UNAVAILABLE
    // once the soft bus stops. Any thread; does not block.
    [[nodiscard]] virtual Result<std::shared_ptr<Invitation>> Invite(InvitationOptions options) = 0;
    // Hands the account's key (Trust::ExportAccountKey) to that member. done is called once, with an error when the
    // member was not reached or has not stored the key; on the reactor thread or in this call, must not block. The key
    // is overwritten.
    virtual void SendAccountKey(const std::string& networkId, std::string key,
                                std::function<void(Result<void> result)> done) = 0;
    // This device is on a network on which that known device has the IP address: from now on the device is tried there
    // first, at the port of its first known TCP address. Has no effect while no TCP port of the device is known. A new
    // address replaces the one before; an empty one withdraws it. Any thread; does not block.
    virtual void SuggestAddress(const std::string& networkId, const std::string& ipAddress) = 0;
    // Sends GOODBYE, fails sessions that are opening, closes open ones after the accepted bytes are delivered (within
    // 1 s), and writes the known devices. Blocks until that is done. Idempotent.
    virtual void Stop() = 0;
};

}  // namespace Vexo::SoftBus
