#include "platform/trust/enrolment_answer.h"

#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/sha.h>

#include <algorithm>
#include <array>

namespace Vexo::Trust {

namespace {

constexpr const char* WHAT = "answer";
constexpr const char* ADMIT_AGAIN = "; copy it again, or admit the device again";
constexpr unsigned ENCRYPT_FLAGS = CMS_BINARY | CMS_PARTIAL | CMS_USE_KEYID | CMS_KEY_PARAM;

constexpr int VERSION_WITHOUT_STATE = 1;
constexpr int VERSION = 2;
constexpr size_t BASE64_GROUP = 4;  // base64 writes 3 bytes as 4 characters

struct Payload {
    int version = VERSION;
    std::string device;
    std::string account;
    LinkKeyRecord linkKeys;
    std::string state;

    ~Payload() { OPENSSL_cleanse(state.data(), state.size()); }
};

std::string ParseBase64(const std::string& text, std::string& out)
{
    if (text.empty() || text.size() % BASE64_GROUP != 0) {
        return "is not base64";
    }
    std::string bytes(text.size() / BASE64_GROUP * 3, '\0');
    const int size =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (size < 0) {
        return "is not base64";
    }
    const auto padding = static_cast<size_t>(text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0);
    out = bytes.substr(0, static_cast<size_t>(size) - padding);
    return "";
}

std::string PrintBase64(const std::string& bytes)
{
    std::string text((bytes.size() + 2) / 3 * BASE64_GROUP + 1, '\0');
    text.resize(static_cast<size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                                    reinterpret_cast<const unsigned char*>(bytes.data()),
                                                    static_cast<int>(bytes.size()))));
    return text;
}

JsonKind<int> AnswerVersionKind()
{
    const JsonKind<int> newest = FormatVersionKind(VERSION);
    return ValueKind<int>(
        "1 or 2",
        [newest](const cJSON& json, int& out) {
            const bool isFirst = cJSON_IsNumber(&json) != 0 && json.valuedouble == VERSION_WITHOUT_STATE;
            out = VERSION_WITHOUT_STATE;
            return isFirst ? "" : newest.Shape()->read(json, &out);
        },
        [](int version) { return Json(cJSON_CreateNumber(version)); });
}

std::string WrongState(const Payload& payload)
{
    return payload.state.empty() == (payload.version == VERSION_WITHOUT_STATE) ? "" : "state: in version 2 only";
}

const JsonKeys<Payload>& PayloadKeys()
{
    static const JsonKeys<Payload> keys(
        {
            {"version", AnswerVersionKind(), &Payload::version, Required()},
            {"device_certificate", TextKind("X.509 in PEM"), &Payload::device, Required()},
            {"account_certificate", TextKind("X.509 in PEM"), &Payload::account, Required()},
            {"link_keys", LinkKeyRecordKeys(), &Payload::linkKeys, Required()},
            {"state", Secret(ParsedTextKind<std::string>("CMS in base64", ParseBase64, PrintBase64)), &Payload::state,
             OmittedByDefault()},
        },
        WrongState);
    return keys;
}

Failure Damaged()
{
    ERR_clear_error();
    return Fail(ErrorCode::MALFORMED, std::string("the answer is damaged") + ADMIT_AGAIN);
}

// Adds the device as a recipient of the encrypted message. Selects SHA-256 for the key derivation, because OpenSSL's
// default is SHA-1.
bool AddRecipient(CMS_ContentInfo* message, X509* device)
{
    CMS_RecipientInfo* const recipient = CMS_add1_recipient_cert(message, device, ENCRYPT_FLAGS);
    EVP_PKEY_CTX* const context = recipient != nullptr ? CMS_RecipientInfo_get0_pkey_ctx(recipient) : nullptr;
    return context != nullptr && EVP_PKEY_CTX_set_ecdh_kdf_md(context, EVP_sha256()) == 1;
}

