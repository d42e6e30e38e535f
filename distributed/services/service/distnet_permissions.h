// The names of the permissions that the service knows.
#pragma once

namespace Vexo::NetManagerStandard {

// Every request of IDistNetService requires this permission of its caller.
inline constexpr const char* PERMISSION_CONNECTIVITY_INTERNAL = "vexo.permission.CONNECTIVITY_INTERNAL";

// No request requires one of the following permissions.
inline constexpr const char* PERMISSION_INTERNET = "vexo.permission.INTERNET";
inline constexpr const char* PERMISSION_NETWORK_COOPERATE_ACCELERATE = "vexo.permission.NETWORK_COOPERATE_ACCELERATE";

}  // namespace Vexo::NetManagerStandard
