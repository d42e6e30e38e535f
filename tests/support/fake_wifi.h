// FakeWifiHotspot: a fake of ability 1121. FakeWifiDevice: a fake of ability 1120. Set the members before the fakes are
// used.
// FakeWifiDevice records each request to join a network in a trail, such as "add office" and "connect office".
#pragma once

#include <vector>

#include "platform/ipc/iremote_object.h"
#include "platform/wifi/wifi_device.h"
#include "platform/wifi/wifi_hotspot.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

class FakeWifiHotspot : public IPCObjectStub, public Wifi::WifiHotspot {
public:
    bool active = false;
    int32_t enableResult = 0;
    int32_t configResult = 0;
    Wifi::HotspotConfig config;

    int32_t IsHotspotActive(bool& isActive) override
    {
        isActive = active;
        return 0;
    }
    int32_t EnableHotspot(Wifi::ServiceType) override { return enableResult; }
    int32_t DisableHotspot(Wifi::ServiceType) override { return 0; }
    int32_t GetHotspotConfig(Wifi::HotspotConfig& out) override
    {
        out = config;
        return configResult;
    }
};

class FakeWifiDevice : public IPCObjectStub, public Wifi::WifiDevice, public Trail<std::string> {
public:
    std::vector<Wifi::WifiDeviceConfig> stored;

    int32_t GetDeviceConfigs(std::vector<Wifi::WifiDeviceConfig>& configs, bool) override
    {
        configs = stored;
        return 0;
    }
    int32_t AddDeviceConfig(const Wifi::WifiDeviceConfig& config, int&, bool) override
    {
        Add("add " + config.ssid);
        return 0;
    }
    int32_t ConnectToDevice(const Wifi::WifiDeviceConfig& config) override
    {
        Add("connect " + config.ssid);
        return 0;
    }
    Wifi::WifiLinkInfo GetLinkInfo() override { return {}; }
    Wifi::WifiLinkInfo WaitForChange(const Wifi::WifiLinkInfo& known, std::chrono::milliseconds) override
    {
        return known;
    }
};

}  // namespace Vexo::Tests
