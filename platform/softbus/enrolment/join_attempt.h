// JoinAttempt: the new device's side of an enrolment by ticket. It finds the holder (the device that created the
// ticket) by announcements or by the address in the ticket. It then proves that it has the ticket, sends its request
// and waits for the answer. It has its own transports, channels and reactor thread, because a device without an account
// has no soft bus. Thread-safe. Start blocks for a short time. Cancel blocks until the reactor thread has ended.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/softbus/transport/transport.h"
#include "platform/trust/ticket.h"

namespace Vexo::SoftBus {

// How long the attempt searches for the holder.
inline constexpr std::chrono::seconds JOIN_SEARCH_LIMIT{30};

enum class JoinPhase {
    SEARCHING,   // the holder is not found yet
    CONFIRMING,  // the holder was found; its owner compares the numbers on both devices
    DONE,        // this device has stored the holder's answer and is a member
    FAILED,
};

// Why a join failed. The values are those of the JOIN_ANSWER frame (join_frames.h).
enum class JoinFailure : int32_t {
    NONE = 0,
    NOBODY_FOUND = 1,  // no device with this ticket answered
    USED = 2,          // another device has joined with this ticket
    EXPIRED = 3,       // the ticket has expired, or was withdrawn
    DENIED = 4,        // the holder's owner rejected this device
    BUSY = 5,          // another device is asking right now
    NAME_TAKEN = 6,    // JoinStatus::suggestion is a free name
    REMOVED_KEY = 7,   // this device's key was removed from the account earlier
    WRONG_CLOCK = 8,   // the clocks of the two devices differ too much for certificates
    LOST = 9,          // the link ended before the answer arrived; the same ticket may be tried again
    REFUSED = 10,      // any other failure that the holder reported
    LOCAL = 11,        // an error on this device
    CANCELLED = 12,
};

struct JoinStatus {
    JoinPhase phase = JoinPhase::SEARCHING;
    std::string over;        // the transport over which the holder was found, such as "tcp"
    std::string holderName;  // CONFIRMING and later
    std::string account;     // CONFIRMING and later: the account's name
    std::string number;      // CONFIRMING and later: the six digits that both devices show
    JoinFailure failure = JoinFailure::NONE;
    std::string why;         // FAILED: a phrase for the log; may be empty
    std::string suggestion;  // NAME_TAKEN: a free name
};

struct JoinOptions {
    Trust::Ticket ticket;
    std::string deviceName;
    uint16_t deviceTypeId = 0;
    std::string networkId;   // the network id of this device
    std::string requestPem;  // the result of Trust::MakeRequest
    // Stores the enrolment answer on this device, as Trust::Install does. Called on a strand. May block on the disk.
    std::function<Result<void>(const std::string& answerPem)> install;
    std::function<void(const JoinStatus& status)> changed;  // called after each change, on the strand of install
    std::string listenAddress = "0.0.0.0:0";  // for channels: the interfaces on which to listen for announcements
    std::vector<std::string> peerAddresses;   // TCP addresses to try too (option softbus.peers)
    std::filesystem::path announceFolder;
    std::vector<AnnouncementChannelFactory> channels;
    std::vector<TransportFactory> moreTransports;
};

class JoinAttempt : public NoCopyable {
public:
    [[nodiscard]] static Result<std::shared_ptr<JoinAttempt>> Start(JoinOptions options);
    virtual ~JoinAttempt() = default;

    virtual JoinStatus Status() const = 0;
    // Cancels the attempt if it is still running. Idempotent.
    virtual void Cancel() = 0;
};

}  // namespace Vexo::SoftBus
