// IpcConnection: a client's connection to a daemon's socket; RemoteProxy: one ability behind it as an IRemoteObject.
// Requests of one connection are sent one at a time (a second caller waits); every call has a limit, after which the
// connection is closed, since a late reply could no longer be told from the next one's. Any thread.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/ipc/iremote_object.h"

namespace Vexo::Ipc {

class IpcConnection : public NoCopyable {
public:
    // The error names the socket and the cause ("no such file", "nobody listens", "permission denied").
    static Result<std::shared_ptr<IpcConnection>> Connect(const std::string& socketPath);

    // Sends one request and waits for its reply. Returns the reply's status, IPC_CLOSED, IPC_TIMED_OUT or IPC_BAD_DATAGRAM.
    int32_t Transact(uint32_t abilityId, uint32_t code, const MessageParcel& data, MessageParcel& reply,
                     std::chrono::milliseconds limit);
    bool IsOpen() const;
    void Close();

private:
    explicit IpcConnection(UniqueFd socket);

    mutable Mutex mutex_;
    UniqueFd socket_ GUARDED_BY(mutex_);
};

class RemoteProxy : public IRemoteObject {
public:
    RemoteProxy(std::shared_ptr<IpcConnection> connection, uint32_t abilityId, std::chrono::milliseconds limit);
    int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    const std::shared_ptr<IpcConnection> connection_;
    const uint32_t abilityId_;
    const std::chrono::milliseconds limit_;
};

}  // namespace Vexo::Ipc
