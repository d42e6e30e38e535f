// Runs distnetctl: parses the command line (with CLI11), runs the command and returns the exit code. Called once, on
// the main thread.
#pragma once

namespace Vexo::Ctl {

int RunApp(int argc, const char* const* argv);

}  // namespace Vexo::Ctl
