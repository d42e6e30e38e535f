#include "platform/trust/state_files.h"

#include <charconv>

#include "platform/base/files.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/link_key_file.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr size_t MAX_SMALL_FILE = 256;

}  // namespace

Result<SignedStatePtr> ReadStateFile(const std::filesystem::path& folder, X509* account)
{
    auto bytes = ReadSecretFile(folder / STATE_FILE);
    return bytes ? OpenState(std::move(bytes.value().text), account) : Failure(std::move(bytes).error());
}

uint64_t LastStateNumber(const std::filesystem::path& folder)
{
    const std::filesystem::path file = folder / STATE_NUMBER_FILE;
    if (!FileExists(file)) {
        return 0;
    }
    // A file with a damaged number still shows that this device had a state, so 1 is returned for such a file.
    uint64_t number = 1;
    if (const auto text = ReadWholeFile(file, MAX_SMALL_FILE)) {
        std::from_chars(text.value().data(), text.value().data() + text.value().size(), number);
    }
    return number;
}

Result<void> WriteStateFiles(const std::filesystem::path& folder, const SignedState& state)
{
    const AccountState& content = state.State();
    if (auto written = WriteLinkKeyFile(folder / LINK_KEY_FILE, RecordOf(content.linkKeys, content.account));
        !written) {
        return written;
    }
    const std::vector<Certificate> account = CertificatesFromPem(content.accountCertificate);
    if (auto written = WriteCertificateFile(folder / ACCOUNT_CERTIFICATE_FILE, account.front().get()); !written) {
        return written;
    }
    if (auto written = WriteFileAtomically(folder / STATE_FILE, state.Bytes(), SECRET_FILE_MODE); !written) {
        return written;
    }
    return WriteFileAtomically(folder / STATE_NUMBER_FILE, std::to_string(content.number) + "\n", SECRET_FILE_MODE);
}

std::optional<std::chrono::sys_seconds> ReadRemoval(const std::filesystem::path& folder, const std::string& networkId,
                                                    X509* account, const SignedState* state)
{
    if (const RemovedKey* const removed = state != nullptr ? state->State().FindRemoved(networkId) : nullptr) {
        return removed->at;
    }
    const auto bytes = ReadWholeFile(folder / REMOVAL_FILE, MAX_SMALL_FILE);
    const auto statement =
        bytes ? DecodeRemoval(bytes.value(), networkId, account) : Result<RemovalStatement>(Failure(bytes.error()));
    return statement ? std::optional(statement.value().at) : std::nullopt;
}

}  // namespace Vexo::Trust
