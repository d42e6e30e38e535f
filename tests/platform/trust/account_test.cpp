#include "platform/trust/account.h"

#include <openssl/ec.h>
#include <openssl/x509v3.h>

#include "platform/trust/enrolment_answer.h"
#include "platform/trust/membership.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

namespace fs = std::filesystem;

// Returns a certificate request. subject: the key to certify. signer: the key that signs the request.
std::string RequestFor(EVP_PKEY* subject, EVP_PKEY* signer)
{
    const OpenSslPtr<X509_REQ> request(X509_REQ_new());
    X509_REQ_set_pubkey(request.get(), subject);
    EXPECT_GT(X509_REQ_sign(request.get(), signer, EVP_sha256()), 0);
    return RequestToPem(request.get());
}

class AccountTest : public testing::Test {
protected:
    void SetUp() override { devices.Create("laptop"); }
    EnrolmentAnswer Opened(const std::string& answer, const std::string& device) const
    {
        const auto key = ReadKeyFile(devices.Folder(device) / DEVICE_KEY_FILE);
        return std::move(OpenAnswer(answer, key.value().get()).value());
    }

    Devices devices;
    const fs::path laptop = devices.Folder("laptop");
    const fs::path phone = devices.Folder("phone");
};

TEST_F(AccountTest, AdmittedDeviceSharesLinkKeyButCannotAdmit)
{
    ASSERT_TRUE(Install(phone, devices.Answer("phone", "laptop")));

    const Identity joined = devices.Load("phone");
    EXPECT_TRUE(joined.Enrolled());
    EXPECT_EQ(joined.accountName, "home");
    EXPECT_EQ(X509_check_ca(joined.certificate.get()), 0);
    EXPECT_EQ(X509_get_key_usage(joined.certificate.get()), uint32_t{KU_DIGITAL_SIGNATURE | KU_KEY_AGREEMENT});
    EXPECT_GT(joined.CertificateExpiry(), std::chrono::system_clock::now() + DEVICE_VALIDITY - std::chrono::hours(1));
    const LinkKey shared = devices.Load("laptop").linkKeys->current;
    EXPECT_EQ(DeriveKey(joined.linkKeys->current, "distnet test"), DeriveKey(shared, "distnet test"));
    EXPECT_EQ(joined.linkKeys->current.number, 1u);
    devices.Create("other", "elsewhere");
    EXPECT_NE(devices.Load("other").linkKeys->current.bytes, shared.bytes);
    for (const fs::path& folder : {laptop, phone}) {
        EXPECT_EQ(fs::status(folder / LINK_KEY_FILE).permissions(), fs::perms(0600));
    }
    ExpectRefused(Admit(phone, MakeRequest(devices.Folder("tablet"), "tablet").value()),
                  "does not hold the account's key");
    ExpectRefused(CreateAccount(phone, "another", "phone"), "\"home\"");
}

TEST_F(AccountTest, NewMemberIsStoredBeforeItIsAnswered)
{
    const std::string request = MakeRequest(phone, "phone").value();
    ASSERT_TRUE(Admit(laptop, request, {.type = 14}));
    const SignedStatePtr stored = devices.Load("laptop").state;
    const Member* const member = stored->State().FindMember(devices.Load("phone").networkId);
    ASSERT_NE(member, nullptr);
    EXPECT_EQ(member->name + std::to_string(member->type), "phone14");
    EXPECT_EQ(stored->State().holder, devices.Load("laptop").networkId);
    // A device repeats its request if the answer was lost. The repeated request does not add another member.
    ASSERT_TRUE(Install(phone, Admit(laptop, request).value()));
    EXPECT_EQ(devices.Load("phone").state->Bytes(), stored->Bytes());
    EXPECT_TRUE(devices.Load("phone").IsMember(devices.Load("laptop").networkId));
    EXPECT_FALSE(devices.Load("phone").IsMember(std::string(64, 'a')));

    const auto other = devices.Folder("tablet");
    const auto taken = Admit(laptop, MakeRequest(other, "phone").value());
    ExpectRefused(taken, "\"phone-2\" is free");
    EXPECT_EQ(taken.error().code, ErrorCode::ALREADY_EXISTS);
    EXPECT_TRUE(Admit(laptop, MakeRequest(other, "phone-2").value()));
    EXPECT_EQ(FreeName(devices.Load("laptop").state->State(), "phone"), "phone-3");
}

TEST_F(AccountTest, AccountWithoutStateGetsOneWithNextMember)
{
    ASSERT_TRUE(Install(phone, devices.Answer("phone", "laptop")));
    devices.ForgetState("laptop");
    devices.ForgetState("phone");
    EXPECT_TRUE(devices.Load("phone").IsMember("anybody"));
    devices.Answer("tablet", "laptop");
    EXPECT_EQ(devices.Load("laptop").state->State().members.size(), 2U);
    // The holder (the device with the account's key) must not replace a damaged state with an empty state, because an
    // empty state would exclude the members.
    fs::resize_file(laptop / STATE_FILE, 10);
    const auto refused = Admit(laptop, MakeRequest(phone / "other", "watch").value());
    ExpectRefused(refused, "must meet another member");
    EXPECT_EQ(refused.error().code, ErrorCode::UNAVAILABLE);
}

