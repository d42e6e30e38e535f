// The daemon's answers about getting online through another device (ability 1164, requests 23 to 29) as types: an
// attempt step by step, why it failed, what was taken back. Value types; any thread. Texts are as the daemon sent them,
// so escape them before you show them on a terminal. The requests: client/distnet_client.h. The encoding:
// share/doc/libdistnet-dev/ipc.md. Each failure with its sentence, advice and event:
// share/doc/libdistnet-dev/failures.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

// Why an attempt failed at a device. Programs decide by this code, never by the texts beside it.
enum class OnlineFaultCode : uint8_t {
    FAILED,  // anything else; the message says what
    // This device
    WIFI_OFF,
    WIFI_BLOCKED,
    WIFI_ABSENT,
    NO_ACCOUNT,
    REMOVED,      // the account removed this device
    WRONG_CLOCK,  // the clocks of both devices differ too much
    BUSY,         // another attempt is under way here
    NO_SERVICE,   // the service did not start here
    // The way to the device
    NO_DEVICES,      // no other device of the account is known
    UNKNOWN_DEVICE,  // no device of this account has that id
    AWAY,            // not reached over any way; the message names the ways
    UNREACHABLE,     // it announces itself, but no connection was made
    // Its owner
    NOT_ALLOWED,
    OWNER_ASKED,    // the owner is being asked; try again
    NOT_ANSWERED,   // the owner has denied or ignored the question
    BATTERY_FLOOR,  // its battery is below the owner's floor
    DATA_LIMIT,     // its month's bytes are used up
    // Its hotspot
    PEER_WIFI_OFF,
    PEER_WIFI_BLOCKED,
    PEER_NO_HOTSPOT,  // it has no radio that can be a hotspot
    HOTSPOT_FAILED,   // its hotspot did not open; the message has the service's code
    NO_ANSWER,        // it did not answer the request in time
    // The join
    NOT_VISIBLE,
    SECURITY_DIFFERS,
    WRONG_KEY,
    NO_IP_ADDRESS,
    JOIN_FAILED,  // any other reason of the radio
    // The network
    NO_INTERNET,  // joined, but it leads nowhere
    // The attempt
    CANCELLED,  // by the person, or with the program that began it
    TIMED_OUT,  // the limit of the person passed
};

enum class OnlineStepKind : uint8_t {
    FIND,     // this device's own Wi-Fi is checked, the other device is reached and asked what it can do
    HOTSPOT,  // the other device's service opens its hotspot and sends the key
    WIFI,     // this device joins
    ONLINE,   // the network is checked
};

struct OnlineFault {
    OnlineFaultCode code = OnlineFaultCode::FAILED;
    std::string networkId;   // of the device; empty when the fault concerns none
    std::string deviceName;  // the same
    std::string message;     // what happened to what: one sentence without its full stop
    std::string advice;      // what to do; may be empty
};

enum class OnlineStepState : uint8_t { RUNNING, DONE, FAILED };

struct OnlineStep {
    std::string networkId;  // of the device
    std::string deviceName;
    OnlineStepKind kind = OnlineStepKind::FIND;
    OnlineStepState state = OnlineStepState::RUNNING;
    std::chrono::milliseconds took{0};  // so far, while it runs
    std::string transport;              // FIND, done: "tcp" or "bluetooth"
    std::string ssid;                   // HOTSPOT and WIFI, done; what is not printable is escaped
    std::string security;               // WIFI, done: "open", "WPA2", "WPA3"; empty: not known
    std::string address;                // WIFI, done: IPv4, of this device
    std::optional<OnlineFault> fault;   // FAILED
};

// What a device says of itself, when it was asked last.
enum class InternetState : uint8_t { UNKNOWN, YES, NO };
enum class UplinkKind : uint8_t { NONE, MOBILE, WIRE, WIFI };
enum class SharingObstacle : uint8_t { NONE, WIFI_OFF, WIFI_BLOCKED, NO_HOTSPOT };
// What its owner lets the asking device do; the same words as OnlineFaultCode.
enum class SharingPermission : uint8_t { ALLOWED, ASKS, NOT_ALLOWED, NOT_ANSWERED, BATTERY_FLOOR, DATA_LIMIT };