// Returns the subject key identifier of a key. The identifier is computed as in the device certificates (RFC 5280,
// 4.2.1.2, method 1).
std::array<uint8_t, SHA_DIGEST_LENGTH> KeyIdentifierOf(EVP_PKEY* key)
{
    std::array<uint8_t, SHA_DIGEST_LENGTH> identifier{};
    X509_PUBKEY* made = nullptr;
    X509_PUBKEY_set(&made, key);
    const OpenSslPtr<X509_PUBKEY> encoded(made);
    const unsigned char* bits = nullptr;
    int length = 0;
    if (encoded && X509_PUBKEY_get0_param(nullptr, &bits, &length, nullptr, encoded.get()) == 1) {
        SHA1(bits, static_cast<size_t>(length), identifier.data());
    }
    return identifier;
}

bool IsFor(CMS_ContentInfo* message, EVP_PKEY* deviceKey)
{
    const auto own = KeyIdentifierOf(deviceKey);
    STACK_OF(CMS_RecipientInfo)* const recipients = CMS_get0_RecipientInfos(message);
    for (int i = 0; i < sk_CMS_RecipientInfo_num(recipients); ++i) {
        CMS_RecipientInfo* const recipient = sk_CMS_RecipientInfo_value(recipients, i);
        if (CMS_RecipientInfo_type(recipient) != CMS_RECIPINFO_AGREE) {
            continue;
        }
        STACK_OF(CMS_RecipientEncryptedKey)* const keys = CMS_RecipientInfo_kari_get0_reks(recipient);
        for (int j = 0; j < sk_CMS_RecipientEncryptedKey_num(keys); ++j) {
            ASN1_OCTET_STRING* identifier = nullptr;
            CMS_RecipientEncryptedKey_get0_id(sk_CMS_RecipientEncryptedKey_value(keys, j), &identifier, nullptr,
                                              nullptr, nullptr, nullptr);
            if (identifier != nullptr && ASN1_STRING_length(identifier) == static_cast<int>(own.size()) &&
                std::equal(own.begin(), own.end(), ASN1_STRING_get0_data(identifier))) {
                return true;
            }
        }
    }
    return false;
}

Result<OpenSslPtr<CMS_ContentInfo>> ReadMessage(const std::string& pem)
{
    OpenSslPtr<CMS_ContentInfo> message = MessageFromPem(pem);
    ERR_clear_error();
    if (!message && pem.find("-----BEGIN CMS-----") != std::string::npos) {
        return Damaged();
    }
    if (!message && !CertificatesFromPem(pem).empty()) {
        return Fail(ErrorCode::MALFORMED,
                    "an answer of version 0.1, which has no link key; admit the device again with this version of "
                    "`distnetctl account admit`, and install that answer");
    }
    if (!message) {
        ERR_clear_error();
        return Fail(ErrorCode::MALFORMED, "not an answer of `distnetctl account admit` (CMS in PEM)");
    }
    return message;
}

Result<SecretText> Decrypt(const std::string& pem, EVP_PKEY* deviceKey)
{
    auto message = ReadMessage(pem);
    if (!message) {
        return Failure(std::move(message).error());
    }
    CMS_ContentInfo* const enveloped = message.value().get();
    // Only AuthEnvelopedData is accepted, because only authenticated encryption detects a changed text before the
    // text is decoded.
    if (OBJ_obj2nid(CMS_get0_type(enveloped)) != NID_id_smime_ct_authEnvelopedData) {
        return Fail(ErrorCode::MALFORMED,
                    std::string("the answer is not encrypted as AuthEnvelopedData") + ADMIT_AGAIN);
    }
    if (!IsFor(enveloped, deviceKey)) {
        return Fail(ErrorCode::UNTRUSTED,
                    "the answer is for another device's key; install it where the request was made");
    }
    const OpenSslPtr<BIO> plain(BIO_new(BIO_s_mem()));
    if (!plain || CMS_decrypt(enveloped, deviceKey, nullptr, nullptr, plain.get(), CMS_BINARY) != 1) {
        return Damaged();
    }
    return SecretText(WrittenTo(plain.get()));
}

