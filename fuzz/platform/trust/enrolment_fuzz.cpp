// What enrolment takes from another device: the request that Admit signs and the chain that Install keeps, as PEM or,
// to get past its text form more often, as the DER inside.
#include "fuzz/fuzz_target.h"
#include "platform/trust/account.h"
#include "platform/trust/openssl_util.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Trust {
namespace {

// One device with an account, and one with a request that the first has admitted.
struct Devices {
    Tests::TempFolder folder;
    std::filesystem::path owner = folder.Path() / "owner";
    std::filesystem::path other = folder.Path() / "other";
    std::string request;
    std::string chain;
    std::string account;  // the chain's second certificate

    Devices()
    {
        Fuzz::Require(CreateAccount(owner, "account", "owner").Ok(), "an account can be made");
        request = MakeRequest(other, "other").Value();
        chain = Admit(owner, request).Value();
        account = CertificateToPem(CertificatesFromPem(chain)[1].get());
    }
};

const Devices& TheDevices()
{
    static const Devices devices;
    return devices;
}

template <typename Object>
std::string Der(int (*encode)(const Object*, unsigned char**), const Object* object)
{
    unsigned char* bytes = nullptr;
    const int size = encode(object, &bytes);
    std::string der(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
    OPENSSL_free(bytes);
    return der;
}

std::vector<std::string> Samples()
{
    const auto& [folder, owner, other, request, chain, account] = TheDevices();
    return {request, chain, Der<X509_REQ>(i2d_X509_REQ, RequestFromPem(request).get()),
            Der<X509>(i2d_X509, CertificatesFromPem(chain)[0].get())};
}

std::string Pem(const char* what, std::string_view der)
{
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    PEM_write_bio(bio.get(), what, "", reinterpret_cast<const unsigned char*>(der.data()),
                  static_cast<long>(der.size()));
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<size_t>(size)};
}

bool Admits(const std::string& request)
{
    if (!RequestFromPem(request)) {
        return false;  // most inputs; Admit would first read the owner's keys
    }
    const auto admitted = Admit(TheDevices().owner, request);
    if (!admitted) {
        Fuzz::Require(!admitted.Message().empty(), "a refusal says why");
        return false;
    }
    const auto chain = CertificatesFromPem(admitted.Value());
    Fuzz::Require(
        chain.size() == 2 && VerifySignedBy(chain[0].get(), chain[1].get()) && IsP256(X509_get0_pubkey(chain[0].get())),
        "an admitted device's certificate is the account's, for a key of the right kind");
    return true;
}

bool Installs(const std::string& chain)
{
    if (CertificatesFromPem(chain).empty()) {
        return false;
    }
    const bool installed = Install(TheDevices().other, chain).Ok();
    const auto certificate = TheDevices().other / "device.crt";
    Fuzz::Require(std::filesystem::exists(certificate) == installed, "a refused chain leaves nothing behind");
    Fuzz::Require(!installed || LoadIdentity(TheDevices().other).Ok(), "what was installed can be used");
    std::filesystem::remove(certificate);
    std::filesystem::remove(TheDevices().other / "account.crt");
    return installed;
}

bool Run(std::string_view input)
{
    if (input.starts_with('-')) {
        return input.find("REQUEST") != std::string_view::npos ? Admits(std::string(input))
                                                               : Installs(std::string(input));
    }
    return Admits(Pem("CERTIFICATE REQUEST", input)) || Installs(Pem("CERTIFICATE", input) + TheDevices().account);
}

const Fuzz::Registration REGISTRATION({"trust_enrolment", Samples, Run});

}  // namespace
}  // namespace Vexo::Trust
