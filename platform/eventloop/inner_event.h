// InnerEvent: an event that a handler posts. An event is either a named task, or a numeric id with a parameter for
// EventHandler::ProcessEvent. Make an event with Get and move it into EventHandler::SendEvent. Not thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Vexo::AppExecFwk {

// The place in the code that posted an event. Log lines show it.
struct Caller {
    std::string file;
    std::string function;
    int32_t line = 0;
};

class InnerEvent {
public:
    using Pointer = std::unique_ptr<InnerEvent>;
    using Callback = std::function<void()>;

    static Pointer Get(uint32_t innerEventId, int64_t param = 0, const Caller& caller = {});
    static Pointer Get(const Callback& callback, const std::string& name = "", const Caller& caller = {});

    // Returns 0 for a task.
    uint32_t GetInnerEventId() const { return innerEventId_; }
    int64_t GetParam() const { return param_; }
    bool HasTask() const { return callback_ != nullptr; }
    const Callback& GetTaskCallback() const { return callback_; }
    const std::string& GetTaskName() const { return taskName_; }
    const Caller& GetCaller() const { return caller_; }

private:
    InnerEvent() = default;

    uint32_t innerEventId_ = 0;
    int64_t param_ = 0;
    Callback callback_;
    std::string taskName_;
    Caller caller_;
};

}  // namespace Vexo::AppExecFwk
