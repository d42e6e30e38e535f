// Asks several devices of the account for their DeviceFacts at the same time. Any thread may call the function.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host/online/online.h"
#include "host/online/online_memory.h"

namespace Vexo::Host {

// Asks the devices for their DeviceFacts, and stores the answers in the OnlineMemory. Blocks until all devices have
// answered or the time limit has passed.
void AskForFacts(const OnlineOptions& options, const std::shared_ptr<OnlineMemory>& memory,
                 const std::vector<std::string>& networkIds, std::chrono::milliseconds limit);

}  // namespace Vexo::Host
