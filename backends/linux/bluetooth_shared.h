// BluetoothShared: the values that the Bluetooth transport and the Bluetooth channel of one device share, and the state
// of Bluetooth on that device. Any thread may use it. No call blocks. Made in bluetooth.cpp.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "backends/linux/bluetooth_address.h"
#include "backends/linux/presence.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Linux {

// The state of Bluetooth on this device.
struct BluetoothState {
    Presence presence;   // the reason is one sentence
    std::string advice;  // what the user can do; empty when nothing is wrong

    bool operator==(const BluetoothState&) const = default;
};

class BluetoothShared : public NoCopyable {
public:
    // The transport sets the channel number that it listens on; 0: it does not listen.
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
    // The channel sets the address of the adapter in use; all 0 before it has found one.
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
