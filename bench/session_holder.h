// SessionHolder: a device of the account that runs inside the benchmark and keeps sessions to real daemons open. One
// object per process, because the callbacks of a session server have no context.
#pragma once

#include <string>
#include <vector>

#include "platform/softbus/softbus_server.h"
#include "tests/end_to_end/world.h"

namespace Vexo::Bench {

class SessionHolder {
public:
    // device: an enrolled device whose daemon does not run.
    SessionHolder(const EndToEnd::World& world, const EndToEnd::Device& device);
    ~SessionHolder();
    SessionHolder(const SessionHolder&) = delete;
    SessionHolder& operator=(const SessionHolder&) = delete;

    // Waits until this device has found that device.
    void Find(const EndToEnd::Device& device) const;
    // Opens sessions to the collaboration framework of that device at the same time, and waits until all are open.
    // Returns how long that takes, in microseconds.
    double Open(const std::string& networkId, int count);
    void CloseAll();

private:
    sptr<SoftBus::SoftBusServer> bus_;
    std::vector<int> sessions_;
};

}  // namespace Vexo::Bench
