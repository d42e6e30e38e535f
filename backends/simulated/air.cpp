#include "backends/simulated/air.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <utility>

#include "backends/simulated/device_state_keys.h"
#include "platform/base/files.h"
#include "platform/base/hex.h"
#include "platform/base/json_keys.h"
#include "platform/dfx/log.h"

namespace Vexo::Simulated {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "SimulatedAir"};
constexpr size_t MAX_RECORD_BYTES = 4096;
constexpr int KEY_PROOF_ROUNDS = 4096;
constexpr mode_t RECORD_MODE = 0644;  // every simulated device may read the records
constexpr const char* HOTSPOT_PREFIX = "hotspot-";
constexpr const char* STATION_PREFIX = "station-";
constexpr const char* RECORD_SUFFIX = ".json";
constexpr size_t DIGEST_BYTES = 32;
constexpr unsigned FIRST_HOST = 2;  // .1 is the hotspot itself
constexpr unsigned HOST_COUNT = 253;

using Digest = std::array<unsigned char, DIGEST_BYTES>;

Digest DigestOf(const std::string& text)
{
    Digest digest{};
    EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_sha256(), nullptr);
    return digest;
}

// Returns a locally administered hardware address that is derived from the network id.
// firstByte: the first byte of the address in hex. Bit 1 must be set, because it marks the address as locally
// administered (IEEE 802).
std::string MakeMac(const char* firstByte, const std::string& networkId)
{
    const Digest digest = DigestOf(networkId);
    std::string text = firstByte;
    for (size_t i = 0; i < 5; ++i) {
        text += ":" + HexOf({&digest[i], 1});
    }
    return text;
}

void RemoveFile(const std::filesystem::path& file)
{
    std::error_code error;
    std::filesystem::remove(file, error);
    if (error) {
        QuviewDFX::LogError(LABEL, "cannot remove %{public}s: %{public}s", file.string(), error.message());
    }
}

