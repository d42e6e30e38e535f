#include "backends/simulated/air.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
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
constexpr mode_t RECORD_MODE = 0644;  // the air is for every device to see
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

bool IsRecordName(const std::string& name)
{
    return name.starts_with("hotspot-") && name.ends_with(".json");
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
        },
        [](const AirRecord& record) {
            // A secured network without a proof would let every key in that failed to give one.
            const bool needsProof = record.security != HotspotSecurity::OPEN;
            const bool isProof = record.keyProof.size() == 2 * DIGEST_BYTES;
            return needsProof && !isProof ? "key_proof: must be 64 hex characters" : "";
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

std::filesystem::path Air::RecordPath() const
{
    return folder_ / ("hotspot-" + networkId_ + ".json");
}

Result<void> Air::Publish(const AirRecord& record) const
{
    return WriteFileAtomically(RecordPath(), SerializeAirRecord(record), RECORD_MODE);
}

void Air::Withdraw() const
{
    std::error_code error;
    std::filesystem::remove(RecordPath(), error);
    if (error) {
        QuviewDFX::LogError(LABEL, "cannot remove %{public}s: %{public}s", RecordPath().string(), error.message());
    }
}

std::vector<AirRecord> Air::Look() const
{
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder_, error), end; !error && it != end; it.increment(error)) {
        if (IsRecordName(it->path().filename().string()) && it->path() != RecordPath()) {
            files.push_back(it->path());
        }
    }
    if (error) {
        QuviewDFX::LogError(LABEL, "cannot look into the air %{public}s: %{public}s", folder_.string(),
                            error.message());
    }
    std::sort(files.begin(), files.end());
    std::vector<AirRecord> records;
    for (const std::filesystem::path& file : files) {
        const Result<std::string> text = ReadWholeFile(file, MAX_RECORD_BYTES, LastLink::REFUSED);
        if (!text) {
            // Most often it was removed since the folder was listed.
            continue;
        }
        Result<AirRecord> record = ParseAirRecord(text.value(), file.string());
        if (!record) {
            QuviewDFX::LogWarn(LABEL, "%{public}s; the record is ignored", record.error().message);
            continue;
        }
        records.push_back(std::move(record.value()));
    }
    return records;
}

std::string Air::Bssid() const
{
    const Digest digest = DigestOf(networkId_);
    std::string text = "02";
    for (size_t i = 0; i < 5; ++i) {
        text += ":" + HexOf({&digest[i], 1});
    }
    return text;
}

std::string Air::StationAddress() const
{
    const Digest digest = DigestOf(networkId_);
    return "192.168.43." + std::to_string(FIRST_HOST + digest.back() % HOST_COUNT);
}

}  // namespace Vexo::Simulated
