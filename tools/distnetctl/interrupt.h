// Handles interrupts, which are Ctrl-C (SIGINT) and SIGTERM, while a command waits. The signals are blocked in every
// thread, and one thread waits for them. The functions are called on the main thread.
#pragma once

#include <functional>

#include "platform/base/mutex.h"

namespace Vexo::Ctl {

class Output;

// From now on an interrupt that ends the process also finishes output (Output::FinishInterrupted). output must live
// until the process ends.
void ReportInterrupts(Output& output);

// Blocks SIGINT and SIGTERM in this thread and the threads that it starts, and ignores SIGPIPE. Call first in main.
void BlockInterrupts();

// From now on an interrupt prints a line end and ends the process with EXIT_INTERRUPTED. The daemon then releases the
// service on behalf of this process.
void EndOnInterrupt();

// Like EndOnInterrupt(), but calls ended before the process ends, on the thread that waits for the interrupt.
void EndOnInterrupt(std::function<void()> ended);

// If an interrupt has arrived since EndOnInterrupt, blocks until the process ends. Else returns at once. Call before
// printing an outcome that the interrupt may have caused.
void WaitIfInterrupted();

// From now on an interrupt ends the process with EXIT_DONE, for commands that run until the user stops them. The
// process ends only while busy is not locked by another thread, so that no output line is cut off.
void EndWellOnInterrupt(Mutex& busy);

// Blocks until an interrupt arrives. Do not combine with EndOnInterrupt or EndWellOnInterrupt.
void WaitForInterrupt();

}  // namespace Vexo::Ctl
