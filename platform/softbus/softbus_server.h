// SoftBusServer: the soft bus of this device. It finds the other devices of the account, and opens and accepts sessions
// over TLS. The host creates it with the device's identity, registers it as ability (in-process service) 4700 and stops
// it at the end. One reactor thread handles sockets, TLS and timers. Each session has a strand on which its callbacks
// run. Design: docs/link.md. Connecting and the handshake take at most 5 s each. A side that has sent nothing for 2 s
// sends PING. A side that has received nothing for 6 s closes the session.
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

// How many sessions one peer may have open to this device. Sessions that wait for a session server count too. This is
// an eighth of the default of maxSessions, so that one peer cannot use up the sessions of the others.
inline constexpr size_t MAX_SESSIONS_OF_PEER = 128;

// The file name that the host uses for SoftBusOptions::knownDevicesFile.
inline constexpr const char* KNOWN_DEVICES_FILE = "known-devices.json";

struct SoftBusOptions {
    std::string deviceName;
    uint16_t deviceTypeId = DEVICE_TYPE_UNKNOWN;
    std::string listenAddress = "127.0.0.1:0";  // for TCP; port 0: the kernel chooses a free port
    std::filesystem::path knownDevicesFile;     // read and written; empty: known devices are in memory only
    std::vector<std::string> peerAddresses;     // each is tried at growing intervals until a device answers there
    std::filesystem::path announceFolder;       // a folder where devices announce themselves; empty: not used
    size_t maxSessions = 1024;
    size_t peerShare = MAX_SESSIONS_OF_PEER;  // how many of maxSessions one peer may open
    size_t maxQueuedBytes = 8 * 1024 * 1024;  // per session: accepted, but not yet sent
    bool limitsMessages = true;               // false: sessions deliver messages without MESSAGE_BURST (sessions.h)
    // Called on the reactor thread when a device has become reachable or is away; must not block.
    std::function<void()> onlineChanged;
    // The folder with this device's identity. Newer states of the account are stored there. Empty: the account's state
    // is not used.
    std::filesystem::path identityFolder;
    // Called on a strand after the soft bus has changed files in identityFolder: it stored an account state, a
    // certificate or the account's key, or recorded the removal of this device (Identity::removedAt). May block.
    std::function<void()> identityChanged;
    std::vector<AnnouncementChannelFactory> channels;  // in addition to the channel of announceFolder
    std::vector<TransportFactory> moreTransports;      // in addition to TCP, in order of preference
    // Decides which devices may open sessions to this device. Must outlive the soft bus. Null: every member of the
    // account may open sessions.
    PeerPolicy* policy = nullptr;
    std::vector<std::string> openSessions;                   // session servers for which policy is not asked
    Tasks::Timers* ticketTimers = &Tasks::Timers::System();  // for the expiry of tickets; must outlive the soft bus
};

struct SoftBusCounts {
    size_t sessions = 0;  // open, both directions
    size_t pendingOpens = 0;
    size_t servers = 0;
};

class SoftBusServer : public ISoftBusService, public IPCObjectStub {
public:
    // Reads the known devices, and starts to listen and to find devices. Blocks on the disk. identity must be enrolled
    // in an account. The error names the address or option that cannot be used.
    [[nodiscard]] static Result<sptr<SoftBusServer>> Start(const Trust::Identity& identity, SoftBusOptions options);

    // Returns the TCP address on which this device listens, with the real port if listenAddress has port 0.
    virtual std::string ListenAddress() const = 0;
    virtual SoftBusCounts Counts() const = 0;
    // Connects once to every known and every announced device, so that Nodes() is up to date when the callback runs.
    // done: called once, within 5 s, on the reactor thread; if the soft bus has stopped, called before Scan returns.
    // done must not block.
    virtual void Scan(std::function<void()> done) = 0;
    // Replaces the identity by its current version. Call when the identity has changed on disk. The new identity must
    // be of the same device. Does not block. If the new identity has a newer state of the account, that state is sent
    // to the reachable devices that have an older one.
    virtual void UseIdentity(Trust::Identity identity) = 0;
    // Returns when the account removed this device, or nullopt if this device does not know of a removal. The value is
    // set slightly before Identity::removedAt is stored. Thread-safe.
    virtual std::optional<std::chrono::sys_seconds> RemovedAt() const = 0;
    // Creates a ticket with which another device can join the account, and opens its invitation
    // (enrolment/invitation.h). The invitation announces this device with tokens that are derived from the ticket. If
    // no channel can announce, the ticket contains this device's address instead. Thread-safe. Does not block. Errors:
    // ALREADY_EXISTS while another invitation is WAITING or ASKING, UNAVAILABLE after the soft bus has stopped.
    [[nodiscard]] virtual Result<std::shared_ptr<Invitation>> Invite(InvitationOptions options) = 0;
    // Sends the account's private key to the member with that network id. Does not block. key: the result of
    // Trust::ExportAccountKey. The key's memory is overwritten when it is no longer needed. done: called once, on the
    // reactor thread; if the soft bus has stopped, called before this function returns. The result is an error if the
    // member was not reached or has not stored the key. done must not block.
    virtual void SendAccountKey(const std::string& networkId, std::string key,
                                std::function<void(Result<void> result)> done) = 0;
    // Call when this device has joined a network in which the known device networkId has the address ipAddress. While
    // that address is set, dials try it first, at the port of the device's first known TCP address. A new address
    // replaces an earlier one. Call with an empty ipAddress when this device has left that network. Has no effect while
    // no TCP port of the device is known. Thread-safe. Does not block.
    virtual void SuggestAddress(const std::string& networkId, const std::string& ipAddress) = 0;
    // Sends GOODBYE to devices with recent contact, fails sessions that are opening, and writes the known devices.
    // Closes each open session after its accepted bytes are delivered (within 1 s). Blocks until all is done.
    // Idempotent.
    virtual void Stop() = 0;
};

}  // namespace Vexo::SoftBus
