// System events: structured records of what happened, for operators and programs. Any thread. The sink
// (platform/dfx/sinks.h) is called on the calling thread.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

class QuSysEvent {
public:
    enum EventType : int32_t { FAULT = 1, STATISTIC = 2, SECURITY = 3, BEHAVIOR = 4 };

    // Writes one event. keysAndValues alternate a key (string) and its value (int32_t or string). A domain, a name and
    // a key have 1 to 32 characters of A-Z, 0-9 and _, and start with a letter. Returns 0, the sink's negative code, or
    // -1 for an invalid domain, name or key; then nothing is written.
    template <typename... KeysAndValues>
    static int Write(const std::string& domain, const std::string& name, EventType type,
                     KeysAndValues&&... keysAndValues)
    {
        static_assert(sizeof...(KeysAndValues) % 2 == 0, "every event parameter is a key and a value");
        std::vector<SysEventParameter> parameters;
        parameters.reserve(sizeof...(KeysAndValues) / 2);
        Append(parameters, std::forward<KeysAndValues>(keysAndValues)...);
        return WriteRecord(domain, name, type, std::move(parameters));
    }

private:
    static void Append(std::vector<SysEventParameter>&) {}

    template <typename Value, typename... Rest>
    static void Append(std::vector<SysEventParameter>& parameters, const std::string& key, Value&& value,
                       Rest&&... rest)
    {
        parameters.push_back({key, std::forward<Value>(value)});
        Append(parameters, std::forward<Rest>(rest)...);
    }

    static int WriteRecord(const std::string& domain, const std::string& name, EventType type,
                           std::vector<SysEventParameter> parameters);
};

}  // namespace Vexo::QuviewDFX
