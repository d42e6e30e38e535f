// The only table of the failures of getting online: for each failure the sentence for a person, the advice, and the
// exit code of distnetctl. docs/failures.md shows this table. Any thread may call the functions, which keep no state.
#pragma once

#include <array>
#include <string>

#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

struct OnlineFaultRow {
    OnlineFaultCode code;
    // "{device}" stands for the device's name. "{why}" stands for a detail of the case, which may be empty.
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

// Build a fault from the table. The function without the parameter device is for a fault of this device, or of the
// attempt as a whole. why: the text for "{why}".
OnlineFault MakeFault(OnlineFaultCode code, const std::string& why = "");
OnlineFault MakeFault(OnlineFaultCode code, const FaultDevice& device, const std::string& why = "");

// Returns the code in capitals, as in the REASON of the system event NET_ONLINE_FAIL.
std::string EventWord(OnlineFaultCode code);

// Returns the fault for a device that did not answer over any transport.
OnlineFault NotReached(const KnownDevice& device, std::chrono::sys_seconds now);
// Returns the fault for a refusal by the device. For the refusal NONE, returns a fault with the code FAILED.
OnlineFault FaultOf(SoftBus::PeerRefusal refusal, const FaultDevice& device);
// Returns the failure that the given DeviceFacts predict for an attempt at the device. Returns no value if the device
// can be asked, even if its owner must decide first.
std::optional<OnlineFault> FaultOf(const DeviceFacts& facts, const FaultDevice& device);
// Returns the fault for a service request that failed to open the device's hotspot. code: the service's result; took:
// how long the request took.
OnlineFault HotspotFault(int32_t code, std::chrono::milliseconds took, const KnownDevice& device);
// Returns the fault for a failed join. failure: the code word of a Wifi::JoinFailure; reason: the sentence about this
// failure.
OnlineFault JoinFault(const std::string& failure, const std::string& reason, const FaultDevice& device);
// Returns the fault for a device whose network has no access to the internet.
OnlineFault NoInternet(const std::optional<DeviceFacts>& facts, const FaultDevice& device);

}  // namespace Vexo::Host
