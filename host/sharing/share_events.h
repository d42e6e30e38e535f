// Writes the system events about sharing (docs/errors.md). The events name a device by the short form of its network
// id. Any thread may call the functions, which keep no state. They call the event sink on the calling thread.
#pragma once

#include <string>

#include "interfaces/sharing_answers.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

void ReportShareRefused(const std::string& networkId, SoftBus::PeerRefusal why);
void ReportShareAsked(const std::string& networkId);
void ReportShareDecided(const std::string& networkId, ShareDecision decision);
void ReportLeaseBegan(const std::string& networkId);
void ReportLeaseEnded(const std::string& networkId, const char* reason);  // reason: a text of LeaseEnd (share_leases.h)

}  // namespace Vexo::Host
