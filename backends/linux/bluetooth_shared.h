// BluetoothShared: what the Bluetooth transport and the Bluetooth channel of one device know of each other, and how
// Bluetooth stands there. Any thread; nothing blocks. Who uses it: bluetooth.h.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "backends/linux/bluetooth_address.h"
#include "backends/linux/presence.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Linux {

// How Bluetooth stands on this device.
struct BluetoothState {
    Presence presence;   // the reason is one sentence
    std::string advice;  // how to mend it; empty when nothing is wrong

    bool operator==(const BluetoothState&) const = default;
};

class BluetoothShared : public NoCopyable {
public:
    // The transport's: the channel number where it listens; 0: nowhere.
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
    // The channel's: the address of the adapter in use; all 0 before there was one.
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

private:
    mutable Mutex mutex_;
    uint16_t psm_ GUARDED_BY(mutex_) = 0;
    BluetoothAddress adapter_ GUARDED_BY(mutex_);
    BluetoothState state_ GUARDED_BY(mutex_){{false, "Bluetooth is not used before this device is enrolled"},
                                             "distnetctl account --help"};
};

}  // namespace Vexo::Linux
