// KeyTransfer: sends the account's private key to another member of the account. It connects, sends HELLO and the key,
// and waits until the member has stored the key. StateExchange implements the receiving side. Used on the reactor
// thread. No call blocks. Next: trust/key_transfer.h (in which order the steps run, so that the key is never lost).
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
    // Called once, never inside Start. Errors: UNAVAILABLE if the member was not reached, REFUSED if the member did not
    // store the key.
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
