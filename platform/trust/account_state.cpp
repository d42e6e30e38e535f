#include "platform/trust/account_state.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <limits>
#include <set>

#include "platform/base/hex.h"
#include "platform/base/last_second.h"
#include "platform/trust/certificates.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/signed_text.h"

namespace Vexo::Trust {

namespace {

constexpr int FORMAT_VERSION = 1;
constexpr int64_t LAST_NUMBER = LAST_SECOND;  // a number is at least the time of the change, in seconds
constexpr size_t DIGEST_BYTES = 8;
constexpr size_t MAX_SIGNATURE = 72;  // bytes of an ECDSA signature with P-256, in DER
constexpr size_t TIME_BYTES = 8;
constexpr const char* WHAT = "the account's state";

struct Payload {
    int version = FORMAT_VERSION;
    AccountState state;
    LinkKeyRecord linkKeys;
};

JsonKind<std::chrono::sys_seconds> TimeKind()
{
    return ValueKind<std::chrono::sys_seconds>(
        "seconds since 1970",
        [](const cJSON& json, std::chrono::sys_seconds& out) {
            std::string wrong = WholeNumberFault(json, 0, LAST_SECOND);
            if (wrong.empty()) {
                out = std::chrono::sys_seconds(std::chrono::seconds(static_cast<int64_t>(json.valuedouble)));
            }
            return wrong;
        },
        [](const std::chrono::sys_seconds& time) {
            return Json(cJSON_CreateNumber(static_cast<double>(time.time_since_epoch().count())));
        });
}

JsonKind<std::string> NameKind()
{
    return TextKind("1 to 64 bytes of UTF-8 without control characters",
                    [](const std::string& text) { return CheckName(text, "") ? "" : "is no name"; });
}

JsonKind<std::string> HolderKind()
{
    return TextKind("64 hex characters, or nothing",
                    [](const std::string& text) { return text.empty() || IsHexId(text) ? "" : "is no id"; });
}

JsonKind<std::string> SignatureKind()
{
    return ParsedTextKind<std::string>(
        "hex characters",
        [](const std::string& text, std::string& out) {
            out = BytesOfHex(text);
            return out.empty() || out.size() > MAX_SIGNATURE ? "is no signature" : "";
        },
        [](const std::string& signature) {
            return HexOf({reinterpret_cast<const uint8_t*>(signature.data()), signature.size()});
        });
}

const JsonKeys<Member>& MemberKeys()
{
    static const JsonKeys<Member> keys({
        {"network_id", IdKind(), &Member::networkId, Required()},
        {"name", NameKind(), &Member::name, Required()},
        {"type", WholeNumberKind<uint16_t>(0, std::numeric_limits<uint16_t>::max()), &Member::type, Required()},
        {"since", TimeKind(), &Member::since, Required()},
    });
    return keys;
}

const JsonKeys<RemovedKey>& RemovedKeys()
{
    static const JsonKeys<RemovedKey> keys({
        {"network_id", IdKind(), &RemovedKey::networkId, Required()},
        {"name", NameKind(), &RemovedKey::name, Required()},
        {"at", TimeKind(), &RemovedKey::at, Required()},
        {"number", WholeNumberKind<uint64_t>(1, LAST_NUMBER), &RemovedKey::number, Required()},
        {"signature", SignatureKind(), &RemovedKey::signature, Required()},
    });
    return keys;
}

std::string Contradiction(const Payload& payload)
{
    const AccountState& state = payload.state;
    std::set<std::string> ids;
    std::set<std::string> names;
    for (const Member& member : state.members) {
        if (!ids.insert(member.networkId).second || !names.insert(member.name).second) {
            return "members: two with the same name or id";
        }
    }
    if (!state.holder.empty() && !ids.contains(state.holder)) {
        return "holder: is not a member";
    }
    for (const RemovedKey& removed : state.removed) {
        if (!ids.insert(removed.networkId).second) {
            return "removed: names a member, or one key twice";
        }
    }
    return payload.linkKeys.account == state.account ? "" : "link_keys: belong to another account";
}

const JsonKeys<Payload>& PayloadKeys()
{
    static const JsonKeys<Payload> keys(
        {
            {"version", FormatVersionKind(FORMAT_VERSION), &Payload::version, Required()},
            {"account", IdKind(), [](Payload& payload) -> std::string& { return payload.state.account; }, Required()},
            {"number", WholeNumberKind<uint64_t>(1, LAST_NUMBER),
             [](Payload& payload) -> uint64_t& { return payload.state.number; }, Required()},
            {"holder", HolderKind(), [](Payload& payload) -> std::string& { return payload.state.holder; }, Required()},
            {"account_certificate", TextKind("X.509 in PEM"),
             [](Payload& payload) -> std::string& { return payload.state.accountCertificate; }, Required()},
            {"members", ListKind<Member>(MemberKeys(), "a list of members"),
             [](Payload& payload) -> std::vector<Member>& { return payload.state.members; }, Required()},
            {"removed", ListKind<RemovedKey>(RemovedKeys(), "a list of removed keys"),
             [](Payload& payload) -> std::vector<RemovedKey>& { return payload.state.removed; }, Required()},
            {"link_keys", LinkKeyRecordKeys(), &Payload::linkKeys, Required()},
            {"announces_previous_key", FlagKind(),
             [](Payload& payload) -> bool& { return payload.state.announcesPreviousKey; }},
        },
        Contradiction);
    return keys;
}

void SortByName(std::vector<Member>& members)
{
    std::sort(members.begin(), members.end(), [](const Member& a, const Member& b) { return a.name < b.name; });
}

Failure Damaged(const std::string& why)
{
    (void)OpenSslReason();
    return Fail(ErrorCode::MALFORMED, std::string(WHAT) + " is damaged: " + why);
}

// Checks that the account certificate in a state has the same key and name as the current account certificate. The
// certificates of the devices then stay valid under the new account certificate.
Result<void> CheckAccountCertificate(const std::string& pem, X509* account)
{
    const std::vector<Certificate> certificates = CertificatesFromPem(pem);
    X509* const certificate = certificates.size() == 1 ? certificates.front().get() : nullptr;
    if (certificate == nullptr || X509_check_ca(certificate) != 1 ||
        EVP_PKEY_eq(X509_get0_pubkey(certificate), X509_get0_pubkey(account)) != 1 ||
        X509_NAME_cmp(X509_get_subject_name(certificate), X509_get_subject_name(account)) != 0 ||
        X509_verify(certificate, X509_get0_pubkey(account)) != 1) {
        return Damaged("account_certificate: not the account's");
    }
    return {};
}

}  // namespace

const Member* AccountState::FindMember(std::string_view networkId) const
{
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const Member& member) { return member.networkId == networkId; });
    return found == members.end() ? nullptr : &*found;
}