TEST_F(AccountTest, HolderThatLostItsDeviceKeyStaysHolder)
{
    ASSERT_TRUE(Install(phone, devices.Answer("phone", "laptop")));
    const Identity before = devices.Load("laptop");
    fs::remove(laptop / DEVICE_KEY_FILE);
    fs::remove(laptop / DEVICE_CERTIFICATE_FILE);
    devices.Create("laptop");
    const Identity after = devices.Load("laptop");
    EXPECT_NE(after.networkId, before.networkId);
    EXPECT_EQ(after.state->State().holder, after.networkId);
    EXPECT_EQ(after.state->State().members.size(), 2U);
    EXPECT_EQ(after.linkKeys->current.bytes, before.linkKeys->current.bytes);
    EXPECT_TRUE(AdoptState(phone, after.state->Bytes()).value());
}

TEST_F(AccountTest, InvalidRequestsAreRefused)
{
    const PrivateKey one = GenerateKey();
    const PrivateKey two = GenerateKey();
    const PrivateKey large(EVP_EC_gen("P-384"));
    ExpectRefused(Admit(laptop, RequestFor(one.get(), two.get())), "not signed by the key");
    ExpectRefused(Admit(laptop, RequestFor(large.get(), large.get())), "another kind than P-256");
    ExpectRefused(Admit(laptop, RequestFor(one.get(), one.get())), "1 to 64 bytes");
    ExpectRefused(CreateAccount(phone, "caf\xE9", "phone"), "not UTF-8");
    ExpectRefused(CreateAccount(phone, "home", "\u202Eenohp"), "control characters");
    ExpectRefused(Admit(laptop, "-----BEGIN CERTIFICATE REQUEST-----\nAAAA\n"), "not a certificate request");
}

TEST_F(AccountTest, AnswerForOtherDeviceOrAccountIsRefused)
{
    using enum ErrorCode;
    devices.Create("other", "elsewhere");
    const std::string good = devices.Answer("phone", "laptop");
    const std::string strange = devices.Answer("phone", "other");
    const EnrolmentAnswer opened = Opened(good, "phone");
    const PrivateKey key = std::move(ReadKeyFile(laptop / ACCOUNT_KEY_FILE).value());
    const PrivateKey otherKey = std::move(ReadKeyFile(devices.Folder("other") / ACCOUNT_KEY_FILE).value());
    const std::string text = PrintAnswer(opened).text;
    const auto sealed = [&](const std::string& payload, X509* signer, EVP_PKEY* signerKey) {
        return EncryptText(SignText(SecretText(payload), signer, signerKey), opened.device.get());
    };
    const auto changed = [&](const std::string& before, const std::string& after) {
        return sealed(std::string(text).replace(text.find(before), before.size(), after), opened.account.get(),
                      key.get());
    };
    EnrolmentAnswer mixed = Opened(strange, "phone");
    mixed.linkKeys.account = opened.linkKeys.account;
    EnrolmentAnswer stolen = Opened(strange, "phone");
    stolen.device = Opened(good, "phone").device;
    const OpenSslPtr<CMS_ContentInfo> unsignedText(CMS_sign(nullptr, nullptr, nullptr, nullptr, CMS_PARTIAL));
    CMS_final(unsignedText.get(), ReaderOf(text).get(), nullptr, CMS_BINARY);
    const OpenSslPtr<BIO> der(BIO_new(BIO_s_mem()));
    i2d_CMS_bio(der.get(), unsignedText.get());
    const struct {
        std::string answer;
        ErrorCode code;
        const char* why;
    } rows[] = {
        {"hello", MALFORMED, "not an answer"},
        {CertificateToPem(opened.device.get()) + CertificateToPem(opened.account.get()), MALFORMED, "version 0.1"},
        {good.substr(0, good.size() - 40), MALFORMED, "damaged"},
        {MessageToPem(unsignedText.get()), MALFORMED, "not encrypted"},
        {EncryptText(SecretText(WrittenTo(der.get())), opened.device.get()), UNTRUSTED, "signature is not valid"},
        {sealed(text, stolen.account.get(), otherKey.get()), UNTRUSTED, "not signed by the account that it names"},
        {SealAnswer(mixed, otherKey.get()).value(), UNTRUSTED, "link keys are of another account"},
        {SealAnswer(stolen, otherKey.get()).value(), UNTRUSTED, "not signed by this account"},
        {changed("\"version\":\t2", "\"version\":\t3, \"more\": 1"), MALFORMED, "newer version"},
        {changed("\"device_certificate\"", "\"certificate\""), MALFORMED, "answer: certificate: unknown"},
        {changed("-----BEGIN", "-----"), MALFORMED, "damaged"},
        {devices.Answer("tablet", "laptop"), UNTRUSTED, "another device's key"},
        {devices.Answer("phone", "laptop", std::chrono::hours(-1)), EXPIRED, "expired"},
    };
    for (const auto& [answer, code, why] : rows) {
        const auto installed = Install(phone, answer);
        ExpectRefused(installed, why);
        EXPECT_EQ(installed.error().code, code) << why;
        EXPECT_FALSE(fs::exists(phone / LINK_KEY_FILE) || devices.Load("phone").Enrolled()) << why;
    }
    EXPECT_TRUE(Install(phone, good));
    ExpectRefused(Install(phone, strange), "\"home\"");
}

