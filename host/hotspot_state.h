// HotspotState: asks the radio whether this device's hotspot is open, and gives up after 200 ms, so that a radio that
// hangs does not block the caller. Any thread.
#pragma once

#include <memory>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

class HotspotState {
public:
    // Blocks for at most 200 ms. While an earlier query is still unanswered, no second one is sent.
    HotspotStatus Ask();

private:
    struct Query;
    const std::shared_ptr<Query> query_ = MakeQuery();

    static std::shared_ptr<Query> MakeQuery();
};

}  // namespace Vexo::Host
