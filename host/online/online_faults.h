// Every failure on the way online: its sentence for a person, its advice, and the exit code of distnetctl. The one
// table; docs/failures.md shows it. Functions without state; any thread.
#pragma once

#include <array>
#include <string>

#include "interfaces/host_answers.h"
#include "interfaces/online_answers.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

struct OnlineFaultRow {
    OnlineFaultCode code;
    // "{device}" stands for the device's name, "{why}" for what only the case knows; the text without "{why}" is whole.
    const char* message;
    const char* advice;
    int exitCode;
};

inline constexpr size_t ONLINE_FAULT_COUNT = static_cast<size_t>(OnlineFaultCode::TIMED_OUT) + 1;
// In the order of OnlineFaultCode.
extern const std::array<OnlineFaultRow, ONLINE_FAULT_COUNT> ONLINE_FAULTS;

// Whom a fault concerns. Without a name the id's short form stands in the texts.
struct FaultDevice {
    std::string networkId;
    std::string name;
};

// A fault of this device, or of the attempt as a whole.
OnlineFault MakeFault(OnlineFaultCode code, const std::string& why = "");
OnlineFault MakeFault(OnlineFaultCode code, const FaultDevice& device, const std::string& why = "");

// The code in capitals, as REASON of NET_ONLINE_FAIL.
std::string EventWord(OnlineFaultCode code);

// The device did not answer over any way.
OnlineFault NotReached(const KnownDevice& device, std::chrono::sys_seconds now);
// NONE counts as FAILED.
OnlineFault FaultOf(SoftBus::PeerRefusal refusal, const FaultDevice& device);
// What speaks against asking a device with these facts; no value: nothing, or only that its owner is asked first.
std::optional<OnlineFault> FaultOf(const DeviceFacts& facts, const FaultDevice& device);
// The service's request for the device's hotspot has failed with that code after that time.
OnlineFault HotspotFault(int32_t code, std::chrono::milliseconds took, const KnownDevice& device);
// A join failed. failure: a word of Wifi::JoinFailure; reason: the sentence beside it.
OnlineFault JoinFault(const std::string& failure, const std::string& reason, const FaultDevice& device);
// The device's network leads nowhere.
OnlineFault NoInternet(const std::optional<DeviceFacts>& facts, const FaultDevice& device);

}  // namespace Vexo::Host
