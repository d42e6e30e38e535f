// Handles Ctrl-C (SIGINT) and SIGTERM while a command waits. The signals are blocked in every thread, and one thread
// waits for them. The functions are called on the main thread.
#pragma once

#include <functional>

#include "platform/base/mutex.h"

namespace Vexo::Ctl {

class Output;

// From now on an interrupt that ends the process says so on output, with --json; output must not be destroyed before
// the process ends.
void ReportInterrupts(Output& output);

// Blocks SIGINT and SIGTERM in this thread and the threads that it starts, and ignores SIGPIPE. Call first in main.
void BlockInterrupts();

// From now on an interrupt prints a line end and ends the process with EXIT_INTERRUPTED. The daemon then releases the
// service on behalf of this process.
void EndOnInterrupt();

// The same, but runs ended on a thread of its own before the process ends.
void EndOnInterrupt(std::function<void()> ended);

// If an interrupt has arrived since EndOnInterrupt, does not return, because the process is ending. Else does nothing.
// Call before the outcome is printed that the interrupt has caused.
void LeaveEndToInterrupt();

// From now on an interrupt ends the process with EXIT_DONE. For a command that runs until the user stops it. The end
// waits until busy is free, so that no output line is cut off.
void EndWellOnInterrupt(Mutex& busy);

// Blocks until an interrupt arrives. Use this or one of the functions above.
void WaitForInterrupt();

}  // namespace Vexo::Ctl
