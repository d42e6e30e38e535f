// Air: the medium that simulated radios share, which is a folder. Each hotspot that is on and each connected station
// has one record in it, a file; hotspots and stations find each other by reading the records. A record never contains a
// Wi-Fi key, only a proof of the key that is as hard to invert as a recorded Wi-Fi handshake. Any thread may use it;
// calls block on the disk. The only state is the folder's path. Keys and values of the records: docs/files.md.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "backends/simulated/device_state.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Simulated {

inline constexpr int32_t AIR_RECORD_VERSION = 1;

struct AirRecord {
    std::string ssid;
    std::string bssid;
    HotspotSecurity security = HotspotSecurity::OPEN;
    std::string keyProof;
    std::string addressRange;
    bool hasInternet = false;
    int32_t version = AIR_RECORD_VERSION;
    bool operator==(const AirRecord&) const = default;
};

// The record of a station while it is connected.
struct StationRecord {
    std::string bssid;  // of the hotspot
    std::string macAddress;
    uint64_t receivedBytes = 0;  // by the station, over this connection
    uint64_t sentBytes = 0;
    int32_t version = AIR_RECORD_VERSION;
    bool operator==(const StationRecord&) const = default;
};

class Air {
public:
    // networkId: of the device that these radios belong to; part of the names of its files.
    Air(std::filesystem::path folder, std::string networkId)
        : folder_(std::move(folder)), networkId_(std::move(networkId))
    {
    }

    const std::filesystem::path& Folder() const { return folder_; }
    const std::string& NetworkId() const { return networkId_; }

    // Writes this device's hotspot record, in place of the previous one.
    [[nodiscard]] Result<void> Publish(const AirRecord& record) const;
    // Removes this device's hotspot record. Does nothing if there is none; an error is logged.
    void Withdraw() const;
    // Returns the hotspot records of other devices, ordered by file name. A damaged record is logged and left out.
    std::vector<AirRecord> Look() const;
    // Returns the records of the stations that are connected to this device's hotspot, ordered by file name. A record
    // that no process has locked (StationPresence) was left by a crash and is left out.
    std::vector<StationRecord> Stations() const;

    // The hotspot's hardware address: locally administered, derived from the network id.
    std::string Bssid() const;
    // The station's hardware address: derived in the same way, but never equal to Bssid().
    std::string StationMac() const;
    // The address that this device gets in every hotspot: "192.168.43.2" to ".254", derived from the network id.
    std::string StationAddress() const;

private:
    friend class StationPresence;

    std::filesystem::path RecordPath() const;
    std::filesystem::path StationPath() const;
    std::vector<std::filesystem::path> Records(const char* prefix) const;

    std::filesystem::path folder_;
    std::string networkId_;
};

// This device's station record in the air. While the record exists, the object keeps an exclusive lock on its file
// (flock(2)). The lock ends with the process, so a record without a lock was left by a crash. Used by one thread at a
// time.
class StationPresence : public NoCopyable {
public:
    explicit StationPresence(Air air) : air_(std::move(air)) {}
    ~StationPresence()
    {
        if (file_) {
            Remove();
        }
    }

    // Writes the record, in place of the previous one.
    [[nodiscard]] Result<void> Put(const StationRecord& record);
    // Removes the record, including one that an earlier run left. Does nothing if there is none.
    void Remove();

private:
    const Air air_;
    UniqueFd file_;  // holds the lock
};

inline constexpr const char* AIR_ADDRESS_RANGE = "192.168.43.0/24";

// Returns, in hex, PBKDF2-HMAC-SHA-256 of key, salted with ssid, 4096 rounds: the passphrase mapping of IEEE 802.11
// with a newer hash. Takes some milliseconds. If the crypto library fails, returns an empty text, which equals no
// proof.
std::string MakeKeyProof(const std::string& ssid, const std::string& key);

// fileName: named in the error.
[[nodiscard]] Result<AirRecord> ParseAirRecord(const std::string& json, const std::string& fileName);
std::string SerializeAirRecord(const AirRecord& record);
[[nodiscard]] Result<StationRecord> ParseStationRecord(const std::string& json, const std::string& fileName);
std::string SerializeStationRecord(const StationRecord& record);

}  // namespace Vexo::Simulated
