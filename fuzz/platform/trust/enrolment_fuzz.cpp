// What enrolment takes from another device: the request that Admit signs and the chain that Install keeps.
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

    Devices()
    {
        Fuzz::Require(CreateAccount(owner, "account", "owner").has_value(), "an account can be made");
        request = MakeRequest(other, "other").value();
        chain = Admit(owner, request).value();
    }
};

const Devices& TheDevices()
{
    static const Devices devices;
    return devices;
}

std::vector<std::string> Samples()
{
    return {TheDevices().request, TheDevices().chain};
}

bool Admits(const std::string& request)
{
    if (!RequestFromPem(request)) {
        return false;  // most inputs; Admit would first read the owner's keys
    }
    const auto admitted = Admit(TheDevices().owner, request);
    if (!admitted) {
        Fuzz::Require(!admitted.error().message.empty(), "a refusal says why");
        return false;
    }
    const auto chain = CertificatesFromPem(admitted.value());
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
    const bool installed = Install(TheDevices().other, chain).has_value();
    const auto certificate = TheDevices().other / "device.crt";
    Fuzz::Require(std::filesystem::exists(certificate) == installed, "a refused chain leaves nothing behind");
    Fuzz::Require(!installed || LoadIdentity(TheDevices().other).has_value(), "what was installed can be used");
    std::filesystem::remove(certificate);
    std::filesystem::remove(TheDevices().other / "account.crt");
    return installed;
}

bool Run(std::string_view input)
{
    return input.find("REQUEST") != std::string_view::npos ? Admits(std::string(input)) : Installs(std::string(input));
}

const Fuzz::Registration REGISTRATION({"trust_enrolment", Samples, Run});

}  // namespace
}  // namespace Vexo::Trust
