#include "host/wifi_status.h"

#include "platform/ability/ability_ids.h"
#include "platform/base/utf8.h"
#include "platform/wifi/wifi_device.h"

namespace Vexo::Host {

static_assert(static_cast<int32_t>(WifiState::DISCONNECTED) == static_cast<int32_t>(Wifi::WifiLinkState::DISCONNECTED));

WifiStatus WifiStatusOf(const Wifi::WifiLinkInfo& info, RadioState radio)
{
    return {true,
            radio,
            static_cast<WifiState>(info.state),
            info.attempt,
            EscapeBytes(info.ssid),
            info.address,
            info.reason,
            info.failure};
}

WifiStatus CurrentWifiStatus(const std::function<RadioState()>& radio)
{
    const auto wifi = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID);
    return wifi ? WifiStatusOf(wifi->GetLinkInfo(), radio()) : WifiStatus();
}

WifiStatus WaitForWifiStatus(const WifiStatus& known, std::chrono::milliseconds limit,
                             const std::function<RadioState()>& radio)
{
    const auto wifi = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID);
    if (!wifi) {
        return {};
    }
    Wifi::WifiLinkInfo before;
    before.attempt = known.attempt;
    before.state = static_cast<Wifi::WifiLinkState>(known.state);
    return WifiStatusOf(wifi->WaitForChange(before, limit), radio());
}

}  // namespace Vexo::Host
