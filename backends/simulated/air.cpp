#include "backends/simulated/air.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

#include "backends/simulated/ssid_text.h"
#include "platform/base/files.h"
#include "platform/base/json.h"
#include "platform/dfx/log.h"

namespace Vexo::Simulated {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "SimulatedAir"};
constexpr int RECORD_VERSION = 1;
constexpr size_t MAX_RECORD_BYTES = 4096;
constexpr int KEY_PROOF_ROUNDS = 4096;
constexpr mode_t RECORD_MODE = 0644;  // the air is for every device to see
constexpr size_t DIGEST_BYTES = 32;
constexpr unsigned FIRST_HOST = 2;  // .1 is the hotspot itself
constexpr unsigned HOST_COUNT = 253;

using Digest = std::array<unsigned char, DIGEST_BYTES>;

std::string Hex(const unsigned char* bytes, size_t size)
{
    constexpr const char* DIGITS = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        text += DIGITS[bytes[i] >> 4U];
        text += DIGITS[bytes[i] & 0x0FU];
    }
    return text;
}

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

std::optional<HotspotSecurity> SecurityOf(const std::string& name)
{
    for (const HotspotSecurity security : {HotspotSecurity::OPEN, HotspotSecurity::WPA2, HotspotSecurity::WPA3}) {
        if (name == SecurityName(security)) {
            return security;
        }
    }
    return std::nullopt;
}

}  // namespace

std::string MakeKeyProof(const std::string& ssid, const std::string& key)
{
    Digest digest{};
    const int made = PKCS5_PBKDF2_HMAC(
        key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(ssid.data()),
        static_cast<int>(ssid.size()), KEY_PROOF_ROUNDS, EVP_sha256(), static_cast<int>(digest.size()), digest.data());
    return made == 1 ? Hex(digest.data(), digest.size()) : std::string();
}

Result<AirRecord> ParseAirRecord(const std::string& json)
{
    const Json document = ParseJson(json);
    if (!cJSON_IsObject(document.get())) {
        return Error{"not a JSON object"};
    }
    if (HasNulInText(json)) {
        return Error{R"(a text holds \u0000)"};
    }
    const cJSON* const version = cJSON_GetObjectItemCaseSensitive(document.get(), "version");
    if (!cJSON_IsNumber(version) || version->valueint != RECORD_VERSION) {
        return Error{"version: must be 1"};
    }
    AirRecord record;
    std::string security;
    const std::array<std::pair<const char*, std::string*>, 5> texts{{{"ssid", &record.ssid},
                                                                     {"bssid", &record.bssid},
                                                                     {"security", &security},
                                                                     {"key_proof", &record.keyProof},
                                                                     {"address_range", &record.addressRange}}};
    for (const auto& [name, value] : texts) {
        const cJSON* const item = cJSON_GetObjectItemCaseSensitive(document.get(), name);
        if (!cJSON_IsString(item)) {
            return Error{std::string(name) + ": must be a text"};
        }
        *value = item->valuestring;
    }
    Result<std::string> ssid = SsidFromText(record.ssid);
    if (!ssid) {
        return Error{"ssid: " + ssid.Message()};
    }
    record.ssid = std::move(ssid.Value());
    if (record.ssid.empty() || record.ssid.size() > 32) {
        return Error{"ssid: must have 1 to 32 bytes"};
    }
    const std::optional<HotspotSecurity> known = SecurityOf(security);
    if (!known) {
        return Error{"security: must be open, wpa2 or wpa3"};
    }
    record.security = *known;
    // A secured network without a proof would let every key in that failed to give one.
    if (record.security != HotspotSecurity::OPEN && record.keyProof.size() != 2 * DIGEST_BYTES) {
        return Error{"key_proof: must be 64 hex characters"};
    }
    return record;
}

std::string SerializeAirRecord(const AirRecord& record)
{
    const Json document = NewObject();
    cJSON_AddNumberToObject(document.get(), "version", RECORD_VERSION);
    AddText(document.get(), "ssid", SsidToText(record.ssid));
    AddText(document.get(), "bssid", record.bssid);
    AddText(document.get(), "security", SecurityName(record.security));
    AddText(document.get(), "key_proof", record.keyProof);
    AddText(document.get(), "address_range", record.addressRange);
    return IndentedJson(document.get());
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
        const Result<std::string> text = ReadWholeFile(file, MAX_RECORD_BYTES);
        if (!text) {
            // Most often it was removed since the folder was listed.
            continue;
        }
        Result<AirRecord> record = ParseAirRecord(text.Value());
        if (!record) {
            QuviewDFX::LogWarn(LABEL, "%{public}s: ignored: %{public}s", file.string(), record.Message());
            continue;
        }
        records.push_back(std::move(record.Value()));
    }
    return records;
}

std::string Air::Bssid() const
{
    const Digest digest = DigestOf(networkId_);
    std::string text = "02";
    for (size_t i = 0; i < 5; ++i) {
        text += ":" + Hex(&digest[i], 1);
    }
    return text;
}

std::string Air::StationAddress() const
{
    const Digest digest = DigestOf(networkId_);
    return "192.168.43." + std::to_string(FIRST_HOST + digest.back() % HOST_COUNT);
}

}  // namespace Vexo::Simulated
