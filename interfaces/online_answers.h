// Types for the daemon's answers about getting online through another device (ability 1164, requests 23 to 29): the
// steps of an attempt, why the attempt failed, and what was undone. Any thread may use these value types. The client
// does not escape strings: escape them before you show them on a terminal. client/distnet_client.h declares the
// requests, and share/doc/libdistnet-dev/ipc.md describes the encoding. share/doc/libdistnet-dev/failures.md lists the
// sentence, the advice and the event of each failure.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

// Why an attempt to get online through a device failed. Programs decide by this code, never by the texts of
// OnlineFault.
enum class OnlineFaultCode : uint8_t {
    FAILED,  // any other failure; the message describes it
    // Faults of this device:
    WIFI_OFF,
    WIFI_BLOCKED,
    WIFI_ABSENT,
    NO_ACCOUNT,
    REMOVED,      // the account removed this device
    WRONG_CLOCK,  // the clocks of both devices differ too much
    BUSY,         // another attempt runs on this device
    NO_SERVICE,   // the service did not start on this device
    // The other device cannot be reached:
    NO_DEVICES,      // no other device of the account is known
    UNKNOWN_DEVICE,  // no device of this account has that id
    AWAY,            // the device was not reached over any transport; the message names the transports
    UNREACHABLE,     // the device announces itself, but no connection could be made
    // The other device's owner refuses:
    NOT_ALLOWED,
    OWNER_ASKED,    // the owner is being asked; a later attempt may succeed
    NOT_ANSWERED,   // the owner denied or ignored the request
    BATTERY_FLOOR,  // the device's battery is below the level that its owner set
    DATA_LIMIT,     // the device's monthly data limit is used up
    // The other device's hotspot fails:
    PEER_WIFI_OFF,
    PEER_WIFI_BLOCKED,
    PEER_NO_HOTSPOT,  // the device has no radio that can be a hotspot
    HOTSPOT_FAILED,   // the device's hotspot did not open; the message contains the service's result code
    NO_ANSWER,        // the device did not answer the request in time
    // The join fails:
    NOT_VISIBLE,
    SECURITY_DIFFERS,
    WRONG_KEY,
    NO_IP_ADDRESS,
    JOIN_FAILED,  // any other cause that the radio reports
    // The joined network fails:
    NO_INTERNET,  // the network has no access to the internet
    // The attempt is stopped:
    CANCELLED,  // by a person, or because the program that began it has ended
    TIMED_OUT,  // the time limit that the user set for the attempt has passed
};

enum class OnlineStepKind : uint8_t {
    FIND,     // checks this device's Wi-Fi, reaches the other device and asks for its DeviceFacts
    HOTSPOT,  // the other device's service opens its hotspot and sends the key
    WIFI,     // this device joins the hotspot
    ONLINE,   // checks that the network leads to the internet
};

struct OnlineFault {
    OnlineFaultCode code = OnlineFaultCode::FAILED;
    std::string networkId;   // network id of the other device; empty if no other device is concerned
    std::string deviceName;  // name of the other device
    std::string message;     // what failed: one sentence without a full stop
    std::string advice;      // what to do; may be empty
};

enum class OnlineStepState : uint8_t { RUNNING, DONE, FAILED };

struct OnlineStep {
    std::string networkId;  // network id of the device that the step concerns
    std::string deviceName;
    OnlineStepKind kind = OnlineStepKind::FIND;
    OnlineStepState state = OnlineStepState::RUNNING;
    std::chrono::milliseconds took{0};  // duration of the step; while RUNNING: the time so far
    std::string transport;              // set when FIND is done: "tcp" or "bluetooth"
    std::string ssid;                   // set by HOTSPOT and WIFI; non-printable bytes are escaped
    std::string security;               // set when WIFI is done: "open", "WPA2", "WPA3"; empty: unknown
    std::string address;                // set when WIFI is done: this device's IPv4 address
    std::optional<OnlineFault> fault;   // set in state FAILED
};

enum class InternetState : uint8_t { UNKNOWN, YES, NO };
enum class UplinkKind : uint8_t { NONE, MOBILE, WIRE, WIFI };
enum class SharingObstacle : uint8_t { NONE, WIFI_OFF, WIFI_BLOCKED, NO_HOTSPOT };
// Whether a device allows the asking device to use its network. ASKS: the owner must agree first. NOT_ALLOWED and the
// values after it are refusals, and have the same names in OnlineFaultCode.
enum class SharingPermission : uint8_t { ALLOWED, ASKS, NOT_ALLOWED, NOT_ANSWERED, BATTERY_FLOOR, DATA_LIMIT };

