// WifiConfigStore: the configurations that a station was given, in memory. Any thread. No call blocks. They hold keys.
#pragma once

#include <optional>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiConfigStore {
public:
    // In the order of their ids; isCandidate: only those that were added so.
    std::vector<WifiDeviceConfig> List(bool isCandidate);
    // The id: ids count from 0; a configuration with the SSID and key management of a stored one replaces it and keeps
    // its id.
    int Add(const WifiDeviceConfig& config, bool isCandidate);
    // What a call means: its own configuration, or with an empty SSID the stored one of its id.
    WifiDeviceConfig Resolve(const WifiDeviceConfig& config);
    // The hardware address of the network was seen.
    void NoteBssid(const WifiDeviceConfig& config, const std::string& bssid);
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
