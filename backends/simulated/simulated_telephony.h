// SimulatedCoreService (ability 4010) and SimulatedCellularData (4011): the SIMs and modems of a simulated device. Any
// thread may call them. The callback of a radio state query runs on a pool thread, never inside the call, and exactly
// once for each accepted query.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "backends/simulated/live_state.h"
#include "platform/base/mutex.h"
#include "platform/ipc/iremote_object.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"
#include "platform/telephony/core_service_client.h"

namespace Vexo::Simulated {

class SimulatedCoreService : public IPCObjectStub, public Telephony::ICoreService {
public:
    // Stop() must be called before the last reference is released.
    explicit SimulatedCoreService(std::shared_ptr<LiveState> live) : live_(std::move(live)) {}
    ~SimulatedCoreService() override;

    int32_t GetSimState(int32_t slotId, Telephony::SimState& state) override;
    int32_t GetRadioState(int32_t slotId, const sptr<Telephony::INetworkSearchCallback>& callback) override;

    // Answers open queries with the error TELEPHONY_NO_ANSWER and refuses new queries. Does not wait for the callbacks.
    void Stop();

private:
    struct Query {
        sptr<Telephony::INetworkSearchCallback> callback;
        int32_t slotId = 0;
        Tasks::Timer timer;
    };

    void Answer(uint64_t queryId, int32_t errorCode);

    const std::shared_ptr<LiveState> live_;

    Mutex mutex_;
    std::map<uint64_t, Query> open_ GUARDED_BY(mutex_);
    uint64_t lastQueryId_ GUARDED_BY(mutex_) = 0;
    bool stopped_ GUARDED_BY(mutex_) = false;

    Tasks::Strand strand_;  // own synchronisation
};

class SimulatedCellularData : public IPCObjectStub, public Telephony::ICellularData {
public:
    explicit SimulatedCellularData(std::shared_ptr<LiveState> live) : live_(std::move(live)) {}

    int32_t IsCellularDataEnabled(bool& enabled) override;

private:
    const std::shared_ptr<LiveState> live_;
};

}  // namespace Vexo::Simulated
