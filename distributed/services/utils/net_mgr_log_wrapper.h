// The service's log macros. Each writes one line to the platform log under the service's label. Any thread; a call
// never fails. Formats, which are checked at compile time: platform/dfx/log.h. Every text starts with a space.
// Anonymise identifiers before they are logged (common_utils.h).
#pragma once

#include "platform/dfx/log.h"

namespace Vexo::NetManagerStandard {

inline constexpr QuviewDFX::LogLabel NETMGR_EXT_LOG_LABEL{0xD0015B0, "DistributedNet"};

}  // namespace Vexo::NetManagerStandard

#define NETMGR_EXT_LOGE(...) ::Vexo::QuviewDFX::LogError(::Vexo::NetManagerStandard::NETMGR_EXT_LOG_LABEL, __VA_ARGS__)
#define NETMGR_EXT_LOGI(...) ::Vexo::QuviewDFX::LogInfo(::Vexo::NetManagerStandard::NETMGR_EXT_LOG_LABEL, __VA_ARGS__)
