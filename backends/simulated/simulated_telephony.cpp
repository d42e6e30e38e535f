#include "backends/simulated/simulated_telephony.h"

#include <utility>
#include <vector>

#include "platform/base/check.h"

namespace Vexo::Simulated {
namespace {

bool IsSlot(int32_t slotId)
{
    return slotId >= 0 && slotId < Telephony::SIM_SLOT_COUNT;
}

}  // namespace

SimulatedCoreService::~SimulatedCoreService()
{
    const MutexLock lock(mutex_);
    DISTNET_ASSERT(stopped_, "Stop() is called before the last reference is released");
}

int32_t SimulatedCoreService::GetSimState(int32_t slotId, Telephony::SimState& state)
{
    if (!IsSlot(slotId)) {
        return Telephony::TELEPHONY_NO_SUCH_SLOT;
    }
    const int32_t fault = live_->ApplyFault(PlatformCall::TELEPHONY_SIM_STATE, Telephony::TELEPHONY_NO_ANSWER);
    if (fault == 0) {
        state = live_->Get()->sims[static_cast<size_t>(slotId)];
    }
    return fault;
}

int32_t SimulatedCoreService::GetRadioState(int32_t slotId, const sptr<Telephony::INetworkSearchCallback>& callback)
{
    if (!IsSlot(slotId)) {
        return Telephony::TELEPHONY_NO_SUCH_SLOT;
    }
    if (!callback) {
        return Telephony::TELEPHONY_INVALID_ARGUMENT;
    }
    const int32_t failed = live_->ApplyFault(PlatformCall::TELEPHONY_RADIO_STATE, Telephony::TELEPHONY_NO_ANSWER);
    if (failed != 0) {
        return failed;
    }
    const Fault fault = live_->Get()->FaultOf(PlatformCall::TELEPHONY_RADIO_CALLBACK);
    MutexLock lock(mutex_);
    if (stopped_) {
        return Telephony::TELEPHONY_NO_ANSWER;
    }
    const uint64_t queryId = ++lastQueryId_;
    Query& query = open_[queryId];
    query = {callback, slotId, {}};
    if (fault.noAnswer) {
        return Telephony::TELEPHONY_OK;
    }
    Tasks::Work answer = [self = sptr<SimulatedCoreService>(this), queryId, code = fault.code] {
        self->Answer(queryId, code);
    };
    if (fault.delay.count() == 0) {
        if (!strand_.Post(std::move(answer))) {
            open_.erase(queryId);
            return Telephony::TELEPHONY_NO_ANSWER;
        }
    } else {
        query.timer = Tasks::Timers::System().RunAfter(fault.delay, std::move(answer));
    }
    return Telephony::TELEPHONY_OK;
}

void SimulatedCoreService::Answer(uint64_t queryId, int32_t errorCode)
{
    Query query;
    {
        MutexLock lock(mutex_);
        const auto it = open_.find(queryId);
        if (it == open_.end()) {
            return;
        }
        query = std::move(it->second);
        open_.erase(it);
    }
    const bool isOn = errorCode == 0 && live_->Get()->radio[static_cast<size_t>(query.slotId)];
    query.callback->OnGetRadioStateCallback(isOn, errorCode);
}

void SimulatedCoreService::Stop()
{
    MutexLock lock(mutex_);
    stopped_ = true;
    for (auto& [queryId, query] : open_) {
        query.timer.Cancel();
        strand_.Post([self = sptr<SimulatedCoreService>(this), id = queryId] {
            self->Answer(id, Telephony::TELEPHONY_NO_ANSWER);
        });
    }
}

int32_t SimulatedCellularData::IsCellularDataEnabled(bool& enabled)
{
    const int32_t fault = live_->ApplyFault(PlatformCall::TELEPHONY_CELLULAR_DATA, Telephony::TELEPHONY_NO_ANSWER);
    if (fault == 0) {
        enabled = live_->Get()->cellularData;
    }
    return fault;
}

}  // namespace Vexo::Simulated
