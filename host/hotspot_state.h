// HotspotState: asks the radio whether this device's hotspot is on, and gives up after 200 ms, so that a radio that
// hangs does not block the caller. Any thread.
#pragma once

#include <memory>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

class HotspotState {
public:
    // Blocks for at most 200 ms. Does not start a second query while an earlier one is unanswered.
    HotspotStatus Ask();

private:
    struct Query;
    const std::shared_ptr<Query> query_ = MakeQuery();

    static std::shared_ptr<Query> MakeQuery();
};

}  // namespace Vexo::Host
