// IpcConnection: a client's connection to a daemon's socket; RemoteProxy: one ability behind it as an IRemoteObject.
// Requests of one connection are sent one at a time (a second caller waits); every call has a limit, after which the
// connection is closed, since a late reply could no longer be told from the next one's. Any thread.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/ipc/iremote_object.h"
#include "platform/ipc/wire.h"

namespace Vexo::Ipc {

class IpcConnection : public NoCopyable {
public:
    // Waits at most 5 s for a busy listener. The error names the socket and the cause ("no such file", "nobody
    // listens", "permission denied").
    [[nodiscard]] static Result<std::shared_ptr<IpcConnection>> Connect(const std::string& socketPath);

    // Sends one request and waits for its reply; the limit covers the wait for callers before. Returns the reply's
    // status, IPC_CLOSED, IPC_TIMED_OUT or IPC_BAD_DATAGRAM. The connection stays open when the limit passes before
    // anything was sent.
    int32_t Transact(uint32_t abilityId, uint32_t code, const MessageParcel& data, MessageParcel& reply,
                     std::chrono::milliseconds limit);
    // False once closed from either side. Does not block.
    bool IsOpen() const;
    // Does not block. A call that is under way returns IPC_CLOSED.
    void Close();

private:
    explicit IpcConnection(UniqueFd socket);

    int32_t Exchange(int socket, const IpcHeader& request, const MessageParcel& data, MessageParcel& reply,
                     SteadyTime deadline);
    int32_t Receive(int socket, uint32_t abilityId, MessageParcel& reply, SteadyTime deadline);

    mutable Mutex mutex_;
    CondVar idle_;
    bool busy_ GUARDED_BY(mutex_) = false;    // a call is under way; it owns buffer_ and alone closes the socket
    bool closed_ GUARDED_BY(mutex_) = false;  // no further call; the socket goes with the call under way
    UniqueFd socket_ GUARDED_BY(mutex_);
    std::unique_ptr<uint8_t[]> buffer_;  // one datagram; made by the first call
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
