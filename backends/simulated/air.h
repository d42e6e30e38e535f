// Air: what simulated radios share. A folder in which each hotspot that is on has one record, and each station that is
// connected to one; each side looks for the other's. The key itself never lies in the air: a record holds a proof of
// it, as hard to turn back as a Wi-Fi handshake that somebody recorded. The functions block on the disk; any thread; no
// state but the folder's path. Keys and values of the records: docs/files.md.
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

// What a station has in the air while it is connected.
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
    // networkId: the device whose radios these are; it is part of its record's file name.
    Air(std::filesystem::path folder, std::string networkId)
        : folder_(std::move(folder)), networkId_(std::move(networkId))
    {
    }

    const std::filesystem::path& Folder() const { return folder_; }
    const std::string& NetworkId() const { return networkId_; }

    // Puts this device's record into the air, in place of the one before.
    [[nodiscard]] Result<void> Publish(const AirRecord& record) const;
    // Removes this device's record; none there is fine.
    void Withdraw() const;
    // What other devices have in the air, in order of file name. Damaged records are left out, with a log line each.
    std::vector<AirRecord> Look() const;
    // The stations that are connected to this device's hotspot, in order of file name. A record that no daemon holds
    // (StationPresence) was left by a crash and is left out.
    std::vector<StationRecord> Stations() const;

    // The hotspot's hardware address, locally administered, made from the network id.
    std::string Bssid() const;
    // The station's hardware address, made in the same way; never the hotspot's.
    std::string StationMac() const;
    // The address that this device gets in every hotspot: "192.168.43.2" to ".254", made from the network id.
    std::string StationAddress() const;

private:
    friend class StationPresence;

    std::filesystem::path RecordPath() const;
    std::filesystem::path StationPath() const;
    std::vector<std::filesystem::path> Records(const char* prefix) const;

    std::filesystem::path folder_;
    std::string networkId_;
};

// The record of this device as a station. It holds an exclusive lock on the file (flock(2)), which ends with the
// process, so that a record without a lock is known to be left over. Used by one thread at a time.
class StationPresence : public NoCopyable {
public:
    explicit StationPresence(Air air) : air_(std::move(air)) {}
    ~StationPresence()
    {
        if (file_) {
            Remove();
        }
    }

    // Puts the record into the air, in place of the one before.
    [[nodiscard]] Result<void> Put(const StationRecord& record);
    // Removes it, and one that an earlier run left; none there is fine.
    void Remove();

private:
    const Air air_;
    UniqueFd file_;  // holds the lock
};

inline constexpr const char* AIR_ADDRESS_RANGE = "192.168.43.0/24";

// Hex of PBKDF2-HMAC-SHA-256 of key, salted with ssid, 4096 rounds: the passphrase mapping of IEEE 802.11 with a newer
// hash. Takes some milliseconds. Empty on a failure of the crypto library, which matches no proof.
std::string MakeKeyProof(const std::string& ssid, const std::string& key);

// fileName stands in the error.
[[nodiscard]] Result<AirRecord> ParseAirRecord(const std::string& json, const std::string& fileName);
std::string SerializeAirRecord(const AirRecord& record);
[[nodiscard]] Result<StationRecord> ParseStationRecord(const std::string& json, const std::string& fileName);
std::string SerializeStationRecord(const StationRecord& record);

}  // namespace Vexo::Simulated
