// Ctrl-C and SIGTERM while a command waits. The signals are blocked in every thread and taken by one that sleeps in the
// kernel.
#pragma once

#include <string>

namespace Vexo::Ctl {

// Blocks SIGINT and SIGTERM for this thread and those it starts. Call first in main. SIGPIPE is ignored.
void BlockInterrupts();

// From now on an interrupt releases the service for this process over a connection of its own (the service counts
// processes), ends the terminal line and ends the process with EXIT_INTERRUPTED.
void EndOnInterrupt(const std::string& socketPath);

// Blocks until an interrupt arrives. Instead of EndOnInterrupt.
void WaitForInterrupt();

}  // namespace Vexo::Ctl