TEST_F(AccountTest, EnrolmentWithoutLinkKeyIsCompletedInPlace)
{
    devices.Create("other", "elsewhere");
    const std::string strange = devices.Answer("phone", "other");
    ASSERT_TRUE(Install(phone, devices.Answer("phone", "laptop")));
    for (const char* const device : {"laptop", "phone"}) {
        devices.ForgetState(device);
        fs::remove(devices.Folder(device) / LINK_KEY_FILE);
    }
    const std::string certificate = Read(laptop / DEVICE_CERTIFICATE_FILE);
    EXPECT_TRUE(devices.Load("laptop").LacksLinkKey());
    ExpectRefused(Admit(laptop, MakeRequest(phone, "phone").value()), "distnetctl account create home");
    ExpectRefused(CreateAccount(laptop, "another", "laptop"), "\"home\"");
    devices.Create("laptop");
    EXPECT_TRUE(devices.Load("laptop").Enrolled());
    EXPECT_EQ(Read(laptop / DEVICE_CERTIFICATE_FILE), certificate);
    EXPECT_TRUE(devices.Load("phone").LacksLinkKey());
    ExpectRefused(CreateAccount(phone, "home", "phone"), "belongs to the account");
    ExpectRefused(Install(phone, strange), "\"home\"");
    EXPECT_TRUE(Install(phone, devices.Answer("phone", "laptop")));
    EXPECT_EQ(devices.Load("phone").linkKeys->current.bytes, devices.Load("laptop").linkKeys->current.bytes);
}

TEST_F(AccountTest, DeviceCertificateEndsNoLaterThanAccount)
{
    const auto accountFile = laptop / ACCOUNT_CERTIFICATE_FILE;
    const Certificate account = std::move(ReadCertificateFile(accountFile).value());
    const PrivateKey key = std::move(ReadKeyFile(laptop / ACCOUNT_KEY_FILE).value());
    const auto endAfter = [&](std::chrono::seconds time) {
        const Certificate changed = EndingAt(account.get(), key.get(), std::time(nullptr) + time.count());
        EXPECT_TRUE(WriteCertificateFile(accountFile, changed.get()));
        devices.ForgetState("laptop");
    };
    endAfter(std::chrono::hours(48));
    ASSERT_TRUE(Install(phone, devices.Answer("phone", "laptop")));
    const Identity joined = devices.Load("phone");
    EXPECT_EQ(ASN1_TIME_compare(X509_get0_notAfter(joined.certificate.get()),
                                X509_get0_notAfter(joined.accountCertificate.get())),
              0);
    EnrolmentAnswer late = Opened(devices.Answer("tablet", "laptop", std::chrono::hours(1)), "tablet");
    endAfter(std::chrono::hours(-1));
    ExpectRefused(Admit(laptop, MakeRequest(devices.Folder("watch"), "watch").value()), "account's certificate has");
    late.account = std::move(ReadCertificateFile(accountFile).value());
    ExpectRefused(Install(devices.Folder("tablet"), SealAnswer(late, key.get()).value()),
                  "account's certificate has expired");
}

TEST_F(AccountTest, InterruptedChangeIsCompletedForSameAccountOnly)
{
    const std::string linkKey = Read(laptop / LINK_KEY_FILE);
    fs::remove(laptop / DEVICE_CERTIFICATE_FILE);
    devices.Create("other");
    ExpectRefused(Install(laptop, devices.Answer("laptop", "other")), "account.key");
    devices.Create("laptop");
    EXPECT_TRUE(devices.Load("laptop").holdsAccountKey);
    EXPECT_EQ(Read(laptop / LINK_KEY_FILE), linkKey);
    // The phone's enrolment was interrupted. If the phone then creates its own account, that account gets another link
    // key.
    EXPECT_TRUE(Install(phone, devices.Answer("phone", "laptop")));
    fs::remove(phone / DEVICE_CERTIFICATE_FILE);
    devices.Create("phone", "own");
    EXPECT_NE(Read(phone / LINK_KEY_FILE), linkKey);
}

}  // namespace
}  // namespace Vexo::Trust::Tests