Result<Certificate> OneCertificate(const std::string& pem)
{
    std::vector<Certificate> certificates = CertificatesFromPem(pem);
    if (certificates.size() != 1) {
        return Damaged();
    }
    return std::move(certificates.front());
}

}  // namespace

SecretText PrintAnswer(const EnrolmentAnswer& answer)
{
    Payload payload{.version = answer.state ? VERSION : VERSION_WITHOUT_STATE,
                    .device = CertificateToPem(answer.device.get()),
                    .account = CertificateToPem(answer.account.get()),
                    .linkKeys = answer.linkKeys,
                    .state = answer.state ? answer.state->Bytes() : ""};
    return SecretText(PayloadKeys().Print(payload));
}

Result<EnrolmentAnswer> ParseAnswer(const std::string& json)
{
    auto payload = PayloadKeys().Parse(json, WHAT);
    if (!payload) {
        return Fail(payload.error().code, payload.error().message + ADMIT_AGAIN);
    }
    auto device = OneCertificate(payload.value().device);
    auto account = OneCertificate(payload.value().account);
    if (!device || !account) {
        return Damaged();
    }
    if (payload.value().linkKeys.account != NetworkIdOf(account.value().get())) {
        ERR_clear_error();
        return Fail(ErrorCode::UNTRUSTED, std::string("the answer's link keys are of another account") + ADMIT_AGAIN);
    }
    EnrolmentAnswer answer{std::move(device.value()), std::move(account.value()), payload.value().linkKeys, nullptr};
    if (!payload.value().state.empty()) {
        auto state = OpenState(payload.value().state, answer.account.get());
        if (!state) {
            return Fail(state.error().code, state.error().message + ADMIT_AGAIN);
        }
        answer.state = std::move(state.value());
    }
    return answer;
}

std::string EncryptText(const SecretText& text, X509* recipient)
{
    const OpenSslPtr<BIO> content = ReaderOf(text.text);
    const OpenSslPtr<CMS_ContentInfo> message(CMS_encrypt(nullptr, nullptr, EVP_aes_256_gcm(), ENCRYPT_FLAGS));
    if (!content || !message || !AddRecipient(message.get(), recipient) ||
        CMS_set1_eContentType(message.get(), OBJ_nid2obj(NID_pkcs7_signed)) != 1 ||
        CMS_final(message.get(), content.get(), nullptr, ENCRYPT_FLAGS) != 1) {
        return "";
    }
    return MessageToPem(message.get());
}

Result<std::string> SealAnswer(const EnrolmentAnswer& answer, EVP_PKEY* accountKey)
{
    const SecretText signedDer = SignText(PrintAnswer(answer), answer.account.get(), accountKey);
    std::string pem = signedDer.text.empty() ? "" : EncryptText(signedDer, answer.device.get());
    if (pem.empty()) {
        return Fail(ErrorCode::SYSTEM, "the answer could not be made: " + OpenSslReason());
    }
    return pem;
}

Result<EnrolmentAnswer> OpenAnswer(const std::string& pem, EVP_PKEY* deviceKey)
{
    const auto signedDer = Decrypt(pem, deviceKey);
    if (!signedDer) {
        return Failure(signedDer.error());
    }
    const auto checked = OpenSignedText(signedDer.value().text, "the answer");
    if (!checked) {
        return Fail(checked.error().code, checked.error().message + ADMIT_AGAIN);
    }
    auto answer = ParseAnswer(checked.value().text.text);
    if (answer && EVP_PKEY_eq(X509_get0_pubkey(checked.value().signer.get()),
                              X509_get0_pubkey(answer.value().account.get())) != 1) {
        ERR_clear_error();
        return Fail(ErrorCode::UNTRUSTED,
                    std::string("the answer is not signed by the account that it names") + ADMIT_AGAIN);
    }
    return answer;
}

}  // namespace Vexo::Trust
