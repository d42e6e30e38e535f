// IpcConnection: a client's connection to a daemon's socket. RemoteProxy: an IRemoteObject that sends requests through
// a connection to one ability (a service object that is registered under a number). The requests of one connection are
// sent one at a time; a second caller waits. Every call has a time limit. If the limit passes after the request was
// sent, the connection is closed, because a late reply could be mistaken for the reply to the next one. Thread-safe.
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
    // Connects to the socket. Blocks at most 5 s while the listener is busy. The error names the socket and the cause,
    // such as "nobody listens".
    [[nodiscard]] static Result<std::shared_ptr<IpcConnection>> Connect(const std::string& socketPath);

    // Sends one request and blocks until its reply arrives. Returns the reply's status, IPC_CLOSED, IPC_TIMED_OUT or
    // IPC_BAD_DATAGRAM. limit: the longest time of the call, including the wait for earlier callers. A call may exceed
    // its limit by 2 ms. If the limit passes before the request is sent, the connection stays open.
    int32_t Transact(uint32_t abilityId, uint32_t code, const MessageParcel& data, MessageParcel& reply,
                     std::chrono::milliseconds limit);
    // Returns false if the client or the server has closed the connection. Does not block.
    bool IsOpen() const;
    // Closes the connection. A running Transact returns IPC_CLOSED. Does not block.
    void Close();

private:
    explicit IpcConnection(UniqueFd socket);

    int32_t Exchange(int socket, const IpcHeader& request, const MessageParcel& data, MessageParcel& reply,
                     SteadyTime deadline);
    int32_t Receive(int socket, uint32_t abilityId, MessageParcel& reply, SteadyTime deadline);
    void LimitReceive(int socket, std::chrono::microseconds remaining);

    mutable Mutex mutex_;
    CondVar idle_;
    bool busy_ GUARDED_BY(mutex_) = false;    // a call runs, and only this call may close the socket
    bool closed_ GUARDED_BY(mutex_) = false;  // no call may start; a running call closes the socket
    UniqueFd socket_ GUARDED_BY(mutex_);
    // Only the running call uses the members below.
    std::unique_ptr<uint8_t[]> buffer_;           // for one datagram; allocated by the first call
    std::chrono::microseconds receiveLimit_{-1};  // the receive limit of the socket; -1: not set yet
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
