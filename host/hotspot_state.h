// HotspotState: whether this device's hotspot is open, asked so that a radio that does not answer holds nobody up. Any
// thread.
#pragma once

#include <memory>
#include <optional>

namespace Vexo::Host {

struct HotspotNow {
    bool present = false;        // the device has a hotspot ability
    std::optional<bool> active;  // none: it did not say, or not in time
};

class HotspotState {
public:
    // Blocks for at most 200 ms. A radio that takes longer is asked no second time before it has answered.
    HotspotNow Ask();

private:
    struct Query;
    const std::shared_ptr<Query> query_ = MakeQuery();

    static std::shared_ptr<Query> MakeQuery();
};

}  // namespace Vexo::Host
