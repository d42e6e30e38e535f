// Greeting: connects, exchanges HELLO and closes, so that both devices know each other. A greeting of kind GOODBYE
// connects and sends HELLO, GOODBYE and CLOSE, because this device stops. Used on the reactor thread. No call blocks.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

enum class GreetingKind { HELLO, GOODBYE };

struct GreetingResult {
    bool isGreeted = false;
    DialResult dial{};  // if isGreeted is false: how the dial, or the link after it, ended
};

class Greeting : public LinkOwner, public std::enable_shared_from_this<Greeting>, public NoCopyable {
public:
    using Done = std::function<void(const GreetingResult& result)>;  // once; never inside Start or after Cancel

    Greeting(ReactorContext& context, GreetingKind kind, Done done)
        : context_(context), kind_(kind), done_(std::move(done))
    {
    }

    void Start(DialRequest request);
    void Cancel();

    void OnFrame(FrameKind kind, std::string payload) override;
    void OnStateHandled() override;
    void OnEnded(LinkEnd end, const std::string& why) override;

private:
    void OnDialEnded(const DialResult& result);
    void Finish(const GreetingResult& result);

    ReactorContext& context_;
    const GreetingKind kind_;
    Done done_;
    std::shared_ptr<Dial> dial_;
    std::shared_ptr<Link> link_;
    PeerAddress where_;
    bool hasHello_ = false;  // HELLO was received; waits for OnStateHandled
};

}  // namespace Vexo::SoftBus
