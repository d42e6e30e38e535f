// Fuzzes the daemon's decoder of requests, which any local program may send. Byte 0 of an input is the request code.
// The other bytes follow the interface token in the parcel.
#include "fuzz/fuzz_target.h"
#include "host/distnet_host_stub.h"
#include "interfaces/host_answers_json.h"
#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Host {
namespace {

constexpr std::chrono::seconds MAX_WAIT{60};

// Counts the requests and answers each request at once.
class ReadyHost : public DistNetHostStub {
public:
    ReadyHost() : DistNetHostStub(nullptr, nullptr) {}

    int calls = 0;

    int32_t GetStatus(HostStatus&) override { return Counted(); }
    int32_t GetCounts(HostCounts&) override { return Counted(); }
    int32_t GetDevices(DeviceList&) override { return Counted(); }
    int32_t GetChecks(CheckList&) override { return Counted(); }
    int32_t StartTrace(std::chrono::milliseconds, bool, TraceRecording&) override { return Counted(); }
    int32_t StopTrace(uint32_t, uint64_t, TracePiece&) override { return Counted(); }
    void WaitForWifi(uint32_t, WifiState, std::chrono::milliseconds limit, Answer<WifiStatus> answer) override
    {
        Fuzz::Require(limit <= MAX_WAIT, "a wait is limited");
        answer(Counted(), {});
    }
    void GetEvents(uint64_t, std::chrono::milliseconds limit, Answer<EventPage> answer) override
    {
        Fuzz::Require(limit <= MAX_WAIT, "a wait is limited");
        answer(Counted(), {});
    }
    void ScanDevices(Answer<DeviceList> answer) override { answer(Counted(), {}); }

private:
    int32_t Counted()
    {
        ++calls;
        return HOST_OK;
    }
};

std::string Input(HostInterfaceCode code, const MessageParcel& arguments)
{
    return std::string(1, static_cast<char>(code))
        .append(reinterpret_cast<const char*>(arguments.GetData()), arguments.GetDataSize());
}

std::vector<std::string> Samples()
{
    MessageParcel wifi;
    MessageParcel events;
    MessageParcel start;
    MessageParcel stop;
    const bool written = wifi.WriteUint32(1) && wifi.WriteInt32(2) && wifi.WriteUint32(3'000) &&
                         events.WriteUint64(7) && events.WriteUint32(60'000) && start.WriteUint32(10) &&
                         start.WriteBool(true) && stop.WriteUint32(1) && stop.WriteUint64(4'096);
    Fuzz::Require(written, "the samples fit");
    return {Input(HostInterfaceCode::GET_STATUS, {}), Input(HostInterfaceCode::WAIT_FOR_WIFI, wifi),
            Input(HostInterfaceCode::GET_EVENTS, events), Input(HostInterfaceCode::START_TRACE, start),
            Input(HostInterfaceCode::STOP_TRACE, stop)};
}

bool Run(std::string_view input)
{
    MessageParcel token;
    Fuzz::Require(token.WriteInterfaceToken(IDistNetHost::GetDescriptor()), "the token fits");
    std::string bytes(reinterpret_cast<const char*>(token.GetData()), token.GetDataSize());
    bytes += input.substr(input.empty() ? 0 : 1);
    const CallerScope caller(Security::IdentifySelf());
    const sptr<ReadyHost> host = MakeSptr<ReadyHost>();
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    if (input.empty() || !data.ParseFrom(bytes.data(), bytes.size())) {
        return false;
    }
    const int status = host->OnRemoteRequest(static_cast<uint8_t>(input[0]), data, reply, option);
    int32_t result = HOST_BAD_REQUEST;
    std::string answer;
    const bool isAnswered = status == IPC_OK && reply.ReadInt32(result) && result == HOST_OK;
    Fuzz::Require(host->calls == (isAnswered ? 1 : 0), "only a valid request is run");
    Fuzz::Require(!isAnswered || (reply.ReadString(answer) && answer.starts_with('{')), "an answer is a JSON object");
    Fuzz::Require(isAnswered || result == HOST_BAD_REQUEST, "an invalid request is refused as such");
    return isAnswered;
}

const Fuzz::Registration REGISTRATION({"host_request", Samples, Run});

}  // namespace
}  // namespace Vexo::Host
