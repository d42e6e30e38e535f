#include "platform/trust/account.h"

#include <openssl/ec.h>
#include <openssl/x509v3.h>

#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

namespace fs = std::filesystem;

// A request for subject's key, signed by signer.
std::string RequestFor(EVP_PKEY* subject, EVP_PKEY* signer)
{
    const OpenSslPtr<X509_REQ> request(X509_REQ_new());
    X509_NAME_add_entry_by_txt(X509_REQ_get_subject_name(request.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>("phone"), -1, -1, 0);
    X509_REQ_set_pubkey(request.get(), subject);
    EXPECT_GT(X509_REQ_sign(request.get(), signer, EVP_sha256()), 0);
    return RequestToPem(request.get());
}

std::string DeviceCertificateOf(const std::string& chain)
{
    return CertificateToPem(CertificatesFromPem(chain).front().get());
}

class AccountTest : public testing::Test {
protected:
    void SetUp() override { devices.Create("laptop"); }

    const Devices devices;
};

TEST_F(AccountTest, AdmitsADeviceThatThenBelongsToIt)
{
    devices.Join("phone", "laptop");

    const Identity laptop = devices.Load("laptop");
    const Identity phone = devices.Load("phone");
    EXPECT_TRUE(phone.Enrolled());
    EXPECT_EQ(phone.accountName, "home");
    EXPECT_FALSE(phone.holdsAccountKey);
    EXPECT_TRUE(laptop.holdsAccountKey);
    EXPECT_NE(phone.networkId, laptop.networkId);
    EXPECT_FALSE(fs::exists(devices.Folder("phone") / ACCOUNT_KEY_FILE));
    EXPECT_GT(phone.CertificateExpiry(), std::chrono::system_clock::now() + DEVICE_VALIDITY - std::chrono::hours(1));
}

TEST_F(AccountTest, IssuesCertificatesThatServeTheLinkAndNothingElse)
{
    const Identity laptop = devices.Load("laptop");
    X509* device = laptop.certificate.get();
    X509* account = laptop.accountCertificate.get();

    EXPECT_EQ(X509_check_purpose(device, X509_PURPOSE_SSL_CLIENT, 0), 1);
    EXPECT_EQ(X509_check_purpose(device, X509_PURPOSE_SSL_SERVER, 0), 1);
    EXPECT_EQ(X509_check_ca(device), 0);
    EXPECT_EQ(X509_get_key_usage(device), static_cast<uint32_t>(KU_DIGITAL_SIGNATURE));
    EXPECT_EQ(X509_check_ca(account), 1);
    EXPECT_EQ(X509_get_key_usage(account), static_cast<uint32_t>(KU_KEY_CERT_SIGN));
    EXPECT_NE(ASN1_INTEGER_cmp(X509_get0_serialNumber(device), X509_get0_serialNumber(account)), 0);
}

TEST_F(AccountTest, RefusesRequestsThatProveNothing)
{
    devices.Create("other", "elsewhere");
    devices.Join("phone", "laptop");
    const PrivateKey one = GenerateKey();
    const PrivateKey two = GenerateKey();
    const PrivateKey large(EVP_EC_gen("P-384"));
    const struct {
        const char* holder;
        std::string request;
        const char* why;
    } cases[] = {
        {"laptop", RequestFor(one.get(), two.get()), "not signed by the key"},
        {"laptop", RequestFor(large.get(), large.get()), "another kind than P-256"},
        {"laptop", "-----BEGIN CERTIFICATE REQUEST-----\nAAAA\n", "not a certificate request"},
        {"laptop", "", "not a certificate request"},
        {"phone", RequestFor(one.get(), one.get()), "does not hold the account's key"},
    };
    for (const auto& [holder, request, why] : cases) {
        const auto admitted = Admit(devices.Folder(holder), request);
        ASSERT_FALSE(admitted) << why;
        EXPECT_NE(admitted.Message().find(why), std::string::npos) << admitted.Message();
    }
}

TEST_F(AccountTest, RefusesChainsThatDoNotFitTheDevice)
{
    devices.Create("other", "elsewhere");
    const std::string good = devices.Chain("phone", "laptop");
    const std::string strange = devices.Chain("phone", "other");
    const struct {
        std::string chain;
        const char* why;
    } cases[] = {
        {devices.Chain("tablet", "laptop"), "another device's key"},
        {devices.Chain("phone", "laptop", std::chrono::hours(-1)), "expired"},
        {DeviceCertificateOf(strange) + Read(devices.Folder("laptop") / ACCOUNT_CERTIFICATE_FILE),
         "not signed by this account"},
        {DeviceCertificateOf(good), "followed by its account's"},
        {good.substr(0, good.size() - 40), "followed by its account's"},
        {"", "followed by its account's"},
    };
    for (const auto& [chain, why] : cases) {
        const auto installed = Install(devices.Folder("phone"), chain);
        ASSERT_FALSE(installed) << why;
        EXPECT_NE(installed.Message().find(why), std::string::npos) << installed.Message();
        EXPECT_FALSE(devices.Load("phone").Enrolled());
    }
    EXPECT_TRUE(Install(devices.Folder("phone"), good));
    const auto again = Install(devices.Folder("phone"), strange);
    ASSERT_FALSE(again);
    EXPECT_NE(again.Message().find("\"home\""), std::string::npos) << again.Message();
}

TEST_F(AccountTest, IsNotReplacedAndNeedsAName)
{
    const std::string certificate = Read(devices.Folder("laptop") / ACCOUNT_CERTIFICATE_FILE);
    EXPECT_FALSE(CreateAccount(devices.Folder("laptop"), "second", "laptop"));
    EXPECT_EQ(Read(devices.Folder("laptop") / ACCOUNT_CERTIFICATE_FILE), certificate);
    for (const std::string& name : {std::string(), std::string("a\nb"), std::string(MAX_ACCOUNT_NAME + 1, 'a')}) {
        EXPECT_FALSE(CreateAccount(devices.Folder("new"), name, "new")) << name;
        EXPECT_FALSE(CreateAccount(devices.Folder("new"), "home", name)) << name;
    }
}

TEST_F(AccountTest, CompletesWhatACrashLeftHalfDone)
{
    // What is there after each write of a creation but the last.
    for (const bool hasCertificate : {false, true}) {
        const std::string name = hasCertificate ? "second" : "first";
        devices.Create(name);
        const std::string key = Read(devices.Folder(name) / ACCOUNT_KEY_FILE);
        fs::remove(devices.Folder(name) / DEVICE_CERTIFICATE_FILE);
        if (!hasCertificate) {
            fs::remove(devices.Folder(name) / ACCOUNT_CERTIFICATE_FILE);
        }
        EXPECT_FALSE(devices.Load(name).Enrolled());
        EXPECT_FALSE(Install(devices.Folder(name), devices.Chain(name, "laptop"))) << "its own account would be lost";
        devices.Create(name);
        EXPECT_EQ(Read(devices.Folder(name) / ACCOUNT_KEY_FILE), key);
        EXPECT_TRUE(devices.Load(name).holdsAccountKey);
    }
    // And of an installation.
    const std::string chain = devices.Chain("phone", "laptop");
    ASSERT_TRUE(Install(devices.Folder("phone"), chain));
    fs::remove(devices.Folder("phone") / DEVICE_CERTIFICATE_FILE);
    EXPECT_FALSE(devices.Load("phone").Enrolled());
    EXPECT_TRUE(Install(devices.Folder("phone"), chain));
    EXPECT_TRUE(devices.Load("phone").Enrolled());
}

}  // namespace
}  // namespace Vexo::Trust::Tests
