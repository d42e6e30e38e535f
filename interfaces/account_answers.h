// Types for the daemon's answers about the account (ability 1164, requests 10 to 22): an invitation, a join, the
// members, and why an operation failed. Any thread may use these value types. The client does not escape strings:
// escape them before you show them on a terminal. client/distnet_client.h declares the requests, and
// share/doc/libdistnet-dev/ipc.md describes the encoding.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

// Why an account operation failed. Programs decide by this code, never by the texts of AccountFault. A member is a
// device of the account. The holder is the member that has the account's key.
enum class AccountFaultCode : uint8_t {
    FAILED,          // any other failure; the message describes it
    NO_ACCOUNT,      // this device is in no account
    MEMBER_ALREADY,  // this device is in an account already
    WAS_REMOVED,     // this device was removed from its account
    NOT_HOLDER,      // another member holds the account's key
    NOT_SETTLED,     // this device was restored from a backup, and has met no other member yet
    HAS_MEMBERS,     // the holder of the account's key may not leave the other members
    UNKNOWN_MEMBER,  // no member has that network id
    THIS_DEVICE,     // a device cannot remove itself
    BAD_NAME,        // the name is not allowed
    NAME_TAKEN,      // another member has that name; AccountFault::suggestion is a free name
    BAD_TICKET,      // the text is mistyped, or is not a ticket
    NOBODY_FOUND,    // no device answered to the ticket
    USED,            // another device has joined with the ticket
    EXPIRED,         // the ticket has expired
    DENIED,          // the person at the device with the account's key denied the join
    BUSY,            // another invitation or join is running, or another device is joining
    REMOVED_KEY,     // the account has removed this device's key
    WRONG_CLOCK,     // the clocks of the holder and of the joining device differ too much
    LOST,            // the other device disconnected
    CANCELLED,       // the program that began the operation cancelled it
    NOT_OPEN,        // this program has no invitation or join that the request could refer to
};

struct AccountFault {
    AccountFaultCode code = AccountFaultCode::FAILED;
    std::string message;     // what failed: one sentence without a full stop
    std::string advice;      // what to do; may be empty
    std::string suggestion;  // set for NAME_TAKEN: a free name
};

// The answer of an operation that returns only success or a fault.
struct ChangeAnswer {
    std::optional<AccountFault> fault;  // no value: success
};

enum class InvitationPhase : uint8_t {
    WAITING,   // no device is asking to join
    ASKING,    // a device waits for the person's answer
    ADMITTED,  // the device has become a member
    ENDED,     // nobody can join with this ticket any more; InvitationAnswer::fault says why
};

// A device that asks to join.
struct JoiningDevice {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;
    // Six digits. Both devices show the same number unless a third device intercepts the connection.
    std::string number;
};

struct InvitationAnswer {
    uint32_t revision = 0;  // grows with each change; 0: no invitation was opened
    InvitationPhase phase = InvitationPhase::ENDED;
    std::string account;
    std::string ticket;  // secret: any device that has the ticket can ask to join
    std::chrono::sys_seconds expires;
    JoiningDevice joiner;  // set in the phases ASKING and ADMITTED
    std::string note;      // phase WAITING: why the previous device was rejected; may be empty
    std::optional<AccountFault> fault;
};

enum class JoinPhase : uint8_t {
    SEARCHING,   // this device searches for the device that made the ticket
    CONFIRMING,  // the other device's owner compares the numbers
    DONE,        // this device is a member
    FAILED,      // JoinAnswer::fault says why
};

struct JoinAnswer {
    uint32_t revision = 0;
    JoinPhase phase = JoinPhase::FAILED;
    std::string deviceName;  // the name that this device asks for
    std::string transport;   // the transport over which the holder was found: "tcp" or "bluetooth"
    std::string holder;      // CONFIRMING, DONE: name of the holder (the device with the account's key)
    std::string account;     // CONFIRMING, DONE: name of the account
    std::string number;      // CONFIRMING: six digits
    std::optional<AccountFault> fault;
};

struct AccountMember {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;  // fingerprint of the device's key
    // When the member was admitted; no value: the account has no list of members yet.
    std::optional<std::chrono::sys_seconds> since{};
    // When this device last reached the member; no value: never, or the member is this device.
    std::optional<std::chrono::sys_seconds> lastReached{};
    bool online = false;
    bool pending = false;  // this device has not met the member since the member was admitted
    bool isThisDevice = false;
    bool holdsKey = false;  // the member has the account's key
};

struct RemovedMember {
    std::string name;
    std::string networkId;
    std::chrono::sys_seconds at;
};

struct MemberList {
    std::string account;
    std::vector<AccountMember> members;  // ordered by name
    std::vector<RemovedMember> removed;  // oldest first
    std::optional<AccountFault> fault;
};

}  // namespace Vexo::Host
