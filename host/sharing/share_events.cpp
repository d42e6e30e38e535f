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

template <typename... KeysAndValues>
void Report(const std::string& event, const std::string& networkId, KeysAndValues&&... more)
{
    QuviewDFX::QuSysEvent::Write("NETMANAGER", event, QuviewDFX::QuSysEvent::BEHAVIOR, "DEVICE_ID", ShortId(networkId),
                                 std::forward<KeysAndValues>(more)...);
}

}  // namespace

void ReportShareRefused(const std::string& networkId, SoftBus::PeerRefusal why)
{
    Report("NET_SHARE_REFUSED", networkId, "REASON", NameOf(SoftBus::PEER_REFUSAL_NAMES, why));
}

void ReportShareAsked(const std::string& networkId)
{
    Report("NET_SHARE_ASKED", networkId);
}

void ReportShareDecided(const std::string& networkId, ShareDecision decision)
{
    Report("NET_SHARE_DECIDED", networkId, "DECISION", NameOf(DECISION_NAMES, decision));
}

void ReportLeaseBegan(const std::string& networkId)
{
    Report("NET_SHARE_LEASE_BEGIN", networkId);
}

void ReportLeaseEnded(const std::string& networkId, const char* reason)
{
    Report("NET_SHARE_LEASE_END", networkId, "REASON", reason);
}

}  // namespace Vexo::Host
