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
    X509_REQ_set_pubkey(request.get(), subject);
    EXPECT_GT(X509_REQ_sign(request.get(), signer, EVP_sha256()), 0);
    return RequestToPem(request.get());
}

class AccountTest : public testing::Test {
protected:
    void SetUp() override { devices.Create("laptop"); }

    Devices devices;
    const fs::path laptop = devices.Folder("laptop");
    const fs::path phone = devices.Folder("phone");
};

TEST_F(AccountTest, AdmitsADeviceThatThenBelongsToItButCannotAdmit)
{
    ASSERT_TRUE(Install(phone, devices.Chain("phone", "laptop")));

    const Identity joined = devices.Load("phone");
    EXPECT_TRUE(joined.Enrolled());
    EXPECT_EQ(joined.accountName, "home");
    EXPECT_EQ(X509_check_ca(joined.certificate.get()), 0);
    EXPECT_GT(joined.CertificateExpiry(), std::chrono::system_clock::now() + DEVICE_VALIDITY - std::chrono::hours(1));
    ExpectRefused(Admit(phone, MakeRequest(devices.Folder("tablet"), "tablet").value()),
                  "does not hold the account's key");
    ExpectRefused(CreateAccount(phone, "another", "phone"), "\"home\"");
}

TEST_F(AccountTest, RefusesRequestsThatProveNothing)
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

TEST_F(AccountTest, RefusesChainsThatDoNotFitTheDevice)
{
    devices.Create("other", "elsewhere");
    const std::string good = devices.Chain("phone", "laptop");
    const std::string strange = devices.Chain("phone", "other");
    const std::string account = Read(laptop / ACCOUNT_CERTIFICATE_FILE);
    ExpectRefused(Install(phone, devices.Chain("tablet", "laptop")), "another device's key");
    ExpectRefused(Install(phone, devices.Chain("phone", "laptop", std::chrono::hours(-1))), "expired");
    ExpectRefused(Install(phone, strange.substr(0, strange.rfind("-----BEGIN")) + account),
                  "not signed by this account");
    ExpectRefused(Install(phone, account), "followed by its account's");
    ExpectRefused(Install(phone, good.substr(0, good.size() - 40)), "followed by its account's");
    EXPECT_FALSE(devices.Load("phone").Enrolled());
    EXPECT_TRUE(Install(phone, good));
    ExpectRefused(Install(phone, strange), "\"home\"");
}

TEST_F(AccountTest, ADeviceBelongsToItNoLongerThanItLasts)
{
    const auto accountFile = laptop / ACCOUNT_CERTIFICATE_FILE;
    const Certificate account = std::move(ReadCertificateFile(accountFile).value());
    const PrivateKey key = std::move(ReadKeyFile(laptop / ACCOUNT_KEY_FILE).value());
    const auto endAfter = [&](std::chrono::seconds time) {
        const Certificate changed = EndingAt(account.get(), key.get(), std::time(nullptr) + time.count());
        EXPECT_TRUE(WriteCertificateFile(accountFile, changed.get()));
    };
    endAfter(std::chrono::hours(48));
    const std::string chain = devices.Chain("phone", "laptop");
    ASSERT_TRUE(Install(phone, chain));
    const Identity joined = devices.Load("phone");
    EXPECT_EQ(ASN1_TIME_compare(X509_get0_notAfter(joined.certificate.get()),
                                X509_get0_notAfter(joined.accountCertificate.get())),
              0);
    const std::string briefer = devices.Chain("tablet", "laptop", std::chrono::hours(1));
    endAfter(std::chrono::hours(-1));
    ExpectRefused(Admit(laptop, MakeRequest(devices.Folder("watch"), "watch").value()), "account's certificate has");
    const std::string late = briefer.substr(0, briefer.rfind("-----BEGIN")) + Read(accountFile);
    ExpectRefused(Install(devices.Folder("tablet"), late), "account's certificate has expired");
}

TEST_F(AccountTest, CompletesWhatACrashLeftHalfDone)
{
    const std::string key = Read(laptop / ACCOUNT_KEY_FILE);
    // What lies there after each write but the last, in reverse order.
    for (const char* lost : {DEVICE_CERTIFICATE_FILE, ACCOUNT_CERTIFICATE_FILE}) {
        fs::remove(laptop / DEVICE_CERTIFICATE_FILE);
        fs::remove(laptop / lost);
        EXPECT_FALSE(devices.Load("laptop").Enrolled());
        devices.Create("other");
        ExpectRefused(Install(laptop, devices.Chain("laptop", "other")), "account.key");
        fs::remove_all(devices.Folder("other"));
        devices.Create("laptop");
        EXPECT_EQ(Read(laptop / ACCOUNT_KEY_FILE), key);
        EXPECT_TRUE(devices.Load("laptop").holdsAccountKey);
    }
}

}  // namespace
}  // namespace Vexo::Trust::Tests
