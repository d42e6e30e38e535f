#include <utility>

#include "platform/base/files.h"
#include "platform/base/utf8.h"
#include "platform/trust/account.h"
#include "platform/trust/identity.h"
#include "platform/trust/identity_checks.h"
#include "platform/trust/identity_repair.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/state_owner.h"
#include "tools/distnetctl/terminal.h"

namespace Vexo::Ctl {

namespace {

constexpr size_t MAX_ENROLMENT_FILE = 256 * 1024;  // large enough for an answer file with the largest account state
constexpr mode_t REQUEST_FILE_MODE = 0644;         // a request file contains only a public key
constexpr mode_t ANSWER_FILE_MODE = 0600;          // an answer file contains the link key, encrypted for the new device

std::filesystem::path IdentityFolder(const GlobalOptions& options)
{
    return options.stateDir / "identity";
}

// Calls the given function with the path of the identity folder, and returns its result. During this call the process
// has the rights of the owner of the state folder.
template <typename Work>
auto OnIdentity(const GlobalOptions& options, Work work)
{
    return AsOwnerOf(options.stateDir, [&] { return work(IdentityFolder(options)); });
}

Json FileDetails(const std::filesystem::path& file)
{
    Json details = NewObject();
    AddText(details.get(), "file", file);
    return details;
}

}  // namespace

int RunAccountCreate(const GlobalOptions& options, Output& output, const std::string& name,
                     const std::string& deviceName)
{
    const bool isMadeAlready = Trust::AccountOf(IdentityFolder(options)) == name;
    const auto create = [&](const auto& folder) { return Trust::CreateAccount(folder, name, deviceName); };
    if (auto created = OnIdentity(options, create); !created) {
        return output.Finish(StateFailure(options.stateDir, created.error().message, ""));
    }
    if (isMadeAlready) {
        return output.Finish(Done("This device belongs to \"" + name +
                                  "\" again, because it holds the account's key.\n"
                                  "A daemon without certificate or link key uses the new ones at once;\n"
                                  "restart a daemon whose certificate had expired.\n"
                                  "If its link key was missing, enrol the other devices again."));
    }
    return output.Finish(Done("Account \"" + name +
                              "\" created; this device is its first member and holds its key.\n"
                              "A running daemon uses it at once. To add a device: `distnetctl account invite` here,\n"
                              "and `distnetctl account join` there."));
}

int RunAccountShow(const GlobalOptions& options, Output& output)
{
    auto loaded = OnIdentity(options, Trust::LoadIdentity);
    if (!loaded) {
        std::error_code unknown;
        const bool exists = std::filesystem::exists(IdentityFolder(options), unknown);
        return output.Finish(
            StateFailure(options.stateDir, loaded.error().message,
                         exists ? "" : "`distnetctl account create NAME` or `distnetctl account join` creates it."));
    }
    const Trust::Identity& identity = loaded.value();
    Json details = NewObject();
    AddText(details.get(), "network_id", identity.networkId);
    AddText(details.get(), "device_id", identity.deviceId);
    cJSON_AddBoolToObject(details.get(), "enrolled", identity.Enrolled());
    AddText(details.get(), "account", identity.accountName);
    cJSON_AddBoolToObject(details.get(), "holds_account_key", identity.holdsAccountKey);
    output.Line(Column("network id", 14) + identity.networkId);
    if (!identity.HasCertificate()) {
        output.Line(Column("account", 14) + "none: this device is not enrolled");
        return output.Finish(Done("", std::move(details)));
    }
    const std::string expiry = DateOf(identity.CertificateExpiry());
    AddText(details.get(), "valid_until", expiry);
    output.Line(Column("account", 14) + "\"" + EscapeHidden(identity.accountName) + "\"" +
                (identity.holdsAccountKey ? ", whose key this device holds" : ""));
    output.Line(Column("certificate", 14) + "valid until " + expiry);
    if (identity.LacksLinkKey()) {
        output.Line(Column("link key", 14) + "none: `distnetctl doctor` says what to do");
        return output.Finish(Done("", std::move(details)));
    }
    const Trust::LinkKey& linkKey = identity.linkKeys->current;
    AddNumber(details.get(), "link_key_number", linkKey.number);
    AddText(details.get(), "link_key_fingerprint", Trust::FingerprintOf(linkKey));
    output.Line(Column("link key", 14) + "number " + std::to_string(linkKey.number) + ", fingerprint " +
                Trust::FingerprintOf(linkKey));
    return output.Finish(Done("", std::move(details)));
}

int RunAccountRequest(const GlobalOptions& options, Output& output, const std::filesystem::path& file,
                      const std::string& deviceName)
{
    auto request = OnIdentity(options, [&](const auto& folder) { return Trust::MakeRequest(folder, deviceName); });
    if (!request) {
        return output.Finish(StateFailure(options.stateDir, request.error().message, ""));
    }
    if (auto written = WriteFileAtomically(file, request.value(), REQUEST_FILE_MODE); !written) {
        return output.Finish(NotDone(written.error().message, ""));
    }
    return output.Finish(Done("Request written to " + file.string() +
                                  ". Take it to the device that made the account, and there:\n"
                                  "  distnetctl account admit " +
                                  ShellWord(file.filename().string()) + " -o answer.pem",
                              FileDetails(file)));
}

int RunAccountAdmit(const GlobalOptions& options, Output& output, const std::filesystem::path& request,
                    const std::filesystem::path& answer)
{
    auto text = ReadWholeFile(request, MAX_ENROLMENT_FILE);
    if (!text) {
        return output.Finish(NotDone(text.error().message, ""));
    }
    auto admitted = OnIdentity(options, [&](const auto& folder) { return Trust::Admit(folder, text.value()); });
    if (!admitted) {
        return output.Finish(StateFailure(options.stateDir, request.string() + ": " + admitted.error().message, ""));
    }
    if (auto written = WriteFileAtomically(answer, admitted.value(), ANSWER_FILE_MODE); !written) {
        return output.Finish(NotDone(written.error().message, ""));
    }
    return output.Finish(Done("Admitted. Take " + answer.string() +
                                  " back to the new device, and there:\n"
                                  "  distnetctl account install " +
                                  ShellWord(answer.filename().string()),
                              FileDetails(answer)));
}

int RunAccountInstall(const GlobalOptions& options, Output& output, const std::filesystem::path& file)
{
    auto text = ReadWholeFile(file, MAX_ENROLMENT_FILE);
    if (!text) {
        return output.Finish(NotDone(text.error().message, ""));
    }
    const auto install = [&](const auto& folder) { return Trust::Install(folder, text.value()); };
    if (auto installed = OnIdentity(options, install); !installed) {
        return output.Finish(StateFailure(options.stateDir, file.string() + ": " + installed.error().message, ""));
    }
    return output.Finish(Done("This device belongs to the account now. A running daemon uses it at once."));
}

}  // namespace Vexo::Ctl
