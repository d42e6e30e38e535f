// EventCapture: the system events of a test, while it lives, each as one line: "DOMAIN NAME type KEY=value KEY=value".
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "platform/dfx/sinks.h"

namespace Vexo::Tests {

class EventCapture {
public:
    EventCapture() { QuviewDFX::SetSysEventSink(events_); }
    ~EventCapture() { QuviewDFX::SetSysEventSink(nullptr); }

    std::vector<std::string> Events() const
    {
        const std::lock_guard lock(events_->mutex);
        return events_->lines;
    }

private:
    struct Lines : QuviewDFX::SysEventSink {
        int32_t Write(const QuviewDFX::SysEventRecord& record) noexcept override
        {
            std::string line = record.domain + " " + record.name + " " + std::to_string(record.type);
            for (const auto& [key, value] : record.parameters) {
                const auto* number = std::get_if<int32_t>(&value);
                line += " " + key + "=" + (number != nullptr ? std::to_string(*number) : std::get<std::string>(value));
            }
            const std::lock_guard lock(mutex);
            lines.push_back(line);
            return 0;
        }
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    const std::shared_ptr<Lines> events_ = std::make_shared<Lines>();
};

}  // namespace Vexo::Tests
