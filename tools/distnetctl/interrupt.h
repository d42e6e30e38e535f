// Handles interrupts while a command waits. An interrupt is Ctrl-C (SIGINT) or SIGTERM. Both signals are blocked in
// every thread. A separate thread waits for them; only WaitForInterrupt waits on the calling thread. Call these
// functions on the main thread.
#pragma once

#include <functional>

#include "platform/base/mutex.h"

namespace Vexo::Ctl {

class Output;

// After this call, an interrupt that ends the process with EXIT_INTERRUPTED also calls output.FinishInterrupted. The
// object output must exist until the process ends.
void ReportInterrupts(Output& output);

// Blocks SIGINT and SIGTERM in this thread and in the threads that it starts. Also ignores SIGPIPE. Call this first in
// main.
void BlockInterrupts();

// After this call, an interrupt prints a line end and ends the process with EXIT_INTERRUPTED. The daemon then releases
// the service that this process has used.
void EndOnInterrupt();

// After this call, an interrupt ends the process with EXIT_INTERRUPTED. ended: a function that is called before the
// process ends. It runs on the thread that waits for the interrupt, and may call EndOnInterrupt for a second interrupt.
void EndOnInterrupt(std::function<void()> ended);

// Blocks until the process ends if an interrupt has arrived since EndOnInterrupt was called. Otherwise returns at once.
// Call this before printing an outcome that the interrupt may have caused.
void WaitIfInterrupted();

// After this call, an interrupt ends the process with EXIT_DONE. For commands that run until the user stops them. busy:
// the process ends only while no other thread has locked this mutex, so that no line of output is cut off.
void ExitDoneOnInterrupt(Mutex& busy);

// Blocks until an interrupt arrives. Do not combine this with EndOnInterrupt or ExitDoneOnInterrupt.
void WaitForInterrupt();

}  // namespace Vexo::Ctl
