// The label that all log lines of the soft bus use.
#pragma once

#include "platform/dfx/log.h"

namespace Vexo::SoftBus {

inline constexpr QuviewDFX::LogLabel LOG_SOFTBUS{QuviewDFX::LOG_DOMAIN_PLATFORM, "SoftBus"};

}  // namespace Vexo::SoftBus
