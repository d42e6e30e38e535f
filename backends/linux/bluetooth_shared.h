// BluetoothShared: the values that the Bluetooth transport and the Bluetooth channel of this device share, such as the
// state of Bluetooth. It also counts the connections with each other device, so that the channel can disconnect radio
// links that are no longer used. Any thread may use it. No call blocks. Created in bluetooth.cpp.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "backends/linux/bluetooth_address.h"
#include "backends/linux/presence.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Linux {

struct BluetoothState {
    Presence presence;   // Presence::reason is one sentence
    std::string advice;  // what the user can do; empty when nothing is wrong

    bool operator==(const BluetoothState&) const = default;
};

class BluetoothShared : public std::enable_shared_from_this<BluetoothShared>, public NoCopyable {
public:
    // Sets the channel number (PSM) on which the transport listens. Called by the transport. 0: the transport does not
    // listen.
    void SetPsm(uint16_t psm) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        psm_ = psm;
    }
    uint16_t Psm() const EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return psm_;
    }
    // Sets the address of the adapter in use. Called by the channel. Before the first call, Adapter() returns the
    // default address, which means any adapter.
    void SetAdapter(const BluetoothAddress& address) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        adapter_ = address;
    }
    BluetoothAddress Adapter() const EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return adapter_;
    }
    void SetState(BluetoothState state) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        state_ = std::move(state);
    }
    BluetoothState State() const EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return state_;
    }

    enum class OpenedBy { THIS_DEVICE, OTHER };

    // Counts a connection with another device, or an attempt to connect, until the returned object is destroyed. Any
    // thread may destroy that object. device: the device's address in the form of DeviceOf.
    std::shared_ptr<void> AddUse(const std::string& device, OpenedBy openedBy) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        Uses& uses = uses_[device];
        ++uses.count;
        uses.isOpener = uses.isOpener || openedBy == OpenedBy::THIS_DEVICE;
        unused_.erase(device);
        return {this, [self = shared_from_this(), device](void*) { self->EndUse(device); }};
    }
    bool IsUsed(const std::string& device) const EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return uses_.contains(device);
    }
    // Returns the devices to which this device opened a connection and whose last connection has ended since the
    // previous call.
    std::set<std::string> TakeUnused() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        return std::exchange(unused_, {});
    }
    // Until the returned object is destroyed, only the caller manages the radio links and sets the state. Returns null
    // if another channel does so already.
    std::shared_ptr<void> ClaimUpkeep() EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        if (!upkeep_.expired()) {
            return nullptr;
        }
        auto claim = std::make_shared<int>();
        upkeep_ = claim;
        return claim;
    }
    // Sets the callback that runs when TakeUnused has a new device to return. It runs on the thread that ended the last
    // connection, with no lock held. A callback that was replaced may run once more.
    void SetOnUnused(std::function<void()> onUnused) EXCLUDES(mutex_)
    {
        const MutexLock lock(mutex_);
        onUnused_ = std::move(onUnused);
    }

private:
    struct Uses {
        int count = 0;
        bool isOpener = false;  // this device opened one of the connections
    };

    void EndUse(const std::string& device) EXCLUDES(mutex_)
    {
        MutexLock lock(mutex_);
        const auto uses = uses_.find(device);
        if (--uses->second.count > 0) {
            return;
        }
        const bool isOpener = uses->second.isOpener;
        uses_.erase(uses);
        if (!isOpener) {
            return;  // the other device opened the radio link and disconnects it
        }
        unused_.insert(device);
        const auto onUnused = onUnused_;
        lock.Unlock();
        if (onUnused) {
            onUnused();
        }
    }

    mutable Mutex mutex_;
    uint16_t psm_ GUARDED_BY(mutex_) = 0;
    BluetoothAddress adapter_ GUARDED_BY(mutex_);
    BluetoothState state_ GUARDED_BY(mutex_){{false, "Bluetooth is not used before this device is enrolled"},
                                             "distnetctl account --help"};
    std::map<std::string, Uses> uses_ GUARDED_BY(mutex_);  // keyed by device; each count is above 0
    std::set<std::string> unused_ GUARDED_BY(mutex_);
    std::weak_ptr<void> upkeep_ GUARDED_BY(mutex_);
    std::function<void()> onUnused_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Linux
