// Every failure of getting online: its sentence for a person, its advice, and the exit code of distnetctl. This is the
// only table; docs/failures.md shows it. Functions without state; any thread.
#pragma once

#include <array>
#include <string>

#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

struct OnlineFaultRow {
    OnlineFaultCode code;
    // "{device}" is replaced by the device's name, and "{why}" by a detail of the case, which may be empty.
    const char* message;
    const char* advice;
    int exitCode;
};

inline constexpr size_t ONLINE_FAULT_COUNT = static_cast<size_t>(OnlineFaultCode::TIMED_OUT) + 1;
// The rows are in the order of OnlineFaultCode.
extern const std::array<OnlineFaultRow, ONLINE_FAULT_COUNT> ONLINE_FAULTS;

// The device that a fault concerns. If name is empty, the texts show the short form of the network id.
struct FaultDevice {
    std::string networkId;
    std::string name;
};

// The first overload is for a fault of this device, or of the attempt as a whole.
OnlineFault MakeFault(OnlineFaultCode code, const std::string& why = "");
OnlineFault MakeFault(OnlineFaultCode code, const FaultDevice& device, const std::string& why = "");

// Returns the code in capitals, as in the REASON of NET_ONLINE_FAIL.
std::string EventWord(OnlineFaultCode code);

// The fault of a device that did not answer over any transport.
OnlineFault NotReached(const KnownDevice& device, std::chrono::sys_seconds now);
// The fault for a refusal by the device's owner. NONE gives FAILED.
OnlineFault FaultOf(SoftBus::PeerRefusal refusal, const FaultDevice& device);
// The fault that these facts predict; no value if the device can be asked, even if its owner must decide first.
std::optional<OnlineFault> FaultOf(const DeviceFacts& facts, const FaultDevice& device);
// The fault of a failed service request for the device's hotspot. code: its result; took: its duration.
OnlineFault HotspotFault(int32_t code, std::chrono::milliseconds took, const KnownDevice& device);
// The fault of a failed join. failure: a word of Wifi::JoinFailure; reason: its sentence.
OnlineFault JoinFault(const std::string& failure, const std::string& reason, const FaultDevice& device);
// The fault of a device's network without access to the internet.
OnlineFault NoInternet(const std::optional<DeviceFacts>& facts, const FaultDevice& device);

}  // namespace Vexo::Host
