// The permissions that the service knows by name. Constants.
#pragma once

namespace Vexo::NetManagerStandard {

// What every request of IDistNetService asks of its caller.
inline constexpr const char* PERMISSION_CONNECTIVITY_INTERNAL = "vexo.permission.CONNECTIVITY_INTERNAL";

// Declared for callers that share this header; no request asks for them.
inline constexpr const char* PERMISSION_INTERNET = "vexo.permission.INTERNET";
inline constexpr const char* PERMISSION_NETWORK_COOPERATE_ACCELERATE = "vexo.permission.NETWORK_COOPERATE_ACCELERATE";

}  // namespace Vexo::NetManagerStandard
