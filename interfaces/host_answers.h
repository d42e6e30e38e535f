// What the daemon says about itself (ability 1164), as types: how it stands, what it has open, the devices it knows,
// what is wrong, its events and its traces. Value types; any thread. Texts are as the daemon sent them: a name that
// another device or the air gave may hold control characters, so escape it before a terminal shows it. Who asks:
// client/distnet_client.h. How the answers travel: share/doc/libdistnet-dev/ipc.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/dfx/health_check.h"

namespace Vexo::Host {

// Results of the ability's requests.
enum HostResult : int32_t {
    HOST_OK = 0,
    HOST_NOT_PERMITTED = 201,
    HOST_NO_WIFI = 1,       // WaitForWifi: this device has no Wi-Fi ability
    HOST_BAD_REQUEST = 2,   // arguments missing or out of range
    HOST_BUSY = 3,          // StartTrace: as many recordings run as are allowed
    HOST_NO_RECORDING = 4,  // StopTrace: no such recording, or nothing at that offset
};

// The longest wait that WaitForWifi and GetEvents take; HOST_BAD_REQUEST for a longer one.
inline constexpr std::chrono::milliseconds HOST_MAX_WAIT{60'000};

// The numbers that devices announce.
enum class DeviceType : uint16_t { UNKNOWN = 0, PHONE = 1, TABLET = 2, LAPTOP = 3 };

// Whether this device's Wi-Fi can join a network now. BLOCKED: off by a switch of the machine.
enum class RadioState { ON, SWITCHED_OFF, BLOCKED, ABSENT };

// How the last join stands. The numbers are WaitForWifi's.
enum class WifiState : int32_t { IDLE = 0, CONNECTING = 1, CONNECTED = 2, FAILED = 3, DISCONNECTED = 4 };

// IDLE: stopped because no program uses it, but its library stays and goes on serving peers.
enum class ServiceLife { NOT_LOADED, RUNNING, IDLE };

struct WifiStatus {
    bool present = false;  // this device has a Wi-Fi ability; without one the rest says nothing
    RadioState radio = RadioState::ABSENT;
    WifiState state = WifiState::IDLE;
    uint32_t attempt = 0;  // counts the joins that were accepted since the daemon's start
    std::string ssid;  // of the last attempt; bytes that are no text are escaped: "caf\xe9", and "\\" for a backslash
    std::string address;  // "192.168.43.17" when connected, else empty
    std::string reason;   // one phrase when failed or disconnected, else empty
};

struct HotspotStatus {
    bool present = false;        // this device has a hotspot ability
    std::optional<bool> active;  // none: the radio did not say within 200 ms
};

struct AbilityStatus {
    int32_t id = 0;
    std::string name;     // "Wi-Fi hotspot"
    std::string backend;  // "linux", "simulated", "platform", "host" or "service"
};

struct ThisDevice {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;  // 64 hex characters
};

struct LinkStatus {
    std::optional<std::string> listen;  // the address that peers use, "192.0.2.7:11630"; none without a link
};

struct HostStatus {
    std::string version;
    int32_t pid = 0;
    ThisDevice device;
    std::optional<std::string> account;    // its name; none before enrolment
    std::string platform;                  // "linux" or "simulated"
    std::vector<AbilityStatus> abilities;  // present now, by id
    ServiceLife service = ServiceLife::NOT_LOADED;
    LinkStatus link;
    WifiStatus wifi;
    HotspotStatus hotspot;
    std::chrono::milliseconds uptime{0};
};

// What is open now. A daemon that leaks shows it here.
struct HostCounts {
    uint64_t sessions = 0;  // of the soft bus, both directions
    uint64_t pendingOpens = 0;
    uint64_t sessionServers = 0;
    uint64_t presenceLinks = 0;   // connections to the devices that are online
    uint64_t collaborations = 0;  // of the service, both directions
    uint64_t ipcConnections = 0;  // local clients
    uint64_t ipcThreads = 0;      // that serve them
    uint64_t threads = 0;         // of the process
    uint64_t descriptors = 0;     // open files of the process
    uint64_t queuedTasks = 0;     // work that waits for a thread

    uint64_t Pending() const { return pendingOpens + collaborations + queuedTasks; }
};

// Another device of the account that this device has been connected to. Known devices are kept across restarts of the
// daemon.
struct KnownDevice {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;  // 64 hex characters, and so the device id
    std::string deviceId;
    bool online = false;
    std::chrono::sys_seconds lastSeen;
    std::string transport{};  // over which it was reached last: "tcp"
    std::string address{};    // where; empty when that is not known
};

struct DeviceList {
    std::vector<KnownDevice> devices;  // online first
};

struct CheckList {
    std::vector<QuviewDFX::HealthCheck> checks;  // in the order of `distnetctl doctor`
};

enum class EventType : int32_t { FAULT = 1, STATISTIC = 2, SECURITY = 3, BEHAVIOR = 4 };

struct EventParameter {
    std::string key;
    std::variant<int32_t, std::string> value;

    bool operator==(const EventParameter&) const = default;
};

struct Event {
    std::chrono::sys_time<std::chrono::milliseconds> time;
    std::string domain;
    std::string name;
    EventType type = EventType::BEHAVIOR;
    std::vector<EventParameter> parameters;

    bool operator==(const Event&) const = default;
};

struct EventPage {
    uint64_t cursor = 0;        // to go on with; holds until the daemon ends
    bool missed = false;        // events that followed the cursor asked for have been removed by rotation
    std::vector<Event> events;  // oldest first; empty: nothing follows yet
};

struct TraceRecording {
    uint32_t recording = 0;  // its number, from 1
};

// A part of a stopped recording. Ask on with the offset grown by the text's size, until that is bytes.
struct TracePiece {
    uint32_t recording = 0;
    uint64_t spans = 0;    // recorded
    uint64_t dropped = 0;  // not recorded: there were too many
    std::chrono::milliseconds duration{0};
    uint64_t bytes = 0;  // of the whole text
    std::string text;    // from the offset asked for; trace-event JSON (share/doc/libdistnet-dev/traces.md)
};

}  // namespace Vexo::Host
