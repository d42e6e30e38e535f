// The trace meter: spans of work for a trace viewer. Synchronous spans nest per thread; asynchronous ones pair by name
// and task id. Any thread; free when no trace sink is set (platform/dfx/sinks.h).
#pragma once

#include <cstdint>
#include <string>

namespace Vexo {

void StartTrace(uint64_t tag, const std::string& value);
void FinishTrace(uint64_t tag);
void StartAsyncTrace(uint64_t tag, const std::string& value, int32_t taskId);
void FinishAsyncTrace(uint64_t tag, const std::string& value, int32_t taskId);

}  // namespace Vexo
