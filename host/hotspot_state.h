// HotspotState: whether this device's hotspot is open, asked so that a radio that does not answer holds nobody up. Any
// thread.
#pragma once

#include <memory>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

class HotspotState {
public:
    // Blocks for at most 200 ms. A radio that takes longer is asked no second time before it has answered.
    HotspotStatus Ask();

private:
    struct Query;
    const std::shared_ptr<Query> query_ = MakeQuery();

    static std::shared_ptr<Query> MakeQuery();
};

}  // namespace Vexo::Host
