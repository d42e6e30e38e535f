// Types for the daemon's answers about itself (ability 1164): status, open resources, known devices, health checks,
// events and traces. Any thread may use these value types. The name of another device or of a Wi-Fi network may contain
// control characters: escape every string before you show it on a terminal. client/distnet_client.h declares the
// requests, and share/doc/libdistnet-dev/ipc.md describes the encoding.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/dfx/health_check.h"

namespace Vexo::Host {

// Result codes of ability 1164.
enum HostResult : int32_t {
    HOST_OK = 0,
    HOST_NOT_PERMITTED = 201,
    HOST_NO_WIFI = 1,       // WaitForWifi: this device has no Wi-Fi ability
    HOST_BAD_REQUEST = 2,   // arguments missing or out of range
    HOST_BUSY = 3,          // StartTrace: the maximum number of recordings is running already
    HOST_NO_RECORDING = 4,  // StopTrace: the recording does not exist, or the offset is beyond its end
};

// The longest wait that a request may ask for. The daemon answers a request for a longer wait with HOST_BAD_REQUEST.
inline constexpr std::chrono::milliseconds HOST_MAX_WAIT{60'000};
// The longest time that the daemon waits until a person authorizes a change of the account.
inline constexpr std::chrono::milliseconds HOST_PERMISSION_LIMIT{120'000};
// The longest time for which SCAN_DEVICES tries to reach devices. Asking them for their DeviceFacts adds up to 1.5 s.
inline constexpr std::chrono::milliseconds HOST_SCAN_LIMIT{5'000};

// The type of a device. Devices send these numbers to each other, so the numbers must not change.
enum class DeviceType : uint16_t { UNKNOWN = 0, PHONE = 1, TABLET = 2, LAPTOP = 3 };

// Whether this device's Wi-Fi can join a network now. BLOCKED: a hardware switch or a keyboard key keeps the radio off.
enum class RadioState { ON, SWITCHED_OFF, BLOCKED, ABSENT };

// The state of the latest attempt to join a network. WAIT_FOR_WIFI requests contain these numbers.
enum class WifiState : int32_t { IDLE = 0, CONNECTING = 1, CONNECTED = 2, FAILED = 3, DISCONNECTED = 4 };

// Whether the service (ability 1163) runs. IDLE: the service was stopped because no program uses it. Its library stays
// loaded and still serves other devices.
enum class ServiceLife { NOT_LOADED, RUNNING, IDLE };

struct WifiStatus {
    bool present = false;  // this device has a Wi-Fi ability; if false, the other members are meaningless
    RadioState radio = RadioState::ABSENT;
    WifiState state = WifiState::IDLE;
    uint32_t attempt = 0;  // number of joins that were accepted since the daemon started
    std::string ssid;  // SSID of the latest attempt; non-printable bytes are escaped ("caf\xe9"), a backslash is "\\"
    std::string address;  // such as "192.168.43.17"; empty if not connected
    std::string reason;   // FAILED, DISCONNECTED: the cause as one phrase; else empty
    // The same cause as WifiStatus::reason, as a word for programs: a value of REASON in the event NET_WIFI_JOIN_FAIL
    // (share/doc/libdistnet-dev/errors.md).
    std::string failure;
};

struct HotspotStatus {
    bool present = false;        // this device has a hotspot ability
    std::optional<bool> active;  // no value when the radio does not answer within 200 ms
};

struct AbilityStatus {
    int32_t id = 0;
    std::string name;     // such as "Wi-Fi hotspot"
    std::string backend;  // "linux", "simulated", "platform", "host" or "service"
};

struct ThisDevice {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;  // 64 hex characters
};

struct LinkStatus {
    // The address that other devices connect to, such as "192.0.2.7:11630"; no value without a link to other devices.
    std::optional<std::string> listen;
};

// This device's membership in its account. Before this device joins an account, all fields are zero or empty.
struct MembershipStatus {
    std::optional<std::chrono::sys_seconds> removedAt;  // when the account removed this device
    std::string holder;                                 // name of the device that has the account's key; empty: unknown
    bool holdsKey = false;                              // this device has the account's key
    uint32_t members = 0;  // number of devices in the account, including this one; 0: the account has no list yet
    uint32_t pending = 0;  // number of account members that this device has never met
    std::optional<std::chrono::sys_seconds> backup;  // used if holdsKey: when the account's key was last backed up
    // When this device's certificate expires. No value if this time is more than a year away. Certificates of other
    // devices are not considered, even on the device with the account's key.
    std::optional<std::chrono::sys_seconds> endsSoon;
};

struct HostStatus {
    std::string version;
    int32_t pid = 0;
    ThisDevice device;
    std::optional<std::string> account;  // the account's name; no value before enrolment
    MembershipStatus membership;
    std::string platform;                  // "linux" or "simulated"
    std::vector<AbilityStatus> abilities;  // the abilities that are registered now, ordered by id
    ServiceLife service = ServiceLife::NOT_LOADED;
    LinkStatus link;
    WifiStatus wifi;
    HotspotStatus hotspot;
    std::chrono::milliseconds uptime{0};
};

// Resources that the daemon has open now. A count that only grows indicates a leak.
struct HostCounts {
    uint64_t sessions = 0;  // sessions of the soft bus, incoming and outgoing
    uint64_t pendingOpens = 0;
    uint64_t sessionServers = 0;
    uint64_t collaborations = 0;  // collaborations of the service, incoming and outgoing
    uint64_t ipcConnections = 0;  // local clients
    uint64_t ipcThreads = 0;      // threads that serve local clients
    uint64_t threads = 0;         // threads of the daemon
    uint64_t descriptors = 0;     // open files of the daemon
    uint64_t queuedTasks = 0;     // tasks that wait for a thread of the shared pool

    uint64_t Pending() const { return pendingOpens + collaborations + queuedTasks; }
};

// Another device of the account, to which this device has been connected at least once. Known devices are kept across
// restarts of the daemon.
struct KnownDevice {
    std::string name;
    DeviceType type = DeviceType::UNKNOWN;
    std::string networkId;  // 64 hex characters, like the device id
    std::string deviceId;
    bool online = false;
    std::chrono::sys_seconds lastSeen;
    std::string transport{};  // the transport that a connection tries first: "tcp" or "bluetooth"
    std::string address{};    // the address that a connection tries first; empty: unknown
    // The clock of the other device minus the clock of this device; 0 if unknown.
    std::chrono::milliseconds clockAhead{0};
};

struct DeviceList {
    std::vector<KnownDevice> devices;  // online devices first
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
    uint64_t cursor = 0;        // the cursor for the next request; valid until the daemon ends
    bool missed = false;        // events that followed the requested cursor are lost, because their files were deleted
    std::vector<Event> events;  // oldest first; empty when no event follows the cursor yet
};

struct TraceRecording {
    uint32_t recording = 0;  // number of the recording; the first recording has number 1
};

// A piece of the trace of a stopped recording. To read the whole trace, add text.size() to the offset and request the
// next piece. Repeat this until the offset equals TracePiece::bytes.
struct TracePiece {
    uint32_t recording = 0;
    uint64_t spans = 0;    // recorded spans
    uint64_t dropped = 0;  // spans that were not recorded because the recording was full
    std::chrono::milliseconds duration{0};
    uint64_t bytes = 0;  // size of the whole trace
    // A part of the trace that begins at the requested offset. The whole trace is trace-event JSON
    // (share/doc/libdistnet-dev/traces.md).
    std::string text;
};

}  // namespace Vexo::Host
