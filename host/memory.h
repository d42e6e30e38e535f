// Gives back memory that an idle daemon holds for nothing. Any thread.
#pragma once

namespace Vexo::Host {

// Before any other thread exists: threads share one heap. They are mostly asleep, and a heap of its own for each would
// only hold memory.
void ShareOneHeap();

// Returns free heap pages to the system, and lets go of the pages of programs and libraries that were only read:
// start-up reads much code that an idle daemon does not, and what is needed again comes back from the page cache. Takes
// about a millisecond.
void ReleaseUnusedMemory();

}  // namespace Vexo::Host
