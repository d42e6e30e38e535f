// DistNetServiceStub: the receiving side of IDistNetService. For each request, it first checks the interface token, the
// caller's system-app flag and the caller's permission. Then it adds the caller's process to the set of clients. (A
// release request removes the process from the set.) Then it reads the arguments, calls the operation and writes the
// reply. The stub runs on IPC worker threads and handles several requests at once. Parcel layouts: docs/ipc.md.
// Operations: distnet_service.h. Codes: distnet_errors.h.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "distributed/services/service/i_distnet_service.h"
#include "platform/base/mutex.h"
#include "platform/ipc/iremote_object.h"
#include "platform/ipc/parcel.h"

namespace Vexo::NetManagerStandard {

class DistNetServiceStub : public IRemoteStub<IDistNetService> {
public:
    // Blocks until the requested operation returns. Returns 0 or a DistNetResult. For a refused or unknown request,
    // returns the result of the platform's default handler. The reply to a refused request contains the error code.
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

protected:
    // Returns true if at least one process has sent a request and has not sent a release request since then.
    bool HasClients();

private:
    struct PermissionAndUid {
        std::set<std::string> permissions;
        std::set<uint32_t> uids;  // never read
    };
    using RequestHandler = int32_t (DistNetServiceStub::*)(MessageParcel& data, MessageParcel& reply);

    static bool CheckSystemApp();
    static bool CheckPermission(const std::set<std::string>& permissions);
    static bool CheckPermissionWithCache(const std::set<std::string>& permissions);
    int32_t OnDescriptorMismatch(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
    int32_t OnPermissionDenied(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
    int32_t Refuse(int32_t reason, uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
    void RecordClient(uint32_t code);

    int32_t OnStartService(MessageParcel& data, MessageParcel& reply);
    int32_t OnReleaseService(MessageParcel& data, MessageParcel& reply);
    int32_t OnStartDistributedNetwork(MessageParcel& data, MessageParcel& reply);
    int32_t OnStopDistributedNetwork(MessageParcel& data, MessageParcel& reply);
    int32_t OngetAvailableDeviceList(MessageParcel& data, MessageParcel& reply);
    int32_t OnGetRemoteDeviceInfo(MessageParcel& data, MessageParcel& reply);
    int32_t DmDeviceInfoMarshalling(MessageParcel& reply, const std::vector<DmDeviceInfo>& deviceList);

    static const PermissionAndUid originPermissionAndUid_;
    static const std::map<uint32_t, std::pair<RequestHandler, PermissionAndUid>> memberFuncMap_;

    Mutex clientPidsMutex_;
    std::set<int32_t> clientPids_ GUARDED_BY(clientPidsMutex_);
};

}  // namespace Vexo::NetManagerStandard
