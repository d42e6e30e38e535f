#include "platform/trust/identity_checks.h"

#include <openssl/x509.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "platform/base/clock.h"
#include "platform/trust/account_backup.h"
#include "platform/trust/identity.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/identity_repair.h"

namespace Vexo::Trust {

namespace {

using namespace QuviewDFX;
using TimePoint = std::chrono::system_clock::time_point;

constexpr std::chrono::hours EXPIRES_SOON{24 * 30};
constexpr std::chrono::hours RENEW_BEFORE{24 * 365};

TimePoint TimeOf(const ASN1_TIME* time)
{
    std::tm parts{};
    ASN1_TIME_to_tm(time, &parts);
    return std::chrono::system_clock::from_time_t(timegm(&parts));
}

// Returns the failed health check for an error message of LoadIdentity. Replaces the hint at the end of that message
// with advice.
HealthCheck Damaged(const std::filesystem::path& folder, std::string message)
{
    if (message.ends_with(DOCTOR_KNOWS)) {
        message.erase(message.rfind(DOCTOR_KNOWS));
    } else if (const size_t at = message.rfind(IF_NOBODY_READ_IT); at != std::string::npos) {
        const std::string command = message.substr(at + std::string(IF_NOBODY_READ_IT).size());
        message.erase(message.find_last_not_of(". ", at) + 1);
        return Unhealthy("identity", message, "If nobody has read it: " + command);
    }
    return Unhealthy("identity", message, RepairAdvice(folder));
}

IdentityChecks Without(HealthCheck identity)
{
    return {std::move(identity), NotChecked("account", "not checked: needs the identity"),
            NotChecked("clock", "not checked: needs the identity's certificate"), ""};
}

void CheckEnrolled(const std::filesystem::path& folder, const Identity& identity, TimePoint now, IdentityChecks& checks)
{
    const TimePoint start = std::max(TimeOf(X509_get0_notBefore(identity.certificate.get())),
                                     TimeOf(X509_get0_notBefore(identity.accountCertificate.get())));
    const TimePoint end =
        std::min(identity.CertificateExpiry(), TimeOf(X509_get0_notAfter(identity.accountCertificate.get())));
    const std::string until = "device key, certificate valid until " + DateOf(end);
    const auto fault = FindAccountFault(folder, identity);
    checks.account = fault ? Unhealthy("account", fault->message, fault->advice)
                           : Healthy("account", "\"" + identity.accountName + "\"");
    checks.clock = NotChecked("clock", "within the certificate's validity; not compared: no peer is reachable");
    if (now >= end) {
        checks.identity =
            Unhealthy("identity", "the certificate expired on " + DateOf(end), RenewAdvice(folder, identity));
        checks.clock = NotChecked("clock", "not checked: by this clock, the certificate has expired");
        return;
    }
    checks.identity = Healthy("identity", until);
    if (identity.holdsAccountKey && !fault && end - now < RENEW_BEFORE) {
        checks.identity.message += ", within a year";
        checks.identity.advice = RenewAdvice(folder, identity);
    } else if (identity.holdsAccountKey && !fault && !LastBackup(folder)) {
        checks.identity.message += "; the account's key has no backup";
        checks.identity.advice = BackupAdvice(folder);
    } else if (!identity.holdsAccountKey && end - now < EXPIRES_SOON) {
        checks.identity.message += ": renew the account on the device that holds its key, and connect them";
    }
    if (now <= start) {
        checks.clock =
            Unhealthy("clock", "it shows " + DateOf(now) + ", but the certificate is valid from " + DateOf(start),
                      "Set it: timedatectl set-ntp true");
    }
}

}  // namespace

IdentityChecks CheckIdentity(const std::filesystem::path& folder, TimePoint now)
{
    if (::access(folder.c_str(), R_OK | X_OK) != 0 && (errno == EACCES || errno == ENOENT)) {
        return Without(errno == EACCES
                           ? NotChecked("identity", "not checked: this user may not read " + folder.string(),
                                        "Ask as root: sudo distnetctl doctor")
                           : Unhealthy("identity", "there is none in " + folder.string(),
                                       "Name the device's state folder with --state DIR, or make one: "
                                       "distnetctl account create NAME --state DIR"));
    }
    Result<Identity> loaded = LoadIdentity(folder);
    if (!loaded) {
        return Without(Damaged(folder, loaded.error().message));
    }
    const Identity& identity = loaded.value();
    IdentityChecks checks;
    checks.networkId = identity.networkId;
    if (identity.LacksLinkKey()) {
        IdentityChecks lacking = Without(Unhealthy("identity", LACKS_LINK_KEY, LinkKeyAdvice(folder)));
        lacking.networkId = identity.networkId;
        return lacking;
    }
    if (identity.Enrolled()) {
        CheckEnrolled(folder, identity, now, checks);
        return checks;
    }
    const std::string state = " --state " + folder.parent_path().string();
    checks.identity = Healthy("identity", "device key, no certificate yet");
    const std::string known = AccountOf(folder);
    checks.account =
        known.empty()
            ? Unhealthy("account", "this device belongs to no account",
                        "Join one: distnetctl account join; on its first device make it instead: "
                        "distnetctl account create NAME" +
                            state)
            : Unhealthy("account", "this device has no certificate of \"" + known + "\"", ReissueAdvice(folder));
    checks.clock = NotChecked("clock", "not checked: needs the identity's certificate");
    return checks;
}

}  // namespace Vexo::Trust