const RemovedKey* AccountState::FindRemoved(std::string_view networkId) const
{
    const auto found =
        std::find_if(removed.begin(), removed.end(), [&](const RemovedKey& key) { return key.networkId == networkId; });
    return found == removed.end() ? nullptr : &*found;
}

SignedState::SignedState(AccountState state, std::string bytes, std::string digest)
    : state_(std::move(state)), bytes_(std::move(bytes)), digest_(std::move(digest))
{
}

SignedState::~SignedState()
{
    OPENSSL_cleanse(bytes_.data(), bytes_.size());
}

Result<SignedStatePtr> SignState(AccountState state, X509* account, EVP_PKEY* accountKey)
{
    SortByName(state.members);
    const LinkKeyRecord linkKeys = RecordOf(state.linkKeys, state.account);
    const Payload payload{.state = std::move(state), .linkKeys = linkKeys};
    const SecretText json(JsonText(WriteValue(*PayloadKeys().Shape(), &payload).get()));
    std::string bytes = std::move(SignText(json, account, accountKey).text);
    if (bytes.empty()) {
        return Fail(ErrorCode::SYSTEM, std::string(WHAT) + " could not be signed: " + OpenSslReason());
    }
    if (bytes.size() > MAX_STATE_BYTES) {
        OPENSSL_cleanse(bytes.data(), bytes.size());
        return Fail(ErrorCode::INVALID_ARGUMENT, "the account has too many members and removed devices: its state " +
                                                     std::string("would be larger than 64 KiB"));
    }
    // Checks that other devices will be able to open the signed state.
    return OpenState(std::move(bytes), account);
}

