#include "platform/trust/identity_repair.h"

#include <openssl/x509.h>
#include <sys/stat.h>

#include <vector>

#include "platform/trust/account_backup.h"
#include "platform/trust/identity_checks.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"

namespace Vexo::Trust {

namespace {

constexpr const char* RESTORE_IT = "Restore it from a copy";

// Returns the word, in quotes if a shell command needs them.
std::string Quoted(const std::string& word)
{
    constexpr const char* PLAIN = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./+-";
    if (!word.empty() && word.find_first_not_of(PLAIN) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (const char c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// Returns commands that rename the named files to NAME.old. Files that do not exist in the folder are skipped.
std::vector<std::string> MoveCommands(const std::filesystem::path& folder, const std::vector<const char*>& names)
{
    std::vector<std::string> commands;
    for (const char* const name : names) {
        const std::filesystem::path file = folder / name;
        if (FileExists(file)) {
            commands.push_back("mv " + Quoted(file) + " " + Quoted(file.string() + ".old"));
        }
    }
    return commands;
}

std::string Joined(const std::vector<std::string>& commands)
{
    std::string line;
    for (const std::string& command : commands) {
        line += (line.empty() ? "" : " && ") + command;
    }
    return line;
}

std::string Tool(const std::filesystem::path& folder, const std::string& words)
{
    return "distnetctl " + words + " --state " + Quoted(folder.parent_path());
}

// Returns the account's name from the account's certificate, else from the issuer field of the device's certificate.
// Returns an empty string when the certificate does not match the account's key.
std::string NameOfAccount(const std::filesystem::path& folder, EVP_PKEY* accountKey)
{
    if (const auto account = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE)) {
        return X509_check_private_key(account.value().get(), accountKey) == 1
                   ? CommonNameOf(X509_get_subject_name(account.value().get()))
                   : "";
    }
    const auto device = ReadCertificateFile(folder / DEVICE_CERTIFICATE_FILE);
    return device && X509_verify(device.value().get(), accountKey) == 1
               ? CommonNameOf(X509_get_issuer_name(device.value().get()))
               : "";
}

bool IsOpenToOthers(const std::filesystem::path& file)
{
    struct stat status {};
    return ::lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
}

// Returns true if the account's certificate in the folder can be read and belongs to a key other than accountKey.
bool IsForeignKey(const std::filesystem::path& folder, EVP_PKEY* accountKey)
{
    const auto account = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE);
    return account && X509_check_private_key(account.value().get(), accountKey) != 1;
}

// Returns true if the link keys were read without an error and belong to the account whose certificate is in the
// folder. If that certificate cannot be read, the link keys may belong to any account.
bool CanUse(const Result<LinkKeyRecord>& linkKeys, const std::filesystem::path& folder)
{
    const auto account = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE);
    (void)OpenSslReason();
    return linkKeys && (!account || linkKeys.value().account == NetworkIdOf(account.value().get()));
}

// Returns advice with the commands that give the device its missing certificate or link key.
// replaced: the files that the commands rename first. The commands also rename the file of a link key, and the file of
// an account's key, if that key cannot be used.
std::string Reissue(const std::filesystem::path& folder, std::vector<const char*> replaced)
{
    const std::filesystem::path accountKeyFile = folder / ACCOUNT_KEY_FILE;
    if (IsOpenToOthers(accountKeyFile)) {
        return "First close the account's key, if nobody has read it: chmod 600 " + Quoted(accountKeyFile);
    }
    const std::filesystem::path linkKeyFile = folder / LINK_KEY_FILE;
    if (FileExists(linkKeyFile) && !IsOpenToOthers(linkKeyFile) && !CanUse(ReadLinkKeyFile(linkKeyFile), folder)) {
        replaced.push_back(LINK_KEY_FILE);
    }
    const auto accountKey = ReadKeyFile(accountKeyFile);
    (void)OpenSslReason();
    if (!accountKey || IsForeignKey(folder, accountKey.value().get())) {
        // The account's key cannot be used. The commands rename the key's file, because `account install` fails while
        // that file exists.
        replaced.push_back(ACCOUNT_KEY_FILE);
        std::vector<std::string> commands = MoveCommands(folder, replaced);
        commands.push_back(Tool(folder, "account request device.csr"));
        return std::string(RESTORE_IT) + ", or enrol again: " + Joined(commands) +
               "; then admit it on the device that holds the account's key, and install the answer here";
    }
    const std::string name = NameOfAccount(folder, accountKey.value().get());
    std::vector<std::string> commands = MoveCommands(folder, replaced);
    commands.push_back(Tool(folder, "account create " + (name.empty() ? "NAME" : Quoted(name))));
    return std::string(RESTORE_IT) + ", or make it anew with the account's key, which is here: " + Joined(commands) +
           (name.empty() ? "; NAME is what `distnetctl account show` says on another device" : "");
}

bool IsEnrolled(const std::filesystem::path& folder, EVP_PKEY* deviceKey)
{
    const auto account = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE);
    const auto device = ReadCertificateFile(folder / DEVICE_CERTIFICATE_FILE);
    const bool isEnrolled = account && device && VerifySignedBy(device.value().get(), account.value().get()) &&
                            X509_check_private_key(device.value().get(), deviceKey) == 1;
    (void)OpenSslReason();
    return isEnrolled;
}

}  // namespace

