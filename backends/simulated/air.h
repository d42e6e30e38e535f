// Air: what simulated radios share. A folder in which each hotspot that is on has one record; stations look there. The
// key itself never lies in the air: a record holds a proof of it, as hard to turn back as a Wi-Fi handshake that
// somebody recorded. The functions block on the disk; any thread; no state but the folder's path. A record is the file
// hotspot-NETWORKID.json: {"version":1, "ssid", "bssid" ("02:…"), "security" ("open", "wpa2", "wpa3"), "key_proof" (64
// hex characters, empty when open), "address_range" ("192.168.43.0/24")}; the SSID's bytes are
// escaped (EscapeBytes of platform/base/utf8.h).
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "backends/simulated/device_state.h"
#include "platform/base/result.h"

namespace Vexo::Simulated {

inline constexpr int32_t AIR_RECORD_VERSION = 1;

struct AirRecord {
    std::string ssid;
    std::string bssid;
    HotspotSecurity security = HotspotSecurity::OPEN;
    std::string keyProof;
    std::string addressRange;
    int32_t version = AIR_RECORD_VERSION;
    bool operator==(const AirRecord&) const = default;
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

    // The hotspot's hardware address, locally administered, made from the network id.
    std::string Bssid() const;
    // The address that this device gets in every hotspot: "192.168.43.2" to ".254", made from the network id.
    std::string StationAddress() const;

private:
    std::filesystem::path RecordPath() const;

    std::filesystem::path folder_;
    std::string networkId_;
};

inline constexpr const char* AIR_ADDRESS_RANGE = "192.168.43.0/24";

// Hex of PBKDF2-HMAC-SHA-256 of key, salted with ssid, 4096 rounds: the passphrase mapping of IEEE 802.11 with a newer
// hash. Takes some milliseconds. Empty on a failure of the crypto library, which matches no proof.
std::string MakeKeyProof(const std::string& ssid, const std::string& key);

// fileName stands in the error.
[[nodiscard]] Result<AirRecord> ParseAirRecord(const std::string& json, const std::string& fileName);
std::string SerializeAirRecord(const AirRecord& record);

}  // namespace Vexo::Simulated
