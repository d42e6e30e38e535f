// IRemoteObject, IRemoteBroker and the stubs: the two sides of a remote interface. A caller holds an IRemoteObject and
// sends it requests; a stub receives them in OnRemoteRequest on an IPC worker, several at once.
// An interface I derives from IRemoteBroker and declares its name with DECLARE_INTERFACE_DESCRIPTOR; a class that
// implements it derives from IRemoteStub<I>. Threads and identity of the caller: platform/ipc/ipc_skeleton.h.
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
    // Blocks until the reply arrives. Returns what OnRemoteRequest of the other side returned, or an IpcStatus.
    virtual int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) = 0;
    const std::u16string& GetObjectDescriptor() const { return descriptor_; }

protected:
    explicit IRemoteObject(std::u16string descriptor) : descriptor_(std::move(descriptor)) {}

private:
    const std::u16string descriptor_;
};

class IRemoteBroker : public virtual RefBase {
public:
    // Returns the object to publish, or to send requests to.
    virtual sptr<IRemoteObject> AsObject() = 0;
};

#define DECLARE_INTERFACE_DESCRIPTOR(DESCRIPTOR)                    \
    static inline const std::u16string metaDescriptor_{DESCRIPTOR}; \
    static const std::u16string& GetDescriptor()                    \
    {                                                               \
        return metaDescriptor_;                                     \
    }

// The receiving side. A request from inside the process runs OnRemoteRequest on the calling thread; its caller is then
// the process itself.
class IPCObjectStub : public IRemoteObject {
public:
    explicit IPCObjectStub(std::u16string descriptor = {}) : IRemoteObject(std::move(descriptor)) {}

    int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;
    // Reads and writes nothing and returns IPC_UNKNOWN_REQUEST.
    virtual int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
};

template <typename Interface>
class IRemoteStub : public IPCObjectStub, public Interface {
public:
    IRemoteStub() : IPCObjectStub(Interface::GetDescriptor()) {}
    sptr<IRemoteObject> AsObject() override { return sptr<IRemoteObject>(this); }
};

}  // namespace Vexo
