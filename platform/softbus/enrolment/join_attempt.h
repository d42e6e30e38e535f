// JoinAttempt: the new device's side of an enrolment by ticket. It finds the holder (the device that created the
// ticket) by announcements or by the ticket's address, proves the ticket's secret, sends its request and waits for the
// answer. It has its own transports, channels and reactor thread, since a device without an account has no soft bus.
// Any thread. Start blocks for a short time, Cancel until the reactor thread has ended.
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
    CONFIRMING,  // the holder was found; its owner compares the numbers
    DONE,        // install has succeeded
    FAILED,
};

// Why a join failed. The values are those of JOIN_ANSWER (join_frames.h).
enum class JoinFailure : int32_t {
    NONE = 0,
    NOBODY_FOUND = 1,  // no device with this ticket answered
    USED = 2,          // another device has joined with the ticket
    EXPIRED = 3,       // the ticket has expired, or was withdrawn
    DENIED = 4,        // the holder's owner rejected this device
    BUSY = 5,          // another device is asking right now
    NAME_TAKEN = 6,    // JoinStatus::suggestion is a free name
    REMOVED_KEY = 7,   // this device's key was removed from the account
    WRONG_CLOCK = 8,   // the clocks differ too much for certificates
    LOST = 9,          // the link ended before the answer; the ticket may be tried again
    REFUSED = 10,      // any other failure that the holder reported
    LOCAL = 11,        // this device failed
    CANCELLED = 12,
};

struct JoinStatus {
    JoinPhase phase = JoinPhase::SEARCHING;
    std::string over;        // the transport over which the holder was found: "tcp", "bluetooth"
    std::string holderName;  // CONFIRMING and later
    std::string account;     // CONFIRMING and later: name of the account
    std::string number;      // CONFIRMING and later: six digits
    JoinFailure failure = JoinFailure::NONE;
    std::string why;         // FAILED: a phrase for the log; may be empty
    std::string suggestion;  // NAME_TAKEN: a free name
};

struct JoinOptions {
    Trust::Ticket ticket;
    std::string deviceName;
    uint16_t deviceTypeId = 0;
    std::string networkId;   // of this device
    std::string requestPem;  // from Trust::MakeRequest
    // Installs the answer, as Trust::Install does. Called on a strand; may block on the disk.
    std::function<Result<void>(const std::string& answerPem)> install;
    std::function<void(const JoinStatus& status)> changed;  // called after each change, on that strand
    std::string listenAddress = "0.0.0.0:0";                // for channels: where to look for announcements
    std::vector<std::string> peerAddresses;                 // TCP addresses to try too (softbus.peers)
    std::filesystem::path announceFolder;
    std::vector<AnnouncementChannelFactory> channels;
    std::vector<TransportFactory> moreTransports;
};

class JoinAttempt : public NoCopyable {
public:
    [[nodiscard]] static Result<std::shared_ptr<JoinAttempt>> Start(JoinOptions options);
    virtual ~JoinAttempt() = default;

    virtual JoinStatus Status() const = 0;
    // Cancels the attempt if it is not done. Idempotent.
    virtual void Cancel() = 0;
};

}  // namespace Vexo::SoftBus