std::optional<AccountFault> FindAccountFault(const std::filesystem::path& folder, const Identity& identity)
{
    if (identity.removedAt) {
        return AccountFault{
            "removed from the account \"" + identity.accountName + "\" on " + DateOf(*identity.removedAt),
            "To join again, leave it first: " + Tool(folder, "account leave") + "; then join with a new ticket"};
    }
    if (IsRestored(folder)) {
        return AccountFault{"restored from a backup, and has met no other member since: it admits and removes nobody",
                            "Start another member of the account near it. If no other is left: " +
                                Tool(folder, "account restore FILE --alone")};
    }
    if (identity.state || (LastStateNumber(folder) == 0 && !FileExists(folder / STATE_FILE))) {
        return std::nullopt;
    }
    const auto state = ReadStateFile(folder, identity.accountCertificate.get());
    if (!state && state.error().code == ErrorCode::INVALID_ARGUMENT) {
        return AccountFault{state.error().message, "Install the version that made it, or a later one"};
    }
    const std::string message = std::string("the account's state (") + STATE_FILE + ") is " +
                                (FileExists(folder / STATE_FILE) ? "damaged" : "missing");
    if (!identity.holdsAccountKey) {
        return AccountFault{message, "Nothing to do: the next contact with another member brings it back"};
    }
    return AccountFault{message + ": this device admits and removes nobody",
                        "Start another member of the account near it, which brings it back. If no other is left: " +
                            (LastBackup(folder) ? Tool(folder, "account restore FILE --alone")
                                                : Joined(MoveCommands(folder, {STATE_FILE, STATE_NUMBER_FILE})))};
}

std::string RenewAdvice(const std::filesystem::path& folder, const Identity& identity)
{
    const bool canSign = identity.holdsAccountKey && !FindAccountFault(folder, identity);
    return canSign ? "Renew the account: " + Tool(folder, "account renew") : ReissueAdvice(folder);
}

std::string BackupAdvice(const std::filesystem::path& folder)
{
    return "Make one: " + Tool(folder, "account backup FILE");
}

std::string ReissueAdvice(const std::filesystem::path& folder)
{
    return Reissue(folder, {DEVICE_CERTIFICATE_FILE});
}

std::string LinkKeyAdvice(const std::filesystem::path& folder)
{
    if (FileExists(folder / ACCOUNT_KEY_FILE) && LastBackup(folder)) {
        std::vector<std::string> commands = MoveCommands(folder, {LINK_KEY_FILE});
        commands.push_back(Tool(folder, "account restore FILE"));
        return "Restore it from the account's backup: " + Joined(commands);
    }
    return Reissue(folder, {});
}

std::string AccountOf(const std::filesystem::path& folder)
{
    const auto account = ReadCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE);
    (void)OpenSslReason();
    return account ? CommonNameOf(X509_get_subject_name(account.value().get())) : "";
}

std::string RepairAdvice(const std::filesystem::path& folder)
{
    const auto deviceKey = ReadKeyFile(folder / DEVICE_KEY_FILE);
    (void)OpenSslReason();
    if (!deviceKey) {
        // The device's certificate is for the lost key. While the certificate exists, the device does not create a new
        // key.
        return Reissue(folder, {DEVICE_KEY_FILE, DEVICE_CERTIFICATE_FILE});
    }
    if (!ReadDeviceIdFile(folder / DEVICE_ID_FILE)) {
        const std::string move = Joined(MoveCommands(folder, {DEVICE_ID_FILE}));
        return move.empty() ? "Restart the daemon, which makes a new one"
                            : "Move it away: " + move + "; then restart the daemon, which makes a new one";
    }
    if (IsEnrolled(folder, deviceKey.value().get())) {
        const auto linkKeys = ReadLinkKeyFile(folder / LINK_KEY_FILE);
        if (!linkKeys && linkKeys.error().code == ErrorCode::INVALID_ARGUMENT) {
            return "Install the version that made it, or a later one";
        }
        if (!CanUse(linkKeys, folder)) {
            return LinkKeyAdvice(folder);
        }
        if (LastBackup(folder)) {
            return "Restore it from its backup: " + Joined(MoveCommands(folder, {ACCOUNT_KEY_FILE})) + " && " +
                   Tool(folder, "account restore FILE");
        }
        return std::string(RESTORE_IT) +
               ", because without it no device can be admitted. To use this device without it: " +
               Joined(MoveCommands(folder, {ACCOUNT_KEY_FILE}));
    }
    return ReissueAdvice(folder);
}

}  // namespace Vexo::Trust
