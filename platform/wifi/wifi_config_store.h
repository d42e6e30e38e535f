// WifiConfigStore: stores the configurations that were added to a station. They are kept in memory only, because they
// contain keys. Thread-safe. No call blocks.
#pragma once

#include <optional>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiConfigStore {
public:
    // Returns the stored configurations in the order in which they were first added. isCandidate: if true, returns only
    // the configurations that were added with isCandidate set.
    std::vector<WifiDeviceConfig> List(bool isCandidate);
    // Stores a configuration and returns its id. Ids count from 0. A stored configuration with the same SSID and key
    // management is replaced, and its id is used again.
    int Add(const WifiDeviceConfig& config, bool isCandidate);
    // Returns config unchanged if config.ssid is not empty. Otherwise returns the stored configuration that has the id
    // config.networkId. If no such configuration is stored, returns config unchanged.
    WifiDeviceConfig Resolve(const WifiDeviceConfig& config);
    // Sets the hardware address (bssid) of the stored configuration. Does nothing if config is not stored.
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
