// RecordedSysEvents: collects all system events that are written while the object exists. Each event is stored as "NAME
// KEY VALUE KEY VALUE". Any thread may write events.
#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/dfx/sinks.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

class RecordedSysEvents {
public:
    RecordedSysEvents() { QuviewDFX::SetSysEventSink(sink_); }
    ~RecordedSysEvents() { QuviewDFX::SetSysEventSink(nullptr); }

    // Blocks until there are count lines, or until WAIT_LIMIT has passed. Returns all lines that exist then.
    std::vector<std::string> WaitFor(size_t count) const { return sink_->WaitFor(count); }
    std::vector<std::string> Lines() const { return WaitFor(0); }

private:
    struct Sink : QuviewDFX::SysEventSink, Trail<std::string> {
        int32_t Write(const QuviewDFX::SysEventRecord& record) noexcept override
        {
            std::string line = record.name;
            for (const QuviewDFX::SysEventParameter& parameter : record.parameters) {
                const auto* text = std::get_if<std::string>(&parameter.value);
                line += " " + parameter.key + " ";
                line += text != nullptr ? *text : std::to_string(std::get<int32_t>(parameter.value));
            }
            Add(line);
            return 0;
        }
    };
    const std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
};

}  // namespace Vexo::Tests
