// ServiceTest: the one service of the process, the abilities that a test gives it, and what it logs and reports.
#pragma once

#include <gtest/gtest.h>

#include <variant>

#include "distributed/services/service/distnet_service.h"
#include "platform/dfx/sinks.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_device_manager.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {

// Each event as "DOMAIN NAME type KEY=value KEY=value".
class EventLines : public QuviewDFX::SysEventSink, public Tests::Trail<std::string> {
public:
    int32_t Write(const QuviewDFX::SysEventRecord& record) noexcept override
    {
        std::string line = record.domain + " " + record.name + " " + std::to_string(record.type);
        for (const auto& [key, value] : record.parameters) {
            const auto* number = std::get_if<int32_t>(&value);
            line += " " + key + "=" + (number != nullptr ? std::to_string(*number) : std::get<std::string>(value));
        }
        Add(line);
        return 0;
    }
};

class ServiceTest : public testing::Test {
protected:
    ServiceTest() { QuviewDFX::SetSysEventSink(events_); }
    ~ServiceTest() override
    {
        service_.OnStop();
        QuviewDFX::SetSysEventSink(nullptr);
    }
    // Waits for the start-up task too, so that it logs into this test's capture only.
    void Start()
    {
        service_.OnStart();
        FFRTUtils::SubmitTaskSync([] {});
    }

    const Tests::LogCapture log_;
    const std::shared_ptr<EventLines> events_ = std::make_shared<EventLines>();
    Tests::InstalledRegistry registry_;
    DistNetService& service_ = DistNetService::GetInstance();
};

}  // namespace Vexo::NetManagerStandard
