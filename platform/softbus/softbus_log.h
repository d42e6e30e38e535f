// The label of the soft bus's log lines.
#pragma once

#include "platform/dfx/log.h"

namespace Vexo::SoftBus {

inline constexpr QuviewDFX::LogLabel LOG_SOFTBUS{QuviewDFX::LOG_DOMAIN_PLATFORM, "SoftBus"};

}  // namespace Vexo::SoftBus
