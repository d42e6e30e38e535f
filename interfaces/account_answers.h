// The answers of the daemon's account operations (ability 1164) as types: an invitation, a join, the members, and what
// went wrong. Value types; any thread. Texts are as the daemon sent them, so escape them before you show them on a
// terminal. The requests: client/distnet_client.h. The encoding: share/doc/libdistnet-dev/ipc.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

// Why an account operation failed. Programs decide by this code, never by the texts beside it.
enum class AccountFaultCode : uint8_t {
    FAILED,          // anything else; the message says what
    NO_ACCOUNT,      // this device is in no account
    MEMBER_ALREADY,  // this device is in an account already
    WAS_REMOVED,     // this device was removed from its account
    NOT_HOLDER,      // another member holds the account's key
    NOT_SETTLED,     // this device was restored from a backup, and has met no other member yet
    HAS_MEMBERS,     // the holder of the account's key may not leave the other members
    UNKNOWN_MEMBER,  // no member has that network id
    THIS_DEVICE,     // a device cannot remove itself
    BAD_NAME,        // not allowed as a name
    NAME_TAKEN,      // another member has that name; suggestion is a free one
    BAD_TICKET,      // mistyped, or no ticket
    NOBODY_FOUND,    // no device answered to the ticket
    USED,            // another device has joined with the ticket
    EXPIRED,         // the ticket
    DENIED,          // the person at the holder said no
    BUSY,            // another invitation, join or joiner is under way
    REMOVED_KEY,     // the account has removed this device's key
    WRONG_CLOCK,     // the clocks of holder and joiner differ too much
    LOST,            // the other side went away
    CANCELLED,       // the person who began it has ended it
    NOT_OPEN,        // this program has no such invitation or join
};

struct AccountFault {
    AccountFaultCode code = AccountFaultCode::FAILED;
    std::string message;     // what is wrong with what: one sentence without its full stop
    std::string advice;      // what to do; may be empty
    std::string suggestion;  // NAME_TAKEN: a free name
};

// The answer of an operation that returns nothing else.
struct ChangeAnswer {
    std::optional<AccountFault> fault;  // no value: done
};

enum class InvitationPhase : uint8_t {
    WAITING,   // for a device
    ASKING,    // a device waits for the person's answer
    ADMITTED,  // the device is a member
    ENDED,     // nobody can join with this ticket any more; fault says why
};

// A device that asks to join.
struct JoiningDevice {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;
    std::string number;  // six digits; the same on both devices unless somebody is between them
};

struct InvitationAnswer {
    uint32_t revision = 0;  // grows with each change; 0 when none was opened
    InvitationPhase phase = InvitationPhase::ENDED;
    std::string account;
    std::string ticket;  // a secret: whoever reads it can ask to join
    std::chrono::sys_seconds expires;
    JoiningDevice joiner;  // ASKING, ADMITTED
    std::string note;      // WAITING: why the last device was turned away; may be empty
    std::optional<AccountFault> fault;
};

enum class JoinPhase : uint8_t {
    SEARCHING,   // for the device that made the ticket
    CONFIRMING,  // its owner compares the numbers
    DONE,        // this device is a member
    FAILED,      // fault says why
};

struct JoinAnswer {
    uint32_t revision = 0;
    JoinPhase phase = JoinPhase::FAILED;
    std::string deviceName;  // what this device asks to be called
    std::string transport;   // over which the holder was found: "tcp", "bluetooth"
    std::string holder;      // CONFIRMING, DONE: its name
    std::string account;     // CONFIRMING, DONE
    std::string number;      // CONFIRMING: six digits
    std::optional<AccountFault> fault;
};

struct AccountMember {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;                                  // the fingerprint of its key
    std::optional<std::chrono::sys_seconds> since{};        // no value: the account has no list of members yet
    std::optional<std::chrono::sys_seconds> lastReached{};  // by this device; no value: never, or this device itself
    bool online = false;
    bool pending = false;  // this device has not met it since it was admitted
    bool isThisDevice = false;
    bool holdsKey = false;  // the account's key
};

struct RemovedMember {
    std::string name;
    std::string networkId;
    std::chrono::sys_seconds at;
};

struct MemberList {
    std::string account;
    std::vector<AccountMember> members;  // by name
    std::vector<RemovedMember> removed;  // the oldest first
    std::optional<AccountFault> fault;
};

}  // namespace Vexo::Host