struct DeviceFacts {
    std::string networkId;  // of the device
    std::chrono::sys_seconds at;
    SharingObstacle obstacle = SharingObstacle::NONE;
    SharingPermission permission = SharingPermission::ALLOWED;
    UplinkKind uplink = UplinkKind::NONE;
    std::string technology;                // of a MOBILE uplink: "4G"
    std::optional<uint8_t> signalPercent;  // of a MOBILE or WIFI uplink
    std::optional<bool> isMetered;
    InternetState internet = InternetState::UNKNOWN;
    bool isMobileDataOff = false;
    std::optional<uint8_t> batteryPercent;  // no value: no battery, or not known
    bool isCharging = false;

    bool operator==(const DeviceFacts&) const = default;
};

// What was undone on both devices.
struct TakenBack {
    bool hasLeftWifi = false;
    std::string backOn;  // the user's network that this device is on again; empty: none
    // The device that was used, and what became of its hotspot. Empty: no device was asked.
    std::string networkId;
    std::string deviceName;
    bool wasTold = false;           // false: it could not be told, and closes by itself later
    bool hasClosedHotspot = false;  // false when somebody else uses the hotspot, or the owner turned it on
};

enum class OnlinePhase : uint8_t {
    IDLE,
    RUNNING,
    CANCELLING,  // what was begun is being taken back
    ONLINE,      // joined and checked
    FAILED,      // fault says why
    CANCELLED,   // takenBack says what was undone
};

// An attempt, or the connection that it made.
struct OnlineAnswer {
    uint32_t revision = 0;  // grows with each change; 0 when there was no attempt yet
    OnlinePhase phase = OnlinePhase::IDLE;
    bool isAutomatic = false;  // begun by `auto`
    std::vector<OnlineStep> steps;
    // ONLINE, and FAILED with NO_INTERNET when the network was kept: the device in use and what it said.
    std::string networkId;
    std::string deviceName;
    std::optional<DeviceFacts> facts;
    std::optional<OnlineFault> fault;    // FAILED: of the device that came farthest, or of this device
    std::optional<TakenBack> takenBack;  // CANCELLED, and FAILED when something was taken back
};

enum class DownResult : uint8_t {
    DONE,
    NOT_JOINED,  // this device is on no hotspot of another device
};

struct DownAnswer {
    DownResult result = DownResult::DONE;
    TakenBack takenBack;
    std::optional<OnlineFault> fault;  // what could not be undone here
};

enum class AutoState : uint8_t {
    OFF,
    WATCHING,  // this device has a network, or nobody uses it
    WAITING,   // this device has no network; a try comes once that has lasted
    TRYING,
    ONLINE,     // through another device
    SUSPENDED,  // `down` or a disconnect by hand; until `until` or until the user's own network was back
    EXHAUSTED,  // the tries of this hour are used up; until `until`
};

struct AutoStatus {
    bool isOn = false;
    AutoState state = AutoState::OFF;
    std::optional<std::chrono::sys_seconds> until{};
};

struct OnlineStatus {
    OnlineAnswer attempt;                             // the latest
    bool hasLease = false;                            // the device in use knows that this one uses it
    std::optional<std::chrono::sys_seconds> since{};  // ONLINE
    AutoStatus automatic;
    std::vector<std::string> preferred;  // network ids, the best first
    std::vector<DeviceFacts> facts;      // of each device that has said them, by network id
};

struct OnlineChange {
    std::optional<OnlineFault> fault;  // no value: done
};

// How an attempt behaves.
enum class OnlineMode : uint32_t {
    UP = 1,     // the best device, the next where that fails; tries again for a minute while owners are asked
    START = 2,  // one device; a network without internet is kept; ends at once when the owner is asked
};

// The longest that CancelOnline and BringDown take.
inline constexpr std::chrono::milliseconds ONLINE_UNDO_LIMIT{25'000};

}  // namespace Vexo::Host
