// Fuzzes the parser of the account's signed state, which other member devices send. An input that starts with { is a
// plain text. The target signs this text with the account's key, because the parser refuses a text without a valid
// signature. Any other input is a signed state.
#include "fuzz/fuzz_target.h"
#include "platform/trust/account.h"
#include "platform/trust/account_state.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/signed_text.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Trust {
namespace {

struct Holder {
    Tests::TempFolder folder;
    Identity identity;
    PrivateKey key;

    Holder()
    {
        const std::filesystem::path place = folder.Path() / "holder";
        Fuzz::Require(CreateAccount(place, "account", "holder").has_value(), "an account can be made");
        identity = std::move(LoadIdentity(place).value());
        key = std::move(ReadKeyFile(place / ACCOUNT_KEY_FILE).value());
    }
    X509* Account() const { return identity.accountCertificate.get(); }
};

const Holder& TheHolder()
{
    static const Holder holder;
    return holder;
}

std::vector<std::string> Samples()
{
    const Holder& holder = TheHolder();
    AccountState state = holder.identity.state->State();
    state.members.push_back({.networkId = std::string(64, 'a'), .name = "phone"});
    state.removed.push_back({.networkId = std::string(64, 'b'), .name = "old", .number = 1, .signature = "s"});
    const SignedStatePtr made = SignState(state, holder.Account(), holder.key.get()).value();
    return {made->Bytes(), OpenSignedText(made->Bytes(), "").value().text.text};
}

bool OpensText(const std::string& text)
{
    const Holder& holder = TheHolder();
    const auto opened =
        OpenState(SignText(SecretText(text), holder.Account(), holder.key.get()).text, holder.Account());
    if (!opened) {
        return false;
    }
    const auto again = SignState(opened.value()->State(), holder.Account(), holder.key.get());
    Fuzz::Require(again && again.value()->State().members == opened.value()->State().members &&
                      again.value()->State().removed == opened.value()->State().removed,
                  "a state that was read is written as it is");
    return true;
}

bool Run(std::string_view input)
{
    if (input.starts_with('{')) {
        return OpensText(std::string(input));
    }
    const Holder& holder = TheHolder();
    Fuzz::Require(!DecodeRemoval(input, holder.identity.networkId, holder.Account()), "no removal was ever signed");
    const auto opened = OpenState(std::string(input), holder.Account());
    Fuzz::Require(!opened || opened.value()->State().members.size() == 2, "only the sample is signed by the account");
    return opened.has_value();
}

const Fuzz::Registration REGISTRATION({"account_state", Samples, Run});

}  // namespace
}  // namespace Vexo::Trust
