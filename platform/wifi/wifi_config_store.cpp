#include "platform/wifi/wifi_config_store.h"

#include <algorithm>

namespace Vexo::Wifi {

std::vector<WifiDeviceConfig> WifiConfigStore::List(bool isCandidate)
{
    MutexLock lock(mutex_);
    std::vector<WifiDeviceConfig> configs;
    for (const Stored& stored : stored_) {
        if (!isCandidate || stored.isCandidate) {
            configs.push_back(stored.config);
        }
    }
    return configs;
}

int WifiConfigStore::Add(const WifiDeviceConfig& config, bool isCandidate)
{
    MutexLock lock(mutex_);
    auto it = Find(config);
    const bool isNew = it == stored_.end();
    const int id = isNew ? nextId_++ : it->config.networkId;
    if (isNew) {
        it = stored_.insert(stored_.end(), Stored{});
    }
    *it = {config, isCandidate};
    it->config.networkId = id;
    return id;
}

WifiDeviceConfig WifiConfigStore::Resolve(const WifiDeviceConfig& config)
{
    MutexLock lock(mutex_);
    const auto it = std::find_if(stored_.begin(), stored_.end(),
                                 [&](const Stored& stored) { return stored.config.networkId == config.networkId; });
    return config.ssid.empty() && it != stored_.end() ? it->config : config;
}

void WifiConfigStore::SetBssid(const WifiDeviceConfig& config, const std::string& bssid)
{
    MutexLock lock(mutex_);
    if (const auto it = Find(config); it != stored_.end()) {
        it->config.bssid = bssid;
    }
}

void WifiConfigStore::Remove(const WifiDeviceConfig& config)
{
    MutexLock lock(mutex_);
    if (const auto it = Find(config); it != stored_.end()) {
        stored_.erase(it);
    }
}

std::vector<WifiConfigStore::Stored>::iterator WifiConfigStore::Find(const WifiDeviceConfig& config)
{
    return std::find_if(stored_.begin(), stored_.end(), [&](const Stored& stored) {
        return stored.config.ssid == config.ssid && stored.config.keyMgmt == config.keyMgmt;
    });
}

}  // namespace Vexo::Wifi
