// Types for the daemon's answers about getting online through another device (ability 1164, requests 23 to 29): the
// steps of an attempt, why it failed, and what was undone. Value types; any thread. Strings are as the daemon sent
// them, so escape them before you show them on a terminal. Requests: client/distnet_client.h. Encoding:
// share/doc/libdistnet-dev/ipc.md. The sentence, advice and event of each failure:
// share/doc/libdistnet-dev/failures.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

// Why an attempt failed at a device. Programs decide by this code, never by the texts of OnlineFault. "It" in the
// comments is the other device.
enum class OnlineFaultCode : uint8_t {
    FAILED,  // anything else; the message says what
    // Faults of this device:
    WIFI_OFF,
    WIFI_BLOCKED,
    WIFI_ABSENT,
    NO_ACCOUNT,
    REMOVED,      // the account removed this device
    WRONG_CLOCK,  // the clocks of both devices differ too much
    BUSY,         // another attempt runs on this device
    NO_SERVICE,   // the service did not start on this device
    // The other device is not reached:
    NO_DEVICES,      // no other device of the account is known
    UNKNOWN_DEVICE,  // no device of this account has that id
    AWAY,            // it was not reached over any transport; the message names the transports
    UNREACHABLE,     // it announces itself, but no connection could be made
    // The other device's owner refuses:
    NOT_ALLOWED,
    OWNER_ASKED,    // the owner is being asked; a later attempt may succeed
    NOT_ANSWERED,   // the owner denied or ignored the request
    BATTERY_FLOOR,  // its battery is below the owner's floor
    DATA_LIMIT,     // its monthly data limit is used up
    // The other device's hotspot fails:
    PEER_WIFI_OFF,
    PEER_WIFI_BLOCKED,
    PEER_NO_HOTSPOT,  // it has no radio that can be a hotspot
    HOTSPOT_FAILED,   // its hotspot did not open; the message has the service's code
    NO_ANSWER,        // it did not answer the request in time
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
    TIMED_OUT,  // the time limit that a person set has passed
};

enum class OnlineStepKind : uint8_t {
    FIND,     // checks this device's Wi-Fi, reaches the other device and asks for its DeviceFacts
    HOTSPOT,  // the other device's service opens its hotspot and sends the key
    WIFI,     // this device joins the hotspot
    ONLINE,   // checks that the network leads to the internet
};

struct OnlineFault {
    OnlineFaultCode code = OnlineFaultCode::FAILED;
    std::string networkId;   // of the other device; empty if the fault concerns none
    std::string deviceName;  // of the other device
    std::string message;     // what failed: one sentence without a full stop
    std::string advice;      // what to do; may be empty
};

enum class OnlineStepState : uint8_t { RUNNING, DONE, FAILED };

struct OnlineStep {
    std::string networkId;  // of the device
    std::string deviceName;
    OnlineStepKind kind = OnlineStepKind::FIND;
    OnlineStepState state = OnlineStepState::RUNNING;
    std::chrono::milliseconds took{0};  // while RUNNING: time since the step began
    std::string transport;              // set when FIND is done: "tcp" or "bluetooth"
    std::string ssid;                   // set by HOTSPOT and WIFI; non-printable bytes are escaped
    std::string security;               // set when WIFI is done: "open", "WPA2", "WPA3"; empty: unknown
    std::string address;                // set when WIFI is done: this device's IPv4 address
    std::optional<OnlineFault> fault;   // set in state FAILED
};

// Values of DeviceFacts.
enum class InternetState : uint8_t { UNKNOWN, YES, NO };
enum class UplinkKind : uint8_t { NONE, MOBILE, WIRE, WIFI };
enum class SharingObstacle : uint8_t { NONE, WIFI_OFF, WIFI_BLOCKED, NO_HOTSPOT };
// Whether the device's owner lets the asking device use the network. The refusals have the names of OnlineFaultCode.
enum class SharingPermission : uint8_t { ALLOWED, ASKS, NOT_ALLOWED, NOT_ANSWERED, BATTERY_FLOOR, DATA_LIMIT };

// What a device reported about itself when it was last asked.
struct DeviceFacts {
    std::string networkId;        // of the device
    std::chrono::sys_seconds at;  // when the device reported these facts
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

// What was undone on both devices after an attempt or `distnetctl down`.
struct TakenBack {
    bool hasLeftWifi = false;
    std::string backOn;  // name of the user's own network that this device is on again; empty: none
    // The device that was used or asked, and the state of its hotspot. networkId is empty if no device was asked.
    std::string networkId;
    std::string deviceName;
    bool wasTold = false;           // the device was notified; if false, it closes its hotspot later by itself
    bool hasClosedHotspot = false;  // false if another device uses the hotspot, or the owner turned it on
};

enum class OnlinePhase : uint8_t {
    IDLE,
    RUNNING,
    CANCELLING,  // the attempt is being undone
    ONLINE,      // the network was joined and checked
    FAILED,      // fault says why
    CANCELLED,   // takenBack says what was undone
};

// An attempt, or the connection that it made.
struct OnlineAnswer {
    uint32_t revision = 0;  // grows with each change; 0: no attempt yet
    OnlinePhase phase = OnlinePhase::IDLE;
    bool isAutomatic = false;  // automatic mode began the attempt
    std::vector<OnlineStep> steps;
    // The device whose network this device is on, and its facts; empty: none. Also set after a failed or cancelled
    // attempt if this device stayed on a device's network.
    std::string networkId;
    std::string deviceName;
    std::optional<DeviceFacts> facts;
    std::optional<OnlineFault> fault;    // FAILED: the fault of the device that got farthest, or of this device
    std::optional<TakenBack> takenBack;  // after a failed or cancelled attempt; no value: nothing was undone
};

enum class DownResult : uint8_t {
    DONE,
    NOT_JOINED,  // this device is not on another device's hotspot
};

struct DownAnswer {
    DownResult result = DownResult::DONE;
    TakenBack takenBack;
    std::optional<OnlineFault> fault;  // what could not be undone on this device
};

enum class AutoState : uint8_t {
    OFF,
    WATCHING,  // this device has a network, or no user session is active
    WAITING,   // this device has no network; an attempt begins if that persists
    TRYING,
    ONLINE,     // this device is online through another device
    SUSPENDED,  // after `distnetctl down` or a manual disconnect; ends at AutoStatus::until or with the own network
    EXHAUSTED,  // this hour's attempts are used up; ends at AutoStatus::until
};

struct AutoStatus {
    bool isOn = false;
    AutoState state = AutoState::OFF;
    std::optional<std::chrono::sys_seconds> until{};
};

struct OnlineStatus {
    OnlineAnswer attempt;                             // the latest attempt
    bool hasLease = false;                            // the device in use has a current lease for this device
    std::optional<std::chrono::sys_seconds> since{};  // when this device got online; no value: it is not online
    AutoStatus automatic;
    std::vector<std::string> preferred;  // network ids, the best first
    std::vector<DeviceFacts> facts;      // the latest facts of each device, ordered by network id
};

struct OnlineChange {
    std::optional<OnlineFault> fault;  // no value: success
};

// How an attempt behaves.
enum class OnlineMode : uint32_t {
    UP = 1,     // tries the devices in order until one works; retries for a minute while owners are being asked
    START = 2,  // for one device: keeps its network even without internet; fails at once if its owner must be asked
};

// How long CancelOnline and BringDown take at most.
inline constexpr std::chrono::milliseconds ONLINE_UNDO_LIMIT{25'000};

}  // namespace Vexo::Host