// Whether another open descriptor has an exclusive lock on the file. Returns false if the file cannot be opened.
bool IsLocked(const std::filesystem::path& file)
{
    const Result<UniqueFd> opened = OpenRegularFile(file, LastLink::REFUSED);
    // The check tries a shared lock, so that two daemons can check at the same time without excluding each other.
    return opened && ::flock(opened.value().Get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool IsRecord(const std::string& fileName, const char* prefix)
{
    return fileName.starts_with(prefix) && fileName.ends_with(RECORD_SUFFIX);
}

// ReadRecord returns nullopt if the record is missing or damaged. A damaged record is logged.
template <typename Record>
std::optional<Record> ReadRecord(const std::filesystem::path& file,
                                 Result<Record> (*parse)(const std::string& json, const std::string& fileName))
{
    const Result<std::string> text = ReadWholeFile(file, MAX_RECORD_BYTES, LastLink::REFUSED);
    if (!text) {
        // Usually the file was removed after the folder was listed.
        return std::nullopt;
    }
    Result<Record> record = parse(text.value(), file.string());
    if (!record) {
        QuviewDFX::LogWarn(LABEL, "%{public}s; the record is ignored", record.error().message);
        return std::nullopt;
    }
    return std::move(record.value());
}

const JsonKeys<AirRecord>& AirRecordKeys()
{
    static const JsonKeys<AirRecord> keys(
        {
            {"version", WholeNumberKind<int32_t>(AIR_RECORD_VERSION, AIR_RECORD_VERSION), &AirRecord::version,
             Required()},
            {"ssid", SsidKind(1), &AirRecord::ssid, Required()},
            {"bssid", TextKind("a text"), &AirRecord::bssid, Required()},
            {"security", NamedKind(SECURITY_NAMES), &AirRecord::security, Required()},
            {"key_proof", Secret(TextKind("a text")), &AirRecord::keyProof, Required()},
            {"address_range", TextKind("a text"), &AirRecord::addressRange, Required()},
            {"internet", FlagKind(), &AirRecord::hasInternet, Required()},
        },
        [](const AirRecord& record) {
            // Only an open hotspot may have an empty key_proof. Otherwise a station on which MakeKeyProof fails, and so
            // returns an empty text, would join with any key.
            const bool needsProof = record.security != HotspotSecurity::OPEN;
            const bool isProof = record.keyProof.size() == 2 * DIGEST_BYTES;
            return needsProof && !isProof ? "key_proof: must be 64 hex characters" : "";
        });
    return keys;
}

const JsonKeys<StationRecord>& StationRecordKeys()
{
    static const JsonKeys<StationRecord> keys({
        {"version", WholeNumberKind<int32_t>(AIR_RECORD_VERSION, AIR_RECORD_VERSION), &StationRecord::version,
         Required()},
        {"bssid", TextKind("a text"), &StationRecord::bssid, Required()},
        {"mac", TextKind("a text"), &StationRecord::macAddress, Required()},
        {"received_bytes", ByteCountKind(), &StationRecord::receivedBytes, Required()},
        {"sent_bytes", ByteCountKind(), &StationRecord::sentBytes, Required()},
    });
    return keys;
}

}  // namespace

std::string MakeKeyProof(const std::string& ssid, const std::string& key)
{
    Digest digest{};
    const int made = PKCS5_PBKDF2_HMAC(
        key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(ssid.data()),
        static_cast<int>(ssid.size()), KEY_PROOF_ROUNDS, EVP_sha256(), static_cast<int>(digest.size()), digest.data());
    return made == 1 ? HexOf(digest) : std::string();
}

Result<AirRecord> ParseAirRecord(const std::string& json, const std::string& fileName)
{
    return AirRecordKeys().Parse(json, fileName);
}

std::string SerializeAirRecord(const AirRecord& record)
{
    return AirRecordKeys().Print(record);
}

Result<StationRecord> ParseStationRecord(const std::string& json, const std::string& fileName)
{
    return StationRecordKeys().Parse(json, fileName);
}

std::string SerializeStationRecord(const StationRecord& record)
{
    return StationRecordKeys().Print(record);
}

std::filesystem::path Air::RecordPath() const
{
    return folder_ / (HOTSPOT_PREFIX + networkId_ + RECORD_SUFFIX);
}

std::filesystem::path Air::StationPath() const
{
    return folder_ / (STATION_PREFIX + networkId_ + RECORD_SUFFIX);
}

Result<void> Air::Publish(const AirRecord& record) const
{
    return WriteFileAtomically(RecordPath(), SerializeAirRecord(record), RECORD_MODE);
}

void Air::Withdraw() const
{
    RemoveFile(RecordPath());
}

std::vector<std::filesystem::path> Air::Records(const char* prefix) const
{
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder_, error), end; !error && it != end; it.increment(error)) {
        if (IsRecord(it->path().filename().string(), prefix)) {
            files.push_back(it->path());
        }
    }
    if (error) {
        QuviewDFX::LogError(LABEL, "cannot read the air folder %{public}s: %{public}s", folder_.string(),
                            error.message());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<AirRecord> Air::Records() const
{
    std::vector<AirRecord> records;
    for (const std::filesystem::path& file : Records(HOTSPOT_PREFIX)) {
        if (file == RecordPath()) {
            continue;
        }
        if (std::optional<AirRecord> record = ReadRecord(file, ParseAirRecord)) {
            records.push_back(std::move(*record));
        }
    }
    return records;
}

bool Air::IsHotspotRecord(const std::string& fileName)
{
    return IsRecord(fileName, HOTSPOT_PREFIX);
}

std::vector<StationRecord> Air::Stations() const
{
    std::vector<StationRecord> stations;
    for (const std::filesystem::path& file : Records(STATION_PREFIX)) {
        if (!IsLocked(file)) {
            continue;
        }
        std::optional<StationRecord> record = ReadRecord(file, ParseStationRecord);
        if (record && record->bssid == Bssid()) {
            stations.push_back(std::move(*record));
        }
    }
    return stations;
}

std::string Air::Bssid() const
{
    return MakeMac("02", networkId_);
}

std::string Air::StationMac() const
{
    return MakeMac("06", networkId_);
}

std::string Air::StationAddress() const
{
    const Digest digest = DigestOf(networkId_);
    return "192.168.43." + std::to_string(FIRST_HOST + digest.back() % HOST_COUNT);
}

Result<void> StationPresence::Put(const StationRecord& record)
{
    // The record is written and locked under another name first, so that readers never see it incomplete or unlocked.
    const std::filesystem::path unfinished = air_.StationPath().string() + ".new";
    const auto fail = [&unfinished] {
        return Fail(ErrorCodeOf(errno), unfinished.string() + ": " + std::strerror(errno));
    };
    UniqueFd file(::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, RECORD_MODE));
    if (!file || ::flock(file.Get(), LOCK_EX | LOCK_NB) != 0 || !WriteAll(file.Get(), SerializeStationRecord(record)) ||
        ::rename(unfinished.c_str(), air_.StationPath().c_str()) != 0) {
        return fail();
    }
    file_ = std::move(file);
    return {};
}

void StationPresence::Remove()
{
    RemoveFile(air_.StationPath());
    file_.Reset();
}

}  // namespace Vexo::Simulated
