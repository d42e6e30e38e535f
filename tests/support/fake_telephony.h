// FakeCoreService (4010) and FakeCellularData (4011): SIM, radio and mobile data as a test sets them before use.
#pragma once

#include <array>
#include <thread>
#include <vector>

#include "platform/ipc/iremote_object.h"
#include "platform/telephony/core_service_client.h"

namespace Vexo::Tests {

class FakeCoreService : public IPCObjectStub, public Telephony::ICoreService {
public:
    struct Radio {
        int32_t queryResult = 0;
        bool answers = true;
        bool isOn = false;
        int32_t errorCode = 0;
    };
    std::array<Telephony::SimState, Telephony::SIM_SLOT_COUNT> sims{};
    std::array<Radio, Telephony::SIM_SLOT_COUNT> radios{};
    sptr<Telephony::INetworkSearchCallback> lastCallback;

    int32_t GetSimState(int32_t slotId, Telephony::SimState& state) override
    {
        state = sims.at(static_cast<size_t>(slotId));
        return 0;
    }
    int32_t GetRadioState(int32_t slotId, const sptr<Telephony::INetworkSearchCallback>& callback) override
    {
        lastCallback = callback;
        const Radio radio = radios.at(static_cast<size_t>(slotId));
        if (radio.queryResult == 0 && radio.answers) {
            answers_.emplace_back(
                [callback, radio] { callback->OnGetRadioStateCallback(radio.isOn, radio.errorCode); });
        }
        return radio.queryResult;
    }

private:
    std::vector<std::jthread> answers_;
};

class FakeCellularData : public IPCObjectStub, public Telephony::ICellularData {
public:
    int32_t result = 0;
    bool isEnabled = false;

    int32_t IsCellularDataEnabled(bool& enabled) override
    {
        enabled = isEnabled;
        return result;
    }
};

}  // namespace Vexo::Tests
