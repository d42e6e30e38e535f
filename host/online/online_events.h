// Writes the system events about getting online (docs/errors.md). Any thread may call the functions.
#pragma once

#include <string>

#include "interfaces/online_answers.h"

namespace Vexo::Host {

enum class OnlineEnding : uint8_t { DOWN, LOST, CANCELLED };

void WriteOnlineSuccess(const std::string& networkId);
// Reports a failure at one device, also if the attempt then succeeded at another device. networkId: the device that
// failed; empty if this device caused the failure.
void WriteOnlineFail(const std::string& networkId, OnlineStepKind step, OnlineFaultCode code);
void WriteOnlineEnd(const std::string& networkId, OnlineEnding ending);

}  // namespace Vexo::Host
