// QuTrace: starts and finishes the service's trace spans (platform/dfx/trace.h) and logs each call. Any thread may call
// the static functions, which do not block. Each thread nests its synchronous spans, so finish such a span on the
// thread that started it.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

class QuTrace {
public:
    static void StartSyncQuTrace(const std::string& value);
    // Finishes the innermost span of this thread. The parameter value is only logged.
    static void FinishSyncQuTrace(const std::string& value);
    // An asynchronous span is identified by value and taskId together.
    static void StartAsyncQuTrace(const std::string& value, int32_t taskId);
    static void FinishAsyncQuTrace(const std::string& value, int32_t taskId);
};

}  // namespace Vexo::NetManagerStandard
