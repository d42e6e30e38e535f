// IRemoteObject, IRemoteBroker and the stubs: the two sides of a remote interface. A caller owns an IRemoteObject and
// sends requests to it. A stub receives the requests in OnRemoteRequest, on several IPC workers at once.
// An interface I derives from IRemoteBroker and declares its name with DECLARE_INTERFACE_DESCRIPTOR. A class that
// implements I derives from IRemoteStub<I>. Threads and identity of the caller: platform/ipc/ipc_skeleton.h.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/base/refbase.h"
#include "platform/ipc/ipc_types.h"
#include "platform/ipc/parcel.h"

namespace Vexo {

class IRemoteObject : public virtual RefBase {
public:
    // Blocks until the reply arrives. Returns the result of the other side's OnRemoteRequest, or an IpcStatus.
    virtual int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) = 0;
    const std::u16string& GetObjectDescriptor() const { return descriptor_; }

protected:
    explicit IRemoteObject(std::u16string descriptor) : descriptor_(std::move(descriptor)) {}

private:
    const std::u16string descriptor_;
};

class IRemoteBroker : public virtual RefBase {
public:
    // Returns the remote object of this interface, for publishing it or for sending requests to it.
    virtual sptr<IRemoteObject> AsObject() = 0;
};

#define DECLARE_INTERFACE_DESCRIPTOR(DESCRIPTOR)                    \
    static inline const std::u16string metaDescriptor_{DESCRIPTOR}; \
    static const std::u16string& GetDescriptor()                    \
    {                                                               \
        return metaDescriptor_;                                     \
    }

// The receiving side of a remote interface. If code of this process calls SendRequest, OnRemoteRequest runs on the
// calling thread. IPCSkeleton then returns this process as the caller.
class IPCObjectStub : public IRemoteObject {
public:
    explicit IPCObjectStub(std::u16string descriptor = {}) : IRemoteObject(std::move(descriptor)) {}

    int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;
    // Returns IPC_UNKNOWN_REQUEST and uses neither parcel. A stub overrides this function.
    virtual int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
};

template <typename Interface>
class IRemoteStub : public IPCObjectStub, public Interface {
public:
    IRemoteStub() : IPCObjectStub(Interface::GetDescriptor()) {}
    sptr<IRemoteObject> AsObject() override { return sptr<IRemoteObject>(this); }
};

}  // namespace Vexo
