// JoinAttempt: the new device's side of an enrolment by ticket: finds the holder by announcements under the ticket's
// keys or by the ticket's address, proves the secret, sends its request and waits for the answer. It has transports,
// channels and a reactor thread of its own, since a device without an account has no soft bus. Any thread. Start blocks
// for a short time, Cancel until the reactor has ended.
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

// How long the holder is looked for.
inline constexpr std::chrono::seconds JOIN_SEARCH_LIMIT{30};

enum class JoinPhase {
    SEARCHING,   // for the holder
    CONFIRMING,  // the holder was found; its owner compares the numbers
    DONE,        // install has succeeded
    FAILED,
};

// The numbers are those of JOIN_ANSWER (join_frames.h).
enum class JoinFailure : int32_t {
    NONE = 0,
    NOBODY_FOUND = 1,  // no device answered to the ticket
    USED = 2,          // another device joined with it
    EXPIRED = 3,       // too late, or the holder's owner withdrew it
    DENIED = 4,        // the holder's owner said no
    BUSY = 5,          // another device is asking right now
    NAME_TAKEN = 6,    // suggestion says a free one
    REMOVED_KEY = 7,   // this device's key was removed from the account
    WRONG_CLOCK = 8,   // the clocks differ too much for certificates
    LOST = 9,          // the holder went away before it answered; the same ticket may be tried again
    REFUSED = 10,      // anything else that the holder said
    LOCAL = 11,        // this device failed
    CANCELLED = 12,
};

struct JoinStatus {
    JoinPhase phase = JoinPhase::SEARCHING;
    std::string over;        // the transport over which the holder was found: "tcp", "bluetooth"
    std::string holderName;  // CONFIRMING and later
    std::string account;     // CONFIRMING and later: its name
    std::string number;      // CONFIRMING and later: six digits
    JoinFailure failure = JoinFailure::NONE;
    std::string why;         // FAILED: one phrase for the log; empty where failure says all
    std::string suggestion;  // NAME_TAKEN
};

struct JoinOptions {
    Trust::Ticket ticket;
    std::string deviceName;
    uint16_t deviceTypeId = 0;
    std::string networkId;   // of this device's key
    std::string requestPem;  // Trust::MakeRequest
    // Installs the answer, in the form of Trust::Install. Called on a strand; may block on the disk.
    std::function<Result<void>(const std::string& answerPem)> install;
    std::function<void(const JoinStatus& status)> changed;  // after each change, on the strand
    std::string listenAddress = "0.0.0.0:0";                // from where TCP connections are made
    std::vector<std::string> peerAddresses;                 // tried too (softbus.peers)
    std::filesystem::path announceFolder;
    std::vector<AnnouncementChannelFactory> channels;
    std::vector<TransportFactory> moreTransports;
};

class JoinAttempt : public NoCopyable {
public:
    [[nodiscard]] static Result<std::shared_ptr<JoinAttempt>> Start(JoinOptions options);
    virtual ~JoinAttempt() = default;

    virtual JoinStatus Status() const = 0;
    // Ends the attempt if it is not done. Idempotent.
    virtual void Cancel() = 0;
};

}  // namespace Vexo::SoftBus
