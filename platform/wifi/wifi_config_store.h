// WifiConfigStore: the configurations that were added to a station, in memory only. They contain keys. Any thread. No
// call blocks.
#pragma once

#include <optional>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiConfigStore {
public:
    // Returns the configurations in the order of their ids. isCandidate: only those added with isCandidate.
    std::vector<WifiDeviceConfig> List(bool isCandidate);
    // Stores a configuration and returns its id. Ids count from 0. A configuration with the SSID and key management of
    // a stored one replaces that one and keeps its id.
    int Add(const WifiDeviceConfig& config, bool isCandidate);
    // Returns the configuration that a call refers to: config itself, or the stored one with its id if config has an
    // empty SSID.
    WifiDeviceConfig Resolve(const WifiDeviceConfig& config);
    // Stores the hardware address of the network, if the configuration is stored.
    void SetBssid(const WifiDeviceConfig& config, const std::string& bssid);
    void Remove(const WifiDeviceConfig& config);

private:
    struct Stored {
        WifiDeviceConfig config;
        bool isCandidate = false;
    };
    std::vector<Stored>::iterator Find(const WifiDeviceConfig& config) REQUIRES(mutex_);

    Mutex mutex_;
    std::vector<Stored> stored_ GUARDED_BY(mutex_);
    int nextId_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vexo::Wifi
