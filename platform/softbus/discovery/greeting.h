// Greeting: one connection that exchanges HELLO and is then closed, so that both devices know each other. A greeting of
// kind GOODBYE tells a device that this device stops: it sends HELLO, GOODBYE and CLOSE. Used on the reactor thread. No
// call blocks.
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
    DialResult dial{};  // if isGreeted is false: why the dial failed, or how its link ended
};

class Greeting : public LinkOwner, public std::enable_shared_from_this<Greeting>, public NoCopyable {
public:
    using Done = std::function<void(const GreetingResult& result)>;  // called once; never inside Start or after Cancel

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
    bool hasHello_ = false;  // HELLO was received, and the greeting waits for OnStateHandled
};

}  // namespace Vexo::SoftBus
