#include "host/online/facts_round.h"

#include <utility>
#include <variant>

#include "platform/base/mutex.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {

void AskForFacts(const OnlineOptions& options, const std::shared_ptr<OnlineMemory>& memory,
                 const std::vector<std::string>& networkIds, std::chrono::milliseconds limit)
{
    struct Round {
        Mutex mutex;
        CondVar answered;
        size_t open GUARDED_BY(mutex) = 0;
    };
    const auto round = std::make_shared<Round>();
    const SteadyTime deadline = options.timers->Now() + limit;
    for (const std::string& networkId : networkIds) {
        const auto ask = [round, networkId, deadline, peers = options.peers, memory] {
            const Result<PeerAnswer> answer = peers->Ask(networkId, FactsRequest{}, deadline, nullptr);
            if (const auto* facts = answer ? std::get_if<DeviceFacts>(&answer.value()) : nullptr) {
                DeviceFacts known = *facts;
                known.networkId = networkId;
                memory->SetFacts(std::move(known));
            }
            const MutexLock lock(round->mutex);
            --round->open;
            round->answered.NotifyAll();
        };
        MutexLock lock(round->mutex);
        ++round->open;
        lock.Unlock();
        if (!Tasks::ElasticPool::Shared().Post(ask)) {
            lock.Lock();
            --round->open;
        }
    }
    const MutexLock lock(round->mutex);
    (void)round->answered.WaitFor(round->mutex, limit, [&]() REQUIRES(round->mutex) { return round->open == 0; });
}

}  // namespace Vexo::Host