Result<SignedStatePtr> OpenState(std::string bytes, X509* account)
{
    if (bytes.size() > MAX_STATE_BYTES) {
        return Damaged("larger than 64 KiB");
    }
    const auto opened = OpenSignedText(bytes, WHAT);
    if (!opened) {
        return Failure(opened.error());
    }
    if (EVP_PKEY_eq(X509_get0_pubkey(opened.value().signer.get()), X509_get0_pubkey(account)) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED, std::string(WHAT) + " is not signed by the account's key");
    }
    const std::string& json = opened.value().text.text;
    auto payload = PayloadKeys().Parse(json, WHAT);
    if (!payload) {
        return Fail(IsNewerFormat(json, FORMAT_VERSION) ? ErrorCode::INVALID_ARGUMENT : ErrorCode::MALFORMED,
                    payload.error().message);
    }
    AccountState& state = payload.value().state;
    if (state.account != NetworkIdOf(account)) {
        return Fail(ErrorCode::UNTRUSTED, std::string(WHAT) + " is another account's");
    }
    if (auto checked = CheckAccountCertificate(state.accountCertificate, account); !checked) {
        return Failure(std::move(checked).error());
    }
    state.linkKeys = payload.value().linkKeys.Keys();
    SortByName(state.members);
    std::array<unsigned char, SHA256_DIGEST_LENGTH> hash{};
    SHA256(reinterpret_cast<const unsigned char*>(json.data()), json.size(), hash.data());
    return std::make_shared<const SignedState>(std::move(state), std::move(bytes),
                                               std::string(hash.begin(), hash.begin() + DIGEST_BYTES));
}

StateOrder CompareStates(const SignedState* own, const SignedState& candidate)
{
    const uint64_t ownNumber = own != nullptr ? own->State().number : 0;
    if (candidate.State().number != ownNumber) {
        return candidate.State().number > ownNumber ? StateOrder::NEWER : StateOrder::OLDER;
    }
    return candidate.Digest() == own->Digest() ? StateOrder::SAME : StateOrder::CONFLICT;
}

std::string RemovalText(const std::string& account, const std::string& networkId, std::chrono::sys_seconds at)
{
    return "distnet removal\n" + account + "\n" + networkId + "\n" + std::to_string(at.time_since_epoch().count()) +
           "\n";
}

std::string EncodeRemoval(const RemovedKey& removed)
{
    std::string bytes;
    const auto seconds = static_cast<uint64_t>(removed.at.time_since_epoch().count());
    for (size_t i = 0; i < TIME_BYTES; ++i) {
        bytes += static_cast<char>(seconds >> (8 * i));
    }
    return bytes + static_cast<char>(removed.signature.size()) + removed.signature;
}

Result<RemovalStatement> DecodeRemoval(std::string_view bytes, const std::string& networkId, X509* account)
{
    if (bytes.size() <= TIME_BYTES || bytes.size() - TIME_BYTES - 1 != static_cast<uint8_t>(bytes[TIME_BYTES])) {
        return Fail(ErrorCode::MALFORMED, "the statement of a removal is damaged");
    }
    uint64_t seconds = 0;
    for (size_t i = 0; i < TIME_BYTES; ++i) {
        seconds |= static_cast<uint64_t>(static_cast<uint8_t>(bytes[i])) << (8 * i);
    }
    if (seconds > static_cast<uint64_t>(LAST_SECOND)) {
        return Fail(ErrorCode::MALFORMED, "the statement of a removal is damaged");
    }
    RemovalStatement statement{std::chrono::sys_seconds(std::chrono::seconds(static_cast<int64_t>(seconds))),
                               std::string(bytes.substr(TIME_BYTES + 1))};
    EVP_PKEY* const key = X509_get0_pubkey(account);
    if (!IsSignatureOf(statement.signature, RemovalText(NetworkIdOf(key), networkId, statement.at), key)) {
        return Fail(ErrorCode::UNTRUSTED, "the statement of a removal is not signed by the account's key");
    }
    return statement;
}

}  // namespace Vexo::Trust
