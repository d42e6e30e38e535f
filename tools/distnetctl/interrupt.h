// Ctrl-C and SIGTERM while a command waits. The signals are blocked in every thread and taken by one that sleeps in the
// kernel.
#pragma once

#include "platform/base/mutex.h"

namespace Vexo::Ctl {

// Blocks SIGINT and SIGTERM for this thread and those it starts. Call first in main. SIGPIPE is ignored.
void BlockInterrupts();

// From now on an interrupt ends the terminal line and the process, with EXIT_INTERRUPTED. The daemon releases the
// service for a process that is gone.
void EndOnInterrupt();

// From now on an interrupt ends the process with EXIT_DONE: for a command that runs until it is told to end. While busy
// is held the end waits, so that no line is cut short.
void EndWellOnInterrupt(Mutex& busy);

// Blocks until an interrupt arrives. Instead of the two above.
void WaitForInterrupt();

}  // namespace Vexo::Ctl
