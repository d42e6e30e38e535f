// StartParts: measures the parts of a start one by one, in the benchmark's own process. Their sum is the time that a
// start would take if nothing happened between the parts. One object per process, because the platform's registry and
// the sinks belong to the process.
#pragma once

#include <memory>
#include <semaphore>
#include <string>

#include "backends/simulated/simulated_device.h"
#include "client/distnet_client.h"
#include "platform/ability/system_ability_manager.h"
#include "platform/softbus/softbus_server.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Bench {

class StartParts {
public:
    // client: a connection to a real daemon, which measures the local request. It must outlive the object.
    explicit StartParts(Client::DistNetClient& client);
    ~StartParts();
    StartParts(const StartParts&) = delete;
    StartParts& operator=(const StartParts&) = delete;

    // Measures each part several times and returns the sum of the medians, in microseconds. sessions: how many sessions
    // the start opens. Prints the parts on standard error.
    double Sum(int sessions);

private:
    double LocalRequest();
    // Opens a session between two soft buses with the ticket of the previous one, until the opened callback.
    double OpenSession();
    // Sends a message on an open session and waits for the answer.
    double Exchange(size_t requestBytes, size_t answerBytes);
    double Frame();
    double Radio();
    double Events();

    int Open();

    Client::DistNetClient& client_;
    Trust::Tests::Devices devices_;
    sptr<SystemAbilityManager> abilities_;
    std::unique_ptr<Simulated::SimulatedDevice> radio_;
    sptr<SoftBus::SoftBusServer> phone_;
    sptr<SoftBus::SoftBusServer> laptop_;
};

}  // namespace Vexo::Bench
