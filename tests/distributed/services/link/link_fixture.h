// LinkTest: the service's end of the link, on a soft bus that a test controls.
#pragma once

#include <gmock/gmock.h>

#include "distributed/services/link/soft_bus_adapter.h"
#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_soft_bus.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {

inline constexpr int SESSION = 7;  // what FakeSoftBus answers
inline const std::string SEND = "send 7 ";
inline const std::string CLOSE = "close 7";
inline const std::string REQUEST("\x03\x02\x00", 3);

class LinkTest : public testing::Test {
protected:
    // Runs answer, once, when the request that follows waits for its result.
    void WhenRequestWaits(const std::function<void()>& answer)
    {
        softBus_->onSend = [this, answer] {
            log_.WaitFor(" SendStartHotspotMessage wait result", ++requests_);
            answer();
        };
    }

    const Tests::LogCapture log_;
    size_t requests_ = 0;
    Tests::InstalledRegistry registry_;
    const sptr<Tests::FakeSoftBus> softBus_ = registry_.Add<Tests::FakeSoftBus>(SOFTBUS_SERVER_SA_ID);
    const std::shared_ptr<SoftBusAdapter> adapter_ = SoftBusAdapter::GetInstance();
    const int32_t served_ = adapter_->CreateSoftBusSessionServer();
};

}  // namespace Vexo::NetManagerStandard
