// FakePeerPolicy: returns the answer that the test sets, and records each call in a trail as "admit <network id>" or
// "refused <network id> <value>". Any thread may call it.
#pragma once

#include <atomic>
#include <string>

#include "platform/softbus/peer_policy.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

class FakePeerPolicy : public SoftBus::PeerPolicy, public Trail<std::string> {
public:
    static constexpr std::string_view REQUEST = "do something";  // the only message that IsRequest accepts

    std::atomic<SoftBus::PeerRefusal> answer{SoftBus::PeerRefusal::NONE};

    SoftBus::PeerRefusal Admit(const std::string& networkId) override
    {
        Add("admit " + networkId);
        return answer;
    }
    bool IsRequest(std::string_view message) const override { return message == REQUEST; }
    void OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why) override
    {
        Add("refused " + networkId + " " + std::to_string(static_cast<int>(why)));
    }
};

}  // namespace Vexo::Tests
