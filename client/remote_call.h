// RemoteCall: sends a request over a connection, waits for the answer, and turns each failure into a CallResult with a
// message that a person can act on. Not thread-safe: DistNetClient (distnet_client.h) locks its mutex before each call.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "client/distnet_client.h"
#include "platform/ipc/ipc_client.h"

namespace Vexo::Client {

class RemoteCall {
public:
    struct Target {
        int32_t abilityId;
        uint32_t code;
        const std::u16string& descriptor;
    };
    // Writes the arguments after the interface token. Returns false if the arguments do not fit into one request.
    using Writer = std::function<bool(MessageParcel& data)>;
    // Reads the result code and the values that follow it. Returns false if the reply cannot be decoded.
    using Reader = std::function<bool(MessageParcel& reply, int32_t& code)>;

    RemoteCall(std::shared_ptr<Ipc::IpcConnection> connection, std::string socketPath);

    // Sends the request and blocks until the answer arrives. limit: the longest time to block.
    CallResult Run(const Target& target, const Writer& write, const Reader& read, std::chrono::milliseconds limit);
    // Returns the result for an answer that arrived but cannot be decoded. problem: why the answer cannot be decoded.
    CallResult Unreadable(const std::string& problem) const;
    bool IsOpen() const { return connection_->IsOpen(); }
    void Close() { connection_->Close(); }

private:
    CallResult FromStatus(int32_t status, MessageParcel& reply, const Reader& read,
                          std::chrono::milliseconds limit) const;
    CallResult FromRefusal(int32_t status, MessageParcel& reply) const;

    const std::shared_ptr<Ipc::IpcConnection> connection_;
    const std::string socketPath_;
};

}  // namespace Vexo::Client
