// HotspotState: asks the radio whether this device's hotspot is on, and gives up after 200 ms, so that a radio that
// hangs does not block the caller. Any thread may use it.
#pragma once

#include <memory>

#include "interfaces/host_answers.h"

namespace Vexo::Host {

class HotspotState {
public:
    // Returns the status of the hotspot. Blocks for at most 200 ms. Starts no second query while an earlier query is
    // unanswered.
    HotspotStatus Ask();

private:
    struct Query;
    const std::shared_ptr<Query> query_ = MakeQuery();

    static std::shared_ptr<Query> MakeQuery();
};

}  // namespace Vexo::Host
