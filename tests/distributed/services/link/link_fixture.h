// LinkTest: the base class of tests of the service's soft bus sessions. It uses a fake soft bus and a fake Wi-Fi
// device.
#pragma once

#include <gmock/gmock.h>

#include "distributed/services/link/soft_bus_adapter.h"
#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_soft_bus.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/log_capture.h"
#include "tests/support/response_frame.h"

namespace Vexo::NetManagerStandard {

inline constexpr int SESSION = 7;  // the session id that FakeSoftBus returns
inline const std::string SEND = "send 7 ";
inline const std::string CLOSE = "close 7";
inline const std::string DROPPED = " hotspot answer dropped: no request waits for it, sessionId = ";
inline const std::string REQUEST("\x03\x02\x00", 3);

// Returns the frame of an answer in which a peer reports success.
inline std::string AnswerOf(const std::string& ssid)
{
    return Tests::ResponseFrame(R"({"RES": 0, "SSID": ")" + ssid + R"("})");
}

class LinkTest : public testing::Test {
protected:
    void TearDown() override { softBus_->callbacks.Join(); }
    void Receive(const std::string& bytes, int sessionId = SESSION)
    {
        softBus_->listener.OnBytesReceived(sessionId, bytes.data(), static_cast<unsigned int>(bytes.size()));
    }

    const Tests::LogCapture log_;
    Tests::InstalledRegistry registry_;
    const sptr<Tests::FakeSoftBus> softBus_ = registry_.Add<Tests::FakeSoftBus>(SOFTBUS_SERVER_SA_ID);
    const sptr<Tests::FakeWifiDevice> wifi_ = registry_.Add<Tests::FakeWifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID);
    const std::shared_ptr<SoftBusAdapter> adapter_ = SoftBusAdapter::GetInstance();
    const int32_t served_ = adapter_->CreateSoftBusSessionServer();
};

}  // namespace Vexo::NetManagerStandard
