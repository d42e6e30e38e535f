// The version of this build, for --version, the daemon's first log line and the host's status answer. Any thread. The
// number is set once, in the top CMakeLists.txt.
#pragma once

namespace Vexo {

// Returns "major.minor.patch", NUL-terminated, with static storage. Never blocks, never fails.
const char* DistNetVersion();

}  // namespace Vexo
