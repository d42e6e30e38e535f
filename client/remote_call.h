// RemoteCall: one request and its answer over a connection, with every way it can fail turned into a CallResult whose
// message a person can act on. Used by DistNetClient (distnet_client.h) under its lock; not thread-safe by itself.
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
    // Writes the arguments after the interface token; false when they do not fit into one request.
    using Writer = std::function<bool(MessageParcel& data)>;
    // Reads the result code and what follows; false when the answer is not what it should be.
    using Reader = std::function<bool(MessageParcel& reply, int32_t& code)>;

    RemoteCall(std::shared_ptr<Ipc::IpcConnection> connection, std::string socketPath);

    // Blocks for at most limit.
    CallResult Run(const Target& target, const Writer& write, const Reader& read, std::chrono::milliseconds limit);
    // Of an answer that came, but is not what it should be: how it is not.
    CallResult Unreadable(const std::string& how) const;
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
