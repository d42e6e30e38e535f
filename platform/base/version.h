// The version of this build, for --version, the daemon's first log line and the daemon's status answer. The top
// CMakeLists.txt sets the number. Any thread may call the function.
#pragma once

namespace Vexo {

// Returns the version as "major.minor.patch", NUL-terminated, with static storage. Never blocks, never fails.
const char* DistNetVersion();

}  // namespace Vexo
