// Fuzzes the service's decoder of requests, which any local program may send. Byte 0 of an input selects the request.
// Byte 1 says whether the parcel begins with the right interface token (1) or not. The other bytes follow in the
// parcel.
#include <algorithm>
#include <array>

#include "distributed/services/service/distnet_service_stub.h"
#include "fuzz/fuzz_target.h"
#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr size_t CONTROL_BYTES = 2;
constexpr int32_t RESULT = 77;
constexpr std::array CODES{DistNetInterfaceCode::START_SERVICE,
                           DistNetInterfaceCode::RELEASE_SERVICE,
                           DistNetInterfaceCode::START_DISTRIBUTED_NETWORK,
                           DistNetInterfaceCode::STOP_DISTRIBUTED_NETWORK,
                           DistNetInterfaceCode::GET_AVAILABLE_DEVICE_LIST,
                           DistNetInterfaceCode::GET_REMOTE_DEVICE_INFO};

// Stores the arguments of the last call.
class RecordingService : public DistNetServiceStub {
public:
    int calls = 0;
    std::vector<std::string> texts;

    int32_t StartService(uint32_t& state) override { return Record({}, state); }
    int32_t ReleaseService(uint32_t& state) override { return Record({}, state); }
    int32_t StartDistributedNetwork(int32_t, int32_t, const std::string& networkId) override
    {
        return Record({networkId}, ignored_);
    }
    int32_t StopDistributedNetwork(int32_t, int32_t, const std::string& networkId) override
    {
        return Record({networkId}, ignored_);
    }
    int32_t GetAvailableDeviceList(std::vector<DmDeviceInfo>& devices) override
    {
        devices.resize(1);
        return Record({}, ignored_);
    }
    int32_t GetRemoteDeviceInfo(std::vector<std::string> items, std::string& result) override
    {
        result = "{}";
        return Record(std::move(items), ignored_);
    }

private:
    int32_t Record(std::vector<std::string> arguments, uint32_t& state)
    {
        ++calls;
        texts = std::move(arguments);
        state = RESULT;
        return RESULT;
    }

    uint32_t ignored_ = 0;
};

std::string Input(DistNetInterfaceCode code, const MessageParcel& parcel)
{
    const auto place = std::find(CODES.begin(), CODES.end(), code) - CODES.begin();
    return std::string{static_cast<char>(place), '\1'}.append(reinterpret_cast<const char*>(parcel.GetData()),
                                                              parcel.GetDataSize());
}

std::vector<std::string> Samples()
{
    MessageParcel network;
    MessageParcel items;
    const bool written = network.WriteInt32(1) && network.WriteInt32(2) && network.WriteString("0123456789abcdef") &&
                         items.WriteStringVector({"hotspotName", "batteryLevel"});
    Fuzz::Require(written, "the samples fit");
    return {Input(DistNetInterfaceCode::START_SERVICE, {}), Input(DistNetInterfaceCode::GET_AVAILABLE_DEVICE_LIST, {}),
            Input(DistNetInterfaceCode::START_DISTRIBUTED_NETWORK, network),
            Input(DistNetInterfaceCode::GET_REMOTE_DEVICE_INFO, items)};
}

bool Run(std::string_view input)
{
    if (input.size() < CONTROL_BYTES) {
        return false;
    }
    const auto code = static_cast<uint32_t>(CODES[static_cast<uint8_t>(input[0]) % CODES.size()]);
    const bool hasToken = input[1] == 1;
    const std::string_view arguments = input.substr(CONTROL_BYTES);
    MessageParcel token;
    Fuzz::Require(token.WriteInterfaceToken(hasToken ? DistNetServiceStub::GetDescriptor() : u"other"), "it fits");
    std::string bytes(reinterpret_cast<const char*>(token.GetData()), token.GetDataSize());
    bytes += arguments;

    const CallerScope caller(Security::IdentifySelf());
    const sptr<RecordingService> service = MakeSptr<RecordingService>();
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    if (!data.ParseFrom(bytes.data(), bytes.size())) {
        return false;
    }
    const int status = service->OnRemoteRequest(code, data, reply, option);
    Fuzz::Require(service->calls == (status == 0 ? 1 : 0), "only a valid request is run");
    Fuzz::Require(status == 0 || hasToken || reply.GetDataSize() != 0, "the reply to a refusal has its code");
    for (const std::string& text : service->texts) {
        Fuzz::Require(arguments.find(text) != std::string_view::npos, "the request contains its arguments");
    }
    return status == 0;
}

const Fuzz::Registration REGISTRATION({"service_request", Samples, Run});

}  // namespace
}  // namespace Vexo::NetManagerStandard
