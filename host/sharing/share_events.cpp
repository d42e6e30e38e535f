#include "host/sharing/share_events.h"

#include <utility>

#include "platform/base/named_values.h"
#include "platform/base/text.h"
#include "platform/dfx/sys_event.h"

namespace Vexo::Host {
namespace {

constexpr NamedValue<ShareDecision> DECISION_NAMES[] = {{"ONCE", ShareDecision::ONCE},
                                                        {"TODAY", ShareDecision::TODAY},
                                                        {"ALWAYS", ShareDecision::ALWAYS},
                                                        {"NEVER", ShareDecision::NEVER},
                                                        {"DENY", ShareDecision::DENY}};

constexpr const char* KEY_DEVICE_ID = "DEVICE_ID";
constexpr const char* KEY_REASON = "REASON";
constexpr const char* KEY_DECISION = "DECISION";

template <typename... KeysAndValues>
void Report(const std::string& event, KeysAndValues&&... parameters)
{
    QuviewDFX::QuSysEvent::Write("NETMANAGER", event, QuviewDFX::QuSysEvent::BEHAVIOR,
                                 std::forward<KeysAndValues>(parameters)...);
}

}  // namespace

void ReportShareRefused(const std::string& networkId, SoftBus::PeerRefusal why)
{
    Report("NET_SHARE_REFUSED", KEY_DEVICE_ID, ShortId(networkId), KEY_REASON,
           NameOf(SoftBus::PEER_REFUSAL_NAMES, why));
}

void ReportShareAsked(const std::string& networkId)
{
    Report("NET_SHARE_ASKED", KEY_DEVICE_ID, ShortId(networkId));
}

void ReportShareDecided(const std::string& networkId, ShareDecision decision)
{
    Report("NET_SHARE_DECIDED", KEY_DEVICE_ID, ShortId(networkId), KEY_DECISION, NameOf(DECISION_NAMES, decision));
}

void ReportLeaseBegan(const std::string& networkId)
{
    Report("NET_SHARE_LEASE_BEGIN", KEY_DEVICE_ID, ShortId(networkId));
}

void ReportLeaseEnded(const std::string& networkId, const char* reason)
{
    Report("NET_SHARE_LEASE_END", KEY_DEVICE_ID, ShortId(networkId), KEY_REASON, reason);
}

}  // namespace Vexo::Host
