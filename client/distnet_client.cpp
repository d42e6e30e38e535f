#include "client/distnet_client.h"

#include <utility>

#include "client/remote_call.h"
#include "distributed/services/service/i_distnet_service.h"
#include "distributed/services/utils/distnet_errors.h"
#include "interfaces/account_answers_json.h"
#include "interfaces/host_answers_json.h"
#include "interfaces/i_distnet_host.h"
#include "interfaces/online_answers_json.h"
#include "interfaces/sharing_answers_json.h"
#include "platform/ability/ability_ids.h"
#include "platform/base/mutex.h"

namespace Vexo::Client {

namespace {

using Host::HostInterfaceCode;
using NetManagerStandard::DistNetInterfaceCode;

constexpr std::chrono::milliseconds DEFAULT_LIMIT{30'000};
constexpr std::chrono::milliseconds CLOSE_LIMIT{1'000};

// The smallest size of an encoded device, in bytes. An answer that claims more devices than its remaining bytes can
// contain is rejected, so that a hostile answer cannot make this process reserve much memory.
constexpr size_t MIN_DEVICE_SIZE = 48;

bool ReadDevice(MessageParcel& reply, Device& device)
{
    return reply.ReadString(device.deviceId) && reply.ReadString(device.name) && reply.ReadUint16(device.typeId) &&
           reply.ReadString(device.networkId) && reply.ReadInt32(device.range) && reply.ReadInt32(device.networkType) &&
           reply.ReadInt32(device.authForm) && reply.ReadString(device.extraData);
}

bool ReadDevices(MessageParcel& reply, std::vector<Device>& devices)
{
    uint32_t count = 0;
    if (!reply.ReadUint32(count) || count > reply.GetReadableBytes() / MIN_DEVICE_SIZE) {
        return false;
    }
    std::vector<Device> read(count);
    for (Device& device : read) {
        if (!ReadDevice(reply, device)) {
            return false;
        }
    }
    devices = std::move(read);
    return true;
}

}  // namespace

class DistNetClient::Impl {
public:
    explicit Impl(std::shared_ptr<Ipc::IpcConnection> connection, std::string socketPath)
        : call_(std::move(connection), std::move(socketPath))
    {
    }

    void SetLimit(std::chrono::milliseconds limit)
    {
        const MutexLock lock(mutex_);
        limit_ = limit;
    }

    CallResult State(DistNetInterfaceCode code, uint32_t& state)
    {
        const MutexLock lock(mutex_);
        return StateLocked(code, state, limit_);
    }

    CallResult Network(DistNetInterfaceCode code, int32_t first, int32_t second, const std::string& networkId)
    {
        const MutexLock lock(mutex_);
        return Service(
            code,
            [&](MessageParcel& data) {
                return data.WriteInt32(first) && data.WriteInt32(second) && data.WriteString(networkId);
            },
            ReadCodeOnly);
    }

    CallResult Devices(std::vector<Device>& devices)
    {
        const MutexLock lock(mutex_);
        return Service(
            DistNetInterfaceCode::GET_AVAILABLE_DEVICE_LIST, WriteNothing,
            [&](MessageParcel& reply, int32_t& code) { return reply.ReadInt32(code) && ReadDevices(reply, devices); });
    }

    CallResult RemoteInfo(const std::vector<std::string>& items, std::string& json)
    {
        const MutexLock lock(mutex_);
        // This reply has no result code, only the JSON text. An empty JSON text means that the query failed.
        return Service(
            DistNetInterfaceCode::GET_REMOTE_DEVICE_INFO,
            [&](MessageParcel& data) { return data.WriteStringVector(items); },
            [&](MessageParcel& reply, int32_t& code) {
                const bool read = reply.ReadString(json);
                code = json.empty() ? NetManagerStandard::DISTNET_ERR_GENERAL : 0;
                return read;
            });
    }

    // Sends a request to ability 1164. Sets answer only on success. extra: the longest time that the daemon may wait
    // before it answers; added to limit_.
    template <typename Answer>
    CallResult Ask(HostInterfaceCode code, const RemoteCall::Writer& write, Answer& answer,
                   std::chrono::milliseconds extra = {})
    {
        const MutexLock lock(mutex_);
        std::string text;
        CallResult call = call_.Run(
            {DISTNET_HOST_ABILITY_ID, static_cast<uint32_t>(code), Host::IDistNetHost::GetDescriptor()}, write,
            [&](MessageParcel& reply, int32_t& result) {
                return reply.ReadInt32(result) && (result != 0 || reply.ReadString(text));
            },
            limit_ + extra);
        if (!call.Succeeded()) {
            return call;
        }
        auto read = Host::ParseAnswer<Answer>(text);
        if (!read) {
            return call_.Unreadable(read.error().message);
        }
        answer = std::move(read.value());
        return call;
    }

    // Sends a request for a value that has a revision number. The daemon answers when the value's current revision
    // differs from the given revision. wait: the time after which the daemon answers even if the revision is the same.
    template <typename Answer>
    CallResult AskAfter(HostInterfaceCode code, uint32_t revision, std::chrono::milliseconds wait, Answer& answer)
    {
        return Ask(
            code,
            [&](MessageParcel& data) {
                return data.WriteUint32(revision) && data.WriteUint32(static_cast<uint32_t>(wait.count()));
            },
            answer, wait);
    }

    void Close()
    {
        const MutexLock lock(mutex_);
        if (usedService_ && call_.IsOpen()) {
            uint32_t state = 0;
            (void)StateLocked(DistNetInterfaceCode::RELEASE_SERVICE, state, CLOSE_LIMIT);
        }
        call_.Close();
    }

    static bool WriteNothing(MessageParcel&) { return true; }

private:
    static bool ReadCodeOnly(MessageParcel& reply, int32_t& code) { return reply.ReadInt32(code); }

    CallResult StateLocked(DistNetInterfaceCode code, uint32_t& state, std::chrono::milliseconds limit) REQUIRES(mutex_)
    {
        return Service(
            code, WriteNothing,
            [&](MessageParcel& reply, int32_t& result) { return reply.ReadInt32(result) && reply.ReadUint32(state); },
            limit);
    }

    CallResult Service(DistNetInterfaceCode code, const RemoteCall::Writer& write, const RemoteCall::Reader& read)
        REQUIRES(mutex_)
    {
        return Service(code, write, read, limit_);
    }

    CallResult Service(DistNetInterfaceCode code, const RemoteCall::Writer& write, const RemoteCall::Reader& read,
                       std::chrono::milliseconds limit) REQUIRES(mutex_)
    {
        usedService_ = code != DistNetInterfaceCode::RELEASE_SERVICE;
        return call_.Run({COMM_DISTRIBUTED_NET_ABILITY_ID, static_cast<uint32_t>(code),
                          NetManagerStandard::IDistNetService::GetDescriptor()},
                         write, read, limit);
    }

    Mutex mutex_;  // allows one call at a time
    RemoteCall call_ GUARDED_BY(mutex_);
    std::chrono::milliseconds limit_ GUARDED_BY(mutex_) = DEFAULT_LIMIT;
    bool usedService_ GUARDED_BY(mutex_) = false;  // the service counts this process among its clients
};

DistNetClient::DistNetClient(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

DistNetClient::~DistNetClient()
{
    Close();
}

std::unique_ptr<DistNetClient> DistNetClient::Connect(const std::string& socketPath, CallResult& result)
{
    auto connection = Ipc::IpcConnection::Connect(socketPath);
    if (!connection) {
        result = {CallStatus::UNREACHABLE, 0, connection.error().message};
        return nullptr;
    }
    result = {};
    auto impl = std::make_unique<Impl>(std::move(connection.value()), socketPath);
    return std::unique_ptr<DistNetClient>(new DistNetClient(std::move(impl)));
}

void DistNetClient::SetLimit(std::chrono::milliseconds limit)
{
    impl_->SetLimit(limit);
}

CallResult DistNetClient::StartService(uint32_t& state)
{
    return impl_->State(DistNetInterfaceCode::START_SERVICE, state);
}

CallResult DistNetClient::ReleaseService(uint32_t& state)
{
    return impl_->State(DistNetInterfaceCode::RELEASE_SERVICE, state);
}

CallResult DistNetClient::StartDistributedNetwork(int32_t first, int32_t second, const std::string& networkId)
{
    return impl_->Network(DistNetInterfaceCode::START_DISTRIBUTED_NETWORK, first, second, networkId);
}

CallResult DistNetClient::StopDistributedNetwork(int32_t first, int32_t second, const std::string& networkId)
{
    return impl_->Network(DistNetInterfaceCode::STOP_DISTRIBUTED_NETWORK, first, second, networkId);
}

CallResult DistNetClient::GetAvailableDeviceList(std::vector<Device>& devices)
{
    return impl_->Devices(devices);
}

CallResult DistNetClient::GetRemoteDeviceInfo(const std::vector<std::string>& items, std::string& json)
{
    return impl_->RemoteInfo(items, json);
}

CallResult DistNetClient::GetStatus(Host::HostStatus& status)
{
    return impl_->Ask(HostInterfaceCode::GET_STATUS, Impl::WriteNothing, status);
}

CallResult DistNetClient::GetCounts(Host::HostCounts& counts)
{
    return impl_->Ask(HostInterfaceCode::GET_COUNTS, Impl::WriteNothing, counts);
}

CallResult DistNetClient::GetDevices(std::vector<Host::KnownDevice>& devices)
{
    Host::DeviceList list;
    CallResult call = impl_->Ask(HostInterfaceCode::GET_DEVICES, Impl::WriteNothing, list);
    if (call.Succeeded()) {
        devices = std::move(list.devices);
    }
    return call;
}

CallResult DistNetClient::ScanDevices(std::vector<Host::KnownDevice>& devices, std::chrono::milliseconds wait)
{
    Host::DeviceList list;
    CallResult call = impl_->Ask(HostInterfaceCode::SCAN_DEVICES, Impl::WriteNothing, list, wait);
    if (call.Succeeded()) {
        devices = std::move(list.devices);
    }
    return call;
}

CallResult DistNetClient::GetChecks(std::vector<QuviewDFX::HealthCheck>& checks)
{
    Host::CheckList list;
    CallResult call = impl_->Ask(HostInterfaceCode::GET_CHECKS, Impl::WriteNothing, list);
    if (call.Succeeded()) {
        checks = std::move(list.checks);
    }
    return call;
}

CallResult DistNetClient::GetEvents(uint64_t cursor, std::chrono::milliseconds wait, Host::EventPage& page)
{
    return impl_->Ask(
        HostInterfaceCode::GET_EVENTS,
        [&](MessageParcel& data) {
            return data.WriteUint64(cursor) && data.WriteUint32(static_cast<uint32_t>(wait.count()));
        },
        page, wait);
}

CallResult DistNetClient::StartTrace(std::chrono::milliseconds limit, bool detached, uint32_t& recording)
{
    Host::TraceRecording started;
    CallResult call = impl_->Ask(
        HostInterfaceCode::START_TRACE,
        [&](MessageParcel& data) {
            return data.WriteUint32(static_cast<uint32_t>(limit.count())) && data.WriteBool(detached);
        },
        started);
    if (call.Succeeded()) {
        recording = started.recording;
    }
    return call;
}

CallResult DistNetClient::StopTrace(uint32_t recording, uint64_t offset, Host::TracePiece& piece)
{
    return impl_->Ask(
        HostInterfaceCode::STOP_TRACE,
        [&](MessageParcel& data) { return data.WriteUint32(recording) && data.WriteUint64(offset); }, piece);
}

CallResult DistNetClient::WaitForWifi(const Host::WifiStatus& known, std::chrono::milliseconds wait,
                                      Host::WifiStatus& wifi)
{
    return impl_->Ask(
        HostInterfaceCode::WAIT_FOR_WIFI,
        [&](MessageParcel& data) {
            return data.WriteUint32(known.attempt) && data.WriteInt32(static_cast<int32_t>(known.state)) &&
                   data.WriteUint32(static_cast<uint32_t>(wait.count()));
        },
        wifi, wait);
}

CallResult DistNetClient::OpenInvitation(bool admitsWithoutAsking, Host::InvitationAnswer& invitation)
{
    return impl_->Ask(
        HostInterfaceCode::OPEN_INVITATION, [&](MessageParcel& data) { return data.WriteBool(admitsWithoutAsking); },
        invitation, Host::HOST_PERMISSION_LIMIT);
}

CallResult DistNetClient::WaitForInvitation(uint32_t revision, std::chrono::milliseconds wait,
                                            Host::InvitationAnswer& invitation)
{
    return impl_->AskAfter(HostInterfaceCode::WAIT_FOR_INVITATION, revision, wait, invitation);
}

CallResult DistNetClient::AnswerJoiner(const std::string& networkId, bool admit, Host::ChangeAnswer& answer)
{
    return impl_->Ask(
        HostInterfaceCode::ANSWER_JOINER,
        [&](MessageParcel& data) { return data.WriteString(networkId) && data.WriteBool(admit); }, answer);
}

CallResult DistNetClient::CloseInvitation(Host::ChangeAnswer& answer)
{
    return impl_->Ask(HostInterfaceCode::CLOSE_INVITATION, Impl::WriteNothing, answer);
}

CallResult DistNetClient::StartJoin(const std::string& ticket, const std::string& deviceName, Host::JoinAnswer& join)
{
    return impl_->Ask(
        HostInterfaceCode::START_JOIN,
        [&](MessageParcel& data) { return data.WriteString(ticket) && data.WriteString(deviceName); }, join,
        Host::HOST_PERMISSION_LIMIT);
}

CallResult DistNetClient::WaitForJoin(uint32_t revision, std::chrono::milliseconds wait, Host::JoinAnswer& join)
{
    return impl_->AskAfter(HostInterfaceCode::WAIT_FOR_JOIN, revision, wait, join);
}

CallResult DistNetClient::CancelJoin(Host::ChangeAnswer& answer)
{
    return impl_->Ask(HostInterfaceCode::CANCEL_JOIN, Impl::WriteNothing, answer);
}

CallResult DistNetClient::GetMembers(Host::MemberList& list)
{
    return impl_->Ask(HostInterfaceCode::GET_MEMBERS, Impl::WriteNothing, list);
}

CallResult DistNetClient::RenameMember(const std::string& networkId, const std::string& name,
                                       Host::ChangeAnswer& answer)
{
    return impl_->Ask(
        HostInterfaceCode::RENAME_MEMBER,
        [&](MessageParcel& data) { return data.WriteString(networkId) && data.WriteString(name); }, answer,
        Host::HOST_PERMISSION_LIMIT);
}

CallResult DistNetClient::RemoveMember(const std::string& networkId, bool announcesNewKeyOnly,
                                       Host::ChangeAnswer& answer)
{
    return impl_->Ask(
        HostInterfaceCode::REMOVE_MEMBER,
        [&](MessageParcel& data) { return data.WriteString(networkId) && data.WriteBool(announcesNewKeyOnly); }, answer,
        Host::HOST_PERMISSION_LIMIT);
}

CallResult DistNetClient::LeaveAccount(Host::ChangeAnswer& answer)
{
    return impl_->Ask(HostInterfaceCode::LEAVE_ACCOUNT, Impl::WriteNothing, answer, Host::HOST_PERMISSION_LIMIT);
}

CallResult DistNetClient::RenewAccount(Host::ChangeAnswer& answer)
{
    return impl_->Ask(HostInterfaceCode::RENEW_ACCOUNT, Impl::WriteNothing, answer, Host::HOST_PERMISSION_LIMIT);
}

CallResult DistNetClient::TransferAccount(const std::string& networkId, Host::ChangeAnswer& answer)
{
    return impl_->Ask(
        HostInterfaceCode::TRANSFER_ACCOUNT, [&](MessageParcel& data) { return data.WriteString(networkId); }, answer,
        Host::HOST_PERMISSION_LIMIT);
}

namespace {

bool WriteIds(MessageParcel& data, const std::vector<std::string>& networkIds)
{
    bool isWritten = data.WriteUint32(static_cast<uint32_t>(networkIds.size()));
    for (const std::string& networkId : networkIds) {
        isWritten = isWritten && data.WriteString(networkId);
    }
    return isWritten;
}

}  // namespace

CallResult DistNetClient::BeginOnline(Host::OnlineMode mode, const std::vector<std::string>& networkIds,
                                      Host::OnlineAnswer& attempt)
{
    return impl_->Ask(
        HostInterfaceCode::BEGIN_ONLINE,
        [&](MessageParcel& data) {
            return data.WriteUint32(static_cast<uint32_t>(mode)) && WriteIds(data, networkIds);
        },
        attempt);
}

CallResult DistNetClient::WaitForOnline(uint32_t revision, std::chrono::milliseconds wait, Host::OnlineAnswer& attempt)
{
    return impl_->AskAfter(HostInterfaceCode::WAIT_FOR_ONLINE, revision, wait, attempt);
}

CallResult DistNetClient::CancelOnline(bool hasTimedOut, Host::OnlineAnswer& attempt)
{
    return impl_->Ask(
        HostInterfaceCode::CANCEL_ONLINE, [&](MessageParcel& data) { return data.WriteBool(hasTimedOut); }, attempt,
        Host::ONLINE_UNDO_LIMIT);
}

CallResult DistNetClient::BringDown(Host::DownAnswer& down)
{
    return impl_->Ask(HostInterfaceCode::BRING_DOWN, Impl::WriteNothing, down, Host::ONLINE_UNDO_LIMIT);
}

CallResult DistNetClient::GetOnline(Host::OnlineStatus& status)
{
    return impl_->Ask(HostInterfaceCode::GET_ONLINE, Impl::WriteNothing, status);
}

CallResult DistNetClient::SetAuto(bool isOn, Host::OnlineChange& answer)
{
    return impl_->Ask(
        HostInterfaceCode::SET_AUTO, [&](MessageParcel& data) { return data.WriteBool(isOn); }, answer);
}

CallResult DistNetClient::SetPreferred(const std::vector<std::string>& networkIds, Host::OnlineChange& answer)
{
    return impl_->Ask(
        HostInterfaceCode::SET_PREFERRED, [&](MessageParcel& data) { return WriteIds(data, networkIds); }, answer);
}

CallResult DistNetClient::GetSharing(Host::ShareStatus& status)
{
    return impl_->Ask(HostInterfaceCode::GET_SHARING, Impl::WriteNothing, status);
}

CallResult DistNetClient::AnswerShareRequest(const std::string& networkId, Host::ShareDecision decision,
                                             Host::ShareChange& answer)
{
    return impl_->Ask(
        HostInterfaceCode::ANSWER_SHARE_REQUEST,
        [&](MessageParcel& data) {
            return data.WriteString(networkId) && data.WriteUint32(static_cast<uint32_t>(decision));
        },
        answer);
}

void DistNetClient::Close()
{
    impl_->Close();
}

}  // namespace Vexo::Client
