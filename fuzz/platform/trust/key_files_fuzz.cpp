// Fuzzes the parsers of the identity folder's files: the link keys, private keys and certificates. Also fuzzes the
// decoder of the account's key, which another member sends in DER. The first byte of an input selects the parser: j for
// link keys, p for a private key or certificates in PEM, d for the account's key.
#include "fuzz/fuzz_target.h"
#include "platform/trust/account.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/key_transfer.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Trust {
namespace {

const std::string ACCOUNT_ID(64, 'a');

// The holder of an account (the device with the account's key), and the account's certificate in PEM and key in DER.
struct Holder {
    Tests::TempFolder folder;
    std::filesystem::path place = folder.Path() / "holder";
    std::string certificate;
    std::string keyDer;

    Holder()
    {
        const std::string member = Admitted();
        keyDer = ExportAccountKey(place, member).value();
        const Certificate account = ReadCertificateFile(place / ACCOUNT_CERTIFICATE_FILE).value();
        certificate = CertificateToPem(account.get());
    }

private:
    // Creates the account and admits another device. Returns the network id of that device.
    std::string Admitted()
    {
        const std::filesystem::path other = folder.Path() / "other";
        Fuzz::Require(CreateAccount(place, "account", "holder").has_value(), "an account can be made");
        const std::string answer = Admit(place, MakeRequest(other, "other").value()).value();
        Fuzz::Require(Install(other, answer).has_value(), "a device can join");
        return LoadIdentity(other).value().networkId;
    }
};

const Holder& TheHolder()
{
    static const Holder holder;
    return holder;
}

std::vector<std::string> Samples()
{
    LinkKeyRecord record{.account = ACCOUNT_ID, .current = {2, {}}, .previous = {1, {}}};
    record.current.bytes.fill('k');
    record.previous.bytes.fill('p');
    record.previousValidUntil = std::chrono::seconds(1'800'000'000);
    const PrivateKey key = GenerateKey();
    return {"j" + LinkKeyRecordKeys().Print(record), "p" + KeyToPem(key.get()), "p" + TheHolder().certificate,
            "d" + TheHolder().keyDer};
}

bool ParsesLinkKeys(const std::string& json)
{
    return Fuzz::RoundTrips(
        json, [](const std::string& text) { return LinkKeyRecordKeys().Parse(text, "link.key"); },
        [](const LinkKeyRecord& record) { return LinkKeyRecordKeys().Print(record); }, "link.key");
}

bool ParsesPem(const std::string& pem)
{
    const PrivateKey key = KeyFromPem(pem);
    if (key && IsP256Pair(key.get())) {
        const PrivateKey again = KeyFromPem(KeyToPem(key.get()));
        Fuzz::Require(again && EVP_PKEY_eq(key.get(), again.get()) == 1, "a key is written as it was read");
    }
    const std::vector<Certificate> certificates = CertificatesFromPem(pem);
    for (const Certificate& certificate : certificates) {
        const Certificate again = CertificateFromDer(CertificateToDer(certificate.get()));
        Fuzz::Require(again && X509_cmp(certificate.get(), again.get()) == 0,
                      "a certificate is written as it was read");
    }
    return key || !certificates.empty();
}

bool StoresAccountKey(std::string_view der)
{
    const std::filesystem::path file = TheHolder().place / ACCOUNT_KEY_FILE;
    std::filesystem::remove(file);
    const bool isStored = StoreAccountKey(TheHolder().place, der).has_value();
    Fuzz::Require(std::filesystem::exists(file) == isStored, "a key that is refused is not written");
    if (isStored) {
        const PrivateKey key = ReadKeyFile(file).value();
        const auto account = CertificatesFromPem(TheHolder().certificate);
        Fuzz::Require(IsP256Pair(key.get()) && X509_check_private_key(account.front().get(), key.get()) == 1,
                      "only the account's key is stored");
    }
    return isStored;
}

bool Run(std::string_view input)
{
    if (input.empty()) {
        return false;
    }
    const std::string rest(input.substr(1));
    switch (input[0]) {
        case 'j':
            return ParsesLinkKeys(rest);
        case 'p':
            return ParsesPem(rest);
        default:
            return StoresAccountKey(rest);
    }
}

const Fuzz::Registration REGISTRATION({"trust_key_files", Samples, Run});

}  // namespace
}  // namespace Vexo::Trust