// What a device reported about itself in its latest answer.
struct DeviceFacts {
    std::string networkId;        // network id of the device
    std::chrono::sys_seconds at;  // when the device reported these values
    SharingObstacle obstacle = SharingObstacle::NONE;
    SharingPermission permission = SharingPermission::ALLOWED;
    UplinkKind uplink = UplinkKind::NONE;
    std::string technology;                // of a MOBILE uplink, such as "4G"
    std::optional<uint8_t> signalPercent;  // of a MOBILE or WIFI uplink
    std::optional<bool> isMetered;
    InternetState internet = InternetState::UNKNOWN;
    bool isMobileDataOff = false;
    std::optional<uint8_t> batteryPercent;  // no value: no battery, or not known
    bool isCharging = false;

    bool operator==(const DeviceFacts&) const = default;
};

// What the daemon has undone on both devices after an attempt or `distnetctl down`.
struct UndoneChanges {
    bool hasLeftWifi = false;
    std::string backOn;  // name of the user's own network to which this device has returned; empty: none
    // The device whose network was used or requested. networkId is empty if no device was asked.
    std::string networkId;
    std::string deviceName;
    bool wasNotified = false;       // false: that device closes its hotspot later by itself
    bool hasClosedHotspot = false;  // false if another device uses the hotspot, or the owner turned it on
};

enum class OnlinePhase : uint8_t {
    IDLE,
    RUNNING,
    CANCELLING,  // the attempt is being undone
    ONLINE,      // this device has joined the network, and the network was checked
    FAILED,      // OnlineAnswer::fault says why
    CANCELLED,   // OnlineAnswer::undoneChanges says what was undone
};

// The state of an attempt, or of the connection that the attempt made.
struct OnlineAnswer {
    uint32_t revision = 0;  // grows with each change; 0: no attempt yet
    OnlinePhase phase = OnlinePhase::IDLE;
    bool isAutomatic = false;  // automatic mode began the attempt
    std::vector<OnlineStep> steps;
    // The device whose network this device uses; empty: no device. Can also be set after an attempt failed or was
    // cancelled, because this device may stay on the other device's network.
    std::string networkId;
    std::string deviceName;
    std::optional<DeviceFacts> facts;
    // FAILED: a fault of this device, or the fault of the device with which the attempt completed the most steps.
    // CANCELLED: why the attempt was cancelled.
    std::optional<OnlineFault> fault;
    std::optional<UndoneChanges> undoneChanges;  // after a failed or cancelled attempt; no value: nothing was undone
};

enum class DownResult : uint8_t {
    DONE,
    NOT_JOINED,  // this device is not on another device's hotspot
};

struct DownAnswer {
    DownResult result = DownResult::DONE;
    UndoneChanges undoneChanges;
    std::optional<OnlineFault> fault;  // what could not be undone on this device
};

enum class AutoState : uint8_t {
    OFF,
    WATCHING,  // this device has a network, or no user session is active
    WAITING,   // this device has no network; an attempt begins if it stays without one
    TRYING,
    ONLINE,  // this device is online through another device
    // `distnetctl down` or a manual disconnect has suspended automatic mode. This state ends at AutoStatus::until, or
    // when this device is on the user's own network.
    SUSPENDED,
    EXHAUSTED,  // the attempts of this hour are used up; this state ends at AutoStatus::until
};

struct AutoStatus {
    bool isOn = false;
    AutoState state = AutoState::OFF;
    std::optional<std::chrono::sys_seconds> until{};
};

struct OnlineStatus {
    OnlineAnswer attempt;   // the latest attempt
    bool hasLease = false;  // the other device granted or renewed this device's lease within the last 150 s
    std::optional<std::chrono::sys_seconds> since{};  // when this device got online; no value: it is not online
    AutoStatus automatic;
    std::vector<std::string> preferred;  // network ids of the preferred devices, the best first
    std::vector<DeviceFacts> facts;      // the latest DeviceFacts of each device, ordered by network id
};

struct OnlineChange {
    std::optional<OnlineFault> fault;  // no value: success
};

enum class OnlineMode : uint32_t {
    UP = 1,     // tries the devices in order until one works; retries for a minute while owners are being asked
    START = 2,  // tries one device; accepts a network without internet; fails at once if an owner must be asked
};

// The longest time that CancelOnline and BringDown take.
inline constexpr std::chrono::milliseconds ONLINE_UNDO_LIMIT{25'000};

}  // namespace Vexo::Host
