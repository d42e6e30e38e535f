// CoreServiceClient and CellularDataClient: report the state of this device's SIM, radio and mobile data. They forward
// each call to the ability 4010 (ICoreService) or 4011 (ICellularData), which a backend registers. A call returns
// TELEPHONY_UNAVAILABLE if that ability is not registered. Thread-safe. A call blocks at most 700 ms, or at most 10 s
// if the modem does not answer. GetRadioState returns before the radio state is known; its callback is then called
// exactly once.
#pragma once

#include <cstdint>

#include "platform/telephony/network_search_callback.h"

namespace Vexo::Telephony {

// Results of telephony calls; 0 is success.
enum TelephonyResult : int32_t {
    TELEPHONY_OK = 0,
    TELEPHONY_UNAVAILABLE = 1,  // the ability is not registered on this device
    TELEPHONY_NO_SUCH_SLOT = 2,
    TELEPHONY_NO_ANSWER = 3,  // the modem did not answer in time
    TELEPHONY_INVALID_ARGUMENT = 4,
};

enum class SimState : int32_t { UNKNOWN = 0, NOT_PRESENT = 1, LOCKED = 2, NOT_READY = 3, READY = 4, LOADED = 5 };

inline constexpr int32_t SIM_SLOT_COUNT = 2;

// ICoreService and ICellularData: the interfaces of abilities 4010 and 4011. Each function has the same contract as the
// function of the client class with the same name.
class ICoreService : public virtual RefBase {
public:
    virtual int32_t GetSimState(int32_t slotId, SimState& state) = 0;
    virtual int32_t GetRadioState(int32_t slotId, const sptr<INetworkSearchCallback>& callback) = 0;
};

class ICellularData : public virtual RefBase {
public:
    virtual int32_t IsCellularDataEnabled(bool& enabled) = 0;
};

class CoreServiceClient {
public:
    static CoreServiceClient& GetInstance();
    int32_t GetSimState(int32_t slotId, SimState& state);
    // Returns 0 if the callback will be called. Returns a TelephonyResult other than 0 if it will not.
    int32_t GetRadioState(int32_t slotId, const sptr<INetworkSearchCallback>& callback);

private:
    CoreServiceClient() = default;
};

class CellularDataClient {
public:
    static CellularDataClient& GetInstance();
    int32_t IsCellularDataEnabled(bool& enabled);

private:
    CellularDataClient() = default;
};

}  // namespace Vexo::Telephony
