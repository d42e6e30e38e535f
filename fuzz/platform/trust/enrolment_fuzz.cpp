// Fuzzes the parsers of the data that enrolment (joining an account) receives from another device: the request that
// Admit signs, and the answer that Install stores. The decrypted content of the answer is fuzzed separately, because
// hardly any other input decrypts.
#include "fuzz/fuzz_target.h"
#include "platform/trust/account.h"
#include "platform/trust/enrolment_answer.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Trust {
namespace {

// A device that owns an account, and another device whose request the owner has admitted.
struct Devices {
    Tests::TempFolder folder;
    std::filesystem::path owner = folder.Path() / "owner";
    std::filesystem::path other = folder.Path() / "other";
    std::string request;
    std::string answer;
    PrivateKey otherKey;

    Devices()
    {
        Fuzz::Require(CreateAccount(owner, "account", "owner").has_value(), "an account can be made");
        request = MakeRequest(other, "other").value();
        answer = Admit(owner, request).value();
        otherKey = std::move(ReadKeyFile(other / DEVICE_KEY_FILE).value());
    }
};

const Devices& TheDevices()
{
    static const Devices devices;
    return devices;
}

std::vector<std::string> Samples()
{
    const auto opened = OpenAnswer(TheDevices().answer, TheDevices().otherKey.get());
    return {TheDevices().request, TheDevices().answer, PrintAnswer(opened.value()).text};
}

bool Admits(const std::string& request)
{
    if (!RequestFromPem(request)) {
        return false;  // most inputs end here, which saves the time in which Admit would read the owner's keys
    }
    const auto admitted = Admit(TheDevices().owner, request);
    if (!admitted) {
        Fuzz::Require(!admitted.error().message.empty(), "a refusal says why");
        return false;
    }
    // Only the owner of a key can sign a request for it. Every admitted request is therefore for the key of the other
    // device.
    const auto answer = OpenAnswer(admitted.value(), TheDevices().otherKey.get());
    Fuzz::Require(answer && VerifySignedBy(answer.value().device.get(), answer.value().account.get()) &&
                      IsP256(X509_get0_pubkey(answer.value().device.get())),
                  "an admitted device's certificate is the account's, for a key of the right kind");
    return true;
}

bool Installs(const std::string& answer)
{
    if (!OpenAnswer(answer, TheDevices().otherKey.get())) {
        return false;  // most inputs end here, which saves the time in which Install would read the device's files
    }
    const bool installed = Install(TheDevices().other, answer).has_value();
    const auto certificate = TheDevices().other / DEVICE_CERTIFICATE_FILE;
    Fuzz::Require(std::filesystem::exists(certificate) == installed, "a refused answer leaves nothing behind");
    Fuzz::Require(!installed || LoadIdentity(TheDevices().other).has_value(), "what was installed can be used");
    for (const char* name : {DEVICE_CERTIFICATE_FILE, ACCOUNT_CERTIFICATE_FILE, LINK_KEY_FILE, STATE_FILE}) {
        std::filesystem::remove(TheDevices().other / name);
    }
    return installed;
}

bool Parses(const std::string& payload)
{
    const auto print = [](const EnrolmentAnswer& answer) { return std::string(PrintAnswer(answer).text); };
    return Fuzz::RoundTrips(payload, ParseAnswer, print, "");
}

bool Run(std::string_view input)
{
    if (input.starts_with('{')) {
        return Parses(std::string(input));
    }
    return input.find("REQUEST") != std::string_view::npos ? Admits(std::string(input)) : Installs(std::string(input));
}

const Fuzz::Registration REGISTRATION({"trust_enrolment", Samples, Run});

}  // namespace
}  // namespace Vexo::Trust
