// RadioAnswer: records the answer to one radio query. It stores the state of the radio, the error code, the thread of
// the callback and the number of callbacks. Any thread may call it.
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
