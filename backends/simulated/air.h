// Air: a folder that takes the place of the radio medium between simulated devices. The folder contains one file,
// called a record, for each hotspot that is on and for each connected station. Hotspots and stations find each other by
// reading the records. A record never contains a Wi-Fi key. It contains only a proof of the key, which is as hard to
// invert as a recorded Wi-Fi handshake. Any thread may use Air. Calls block on the disk. docs/files.md lists the keys
// and values of the records.
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

// The record of a station that is connected to a hotspot.
struct StationRecord {
    std::string bssid;  // the BSSID of the hotspot
    std::string macAddress;
    uint64_t receivedBytes = 0;  // bytes that the station has received over this connection
    uint64_t sentBytes = 0;
    int32_t version = AIR_RECORD_VERSION;
    bool operator==(const StationRecord&) const = default;
};

class Air {
public:
    // folder: the folder that contains the records. networkId: the network id of this device, which is part of the
    // names of its record files.
    Air(std::filesystem::path folder, std::string networkId)
        : folder_(std::move(folder)), networkId_(std::move(networkId))
    {
    }

    const std::filesystem::path& Folder() const { return folder_; }
    const std::string& NetworkId() const { return networkId_; }

    // Writes this device's hotspot record and replaces the previous one.
    [[nodiscard]] Result<void> Publish(const AirRecord& record) const;
    // Removes this device's hotspot record, if there is one. An error is logged.
    void Withdraw() const;
    // Returns the hotspot records of other devices, ordered by file name. A damaged record is logged and left out.
    std::vector<AirRecord> Records() const;
    // Returns true if a file with this name in the air folder is a hotspot record.
    static bool IsHotspotRecord(const std::string& fileName);
    // Returns the records of the stations that are connected to this device's hotspot, ordered by file name. A record
    // without a lock (StationPresence) was left by a crash and is not returned.
    std::vector<StationRecord> Stations() const;

    // Returns the hotspot's hardware address. It is locally administered and derived from the network id.
    std::string Bssid() const;
    // Returns the station's hardware address. It is locally administered, derived from the network id, and never equal
    // to Bssid().
    std::string StationMac() const;
    // Returns the IPv4 address that this device gets in every hotspot, from "192.168.43.2" to "192.168.43.254". It is
    // derived from the network id.
    std::string StationAddress() const;

private:
    friend class StationPresence;

    std::filesystem::path RecordPath() const;
    std::filesystem::path StationPath() const;
    std::vector<std::filesystem::path> Records(const char* prefix) const;

    std::filesystem::path folder_;
    std::string networkId_;
};

// Writes and removes this device's station record in the air. While the record exists, this object has an exclusive
// lock on the record file (flock(2)). The lock ends with the process, so a record without a lock was left by a crash.
// Only one thread may use the object at a time.
class StationPresence : public NoCopyable {
public:
    explicit StationPresence(Air air) : air_(std::move(air)) {}
    ~StationPresence()
    {
        if (file_) {
            Remove();
        }
    }

    // Writes the record and replaces the previous one.
    [[nodiscard]] Result<void> Put(const StationRecord& record);
    // Removes the record, also if an earlier run left it. Does nothing if there is no record.
    void Remove();

private:
    const Air air_;
    UniqueFd file_;  // holds the lock
};

inline constexpr const char* AIR_ADDRESS_RANGE = "192.168.43.0/24";

// Returns PBKDF2-HMAC-SHA-256 of the key in hex, with the SSID as the salt and 4096 rounds. IEEE 802.11 maps
// passphrases in the same way, but with an older hash. Takes some milliseconds. If the crypto library fails, returns an
// empty text, which equals no valid proof.
std::string MakeKeyProof(const std::string& ssid, const std::string& key);

// Parses the text of a hotspot record. fileName: the name that the error message shows.
[[nodiscard]] Result<AirRecord> ParseAirRecord(const std::string& json, const std::string& fileName);
std::string SerializeAirRecord(const AirRecord& record);
[[nodiscard]] Result<StationRecord> ParseStationRecord(const std::string& json, const std::string& fileName);
std::string SerializeStationRecord(const StationRecord& record);

}  // namespace Vexo::Simulated
