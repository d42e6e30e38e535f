// The service's log macros. Each macro writes one line with the service's label to the platform log. Any thread may use
// them, and they never fail. The compiler checks the format texts (platform/dfx/log.h). Every text starts with a space.
// Anonymise identifiers before you log them (common_utils.h).
#pragma once

#include "platform/dfx/log.h"

namespace Vexo::NetManagerStandard {

inline constexpr QuviewDFX::LogLabel NETMGR_EXT_LOG_LABEL{0xD0015B0, "DistributedNet"};

}  // namespace Vexo::NetManagerStandard

#define NETMGR_EXT_LOGE(...) ::Vexo::QuviewDFX::LogError(::Vexo::NetManagerStandard::NETMGR_EXT_LOG_LABEL, __VA_ARGS__)
#define NETMGR_EXT_LOGI(...) ::Vexo::QuviewDFX::LogInfo(::Vexo::NetManagerStandard::NETMGR_EXT_LOG_LABEL, __VA_ARGS__)
