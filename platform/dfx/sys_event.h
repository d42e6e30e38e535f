// System events: records for operators and programs of what has happened on this device. Thread-safe. The sink
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

    // Writes one event. Returns 0 or the sink's negative code. Returns -1 and writes nothing if the domain, the name or
    // a key is invalid. Each of them has 1 to 32 characters of A-Z, 0-9 and _, and starts with a letter. keysAndValues:
    // for each parameter a key (string) and a value (int32_t or string).
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
