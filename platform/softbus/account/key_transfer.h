// KeyTransfer: sends the account's private key to another member. It connects, sends HELLO and the key, and waits until
// the member has stored the key. StateExchange is the receiving side. Used on the reactor thread. No call blocks.
// Next: trust/key_transfer.h (the order of steps that never loses the key).
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/softbus/link/dial.h"

namespace Vexo::SoftBus {

class KeyTransfer : public LinkOwner, public std::enable_shared_from_this<KeyTransfer>, public NoCopyable {
public:
    // Called once, never inside Start. UNAVAILABLE: the member was not reached. REFUSED: it did not store the key.
    using Done = std::function<void(Result<void> result)>;

    KeyTransfer(ReactorContext& context, std::string networkId, std::string key, Done done);
    ~KeyTransfer() override;

    void Start();

    void OnFrame(FrameKind kind, std::string payload) override;
    void OnEnded(LinkEnd end, const std::string& why) override;

private:
    void OnDialEnded(const DialResult& result);
    void Finish(Result<void> result);

    ReactorContext& context_;
    const std::string networkId_;
    std::string key_;  // secret
    Done done_;
    std::shared_ptr<Dial> dial_;
    std::shared_ptr<Link> link_;
    PeerAddress where_;
    bool hasSent_ = false;
};

}  // namespace Vexo::SoftBus
