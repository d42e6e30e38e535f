// QuTrace: the service's spans in the trace meter (platform/dfx/trace.h), each with a log line. Static operations from
// any thread; they do not block. Synchronous spans nest per thread: finish on the thread that started.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

class QuTrace {
public:
    static void StartSyncQuTrace(const std::string& value);
    // Ends the innermost span of this thread; value is only logged.
    static void FinishSyncQuTrace(const std::string& value);
    // An asynchronous span is named by value and taskId together.
    static void StartAsyncQuTrace(const std::string& value, int32_t taskId);
    static void FinishAsyncQuTrace(const std::string& value, int32_t taskId);
};

}  // namespace Vexo::NetManagerStandard
