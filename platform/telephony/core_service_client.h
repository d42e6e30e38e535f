// CoreServiceClient and CellularDataClient: SIM, radio and mobile data of this device. Calls are forwarded to the
// abilities that a backend registers as 4010 (ICoreService) and 4011 (ICellularData); without them they return
// TELEPHONY_UNAVAILABLE. Any thread. A call blocks at most 700 ms, or 10 s if the modem does not answer at all. The
// radio state is delivered later, to the callback, exactly once.
#pragma once

#include <cstdint>

#include "platform/telephony/network_search_callback.h"

namespace Vexo::Telephony {

// Results of telephony calls; 0 is success.
enum TelephonyResult : int32_t {
    TELEPHONY_OK = 0,
    TELEPHONY_UNAVAILABLE = 1,  // no such service on this device
    TELEPHONY_NO_SUCH_SLOT = 2,
    TELEPHONY_NO_ANSWER = 3,  // the modem did not answer in time
    TELEPHONY_INVALID_ARGUMENT = 4,
};

enum class SimState : int32_t { UNKNOWN = 0, NOT_PRESENT = 1, LOCKED = 2, NOT_READY = 3, READY = 4, LOADED = 5 };

inline constexpr int32_t SIM_SLOT_COUNT = 2;

// The interfaces of abilities 4010 and 4011, to which the clients forward. Same contracts.
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
    // Returns 0 if the callback will be called.
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
