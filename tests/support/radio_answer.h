// RadioAnswer: keeps the answer of one radio query: whether it is on and the error code, from which thread it came and
// how often. Any thread.
#pragma once

#include <atomic>
#include <future>
#include <thread>
#include <utility>

#include "platform/telephony/network_search_callback.h"

namespace Vexo::Tests {

class RadioAnswer : public Telephony::INetworkSearchCallbackStub {
public:
    void OnGetRadioStateCallback(bool isOn, int32_t errorCode) override
    {
        thread = std::this_thread::get_id();
        ++calls;
        answer.set_value({isOn, errorCode});
    }
    std::atomic<std::thread::id> thread;
    std::atomic<int> calls{0};
    std::promise<std::pair<bool, int32_t>> answer;
};

}  // namespace Vexo::Tests
