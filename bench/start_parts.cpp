#include "bench/start_parts.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "bench/bench.h"
#include "distributed/services/link/hotspot_exchange.h"
#include "distributed/services/link/start_hotspot_response.h"
#include "distributed/services/service/event_report.h"
#include "platform/ability/iservice_registry.h"
#include "platform/dfx/event_file.h"
#include "platform/dfx/sinks.h"
#include "tests/platform/softbus/device_fixture.h"

namespace Vexo::Bench {
namespace {

namespace Service = NetManagerStandard;

constexpr const char* NAME = "bench.parts";
constexpr int CALLS = 100;
// The sizes of the messages of a start: START and ANSWER of the collaboration, then the request and the response.
constexpr size_t START_BYTES = 32;
constexpr size_t ANSWER_BYTES = 12;
constexpr size_t REQUEST_BYTES = 3;
constexpr size_t RESPONSE_BYTES = 100;

// The callbacks of both soft buses have no context, so this state belongs to the process.
struct Signals {
    std::counting_semaphore<> opened{0};
    std::counting_semaphore<> answered{0};
    std::atomic<bool> hasFailed{false};  // a session could not be opened
    std::atomic<size_t> answerBytes{0};
    sptr<SoftBus::SoftBusServer> phone;
};
Signals& TheSignals()
{
    static Signals signals;
    return signals;
}

ISessionListener LaptopTable()
{
    ISessionListener table{};
    table.OnSessionOpened = [](int, int result) {
        TheSignals().hasFailed = TheSignals().hasFailed || result != 0;
        TheSignals().opened.release();
        return 0;
    };
    table.OnBytesReceived = [](int, const void*, unsigned int) { TheSignals().answered.release(); };
    return table;
}

ISessionListener PhoneTable()
{
    ISessionListener table{};
    table.OnSessionOpened = [](int, int) { return 0; };
    table.OnBytesReceived = [](int id, const void*, unsigned int) {
        const std::string answer(TheSignals().answerBytes, 'a');
        TheSignals().phone->SendBytes(id, answer.data(), static_cast<unsigned int>(answer.size()));
    };
    return table;
}

Service::ResponseFrame MakeFrame(const Wifi::HotspotConfig& config)
{
    const Json json = NewObject();
    Service::ResponseFrame frame;
    Check(Service::FrameStartHotspotResponse(Service::PrintSuccessAnswer(json.get(), config), frame) == 0,
          "build a response");
    return frame;
}

}  // namespace

StartParts::StartParts(Client::DistNetClient& client) : client_(client), abilities_(MakeSptr<SystemAbilityManager>())
{
    QuviewDFX::SetLogLevel(QuviewDFX::LogLevel::ERROR);  // the daemons log to their files; this process does not log
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(abilities_);
    const Trust::Identity phone = devices_.Enrol("phone");
    const Trust::Identity laptop = devices_.Enrol("laptop");
    Simulated::SimulatedDeviceOptions options;
    options.stateDir = devices_.Folder("radio");
    options.airDir = devices_.Folder("air");
    options.deviceName = "phone";
    options.networkId = phone.networkId;
    auto radio = Simulated::SimulatedDevice::Start(options);
    Check(radio.has_value(), "start a simulated device");
    radio_ = std::move(radio.value());
    auto events = QuviewDFX::EventFile::Open({devices_.Folder("events.jsonl")});
    Check(events.has_value(), "open a file for events");
    QuviewDFX::SetSysEventSink(std::move(events.value()));
    phone_ = SoftBus::Tests::StartBus(phone, "phone");
    laptop_ = SoftBus::Tests::StartBus(laptop, "laptop", {phone_->ListenAddress()});
    TheSignals().phone = phone_;
    Check(laptop_->CreateSessionServer("bench", NAME, LaptopTable()) == 0 &&
              phone_->CreateSessionServer("bench", NAME, PhoneTable()) == 0 && SoftBus::Tests::Meet(laptop_, phone_),
          "connect two soft buses");
}

StartParts::~StartParts()
{
    TheSignals().phone = nullptr;
    laptop_->Stop();
    phone_->Stop();
    QuviewDFX::SetSysEventSink(nullptr);
    radio_.reset();
}

int StartParts::Open()
{
    const int id = laptop_->OpenSession(NAME, NAME, phone_->LocalNode().networkId, SoftBus::Tests::ByteSession());
    TheSignals().opened.acquire();
    Check(!TheSignals().hasFailed, "open a session between two soft buses");
    return id;
}

double StartParts::LocalRequest()
{
    uint32_t state = 0;
    const auto call = [&] { Check(client_.StartService(state).Succeeded(), "call the service"); };
    return TimeEach(CALLS, call).p50;
}

double StartParts::OpenSession()
{
    int id = 0;
    std::vector<double> times;
    for (int i = 0; i < CALLS / 4; ++i) {
        times.push_back(TimeEach(1, [&] { id = Open(); }).p50);
        laptop_->CloseSession(id);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double StartParts::Exchange(size_t requestBytes, size_t answerBytes)
{
    TheSignals().answerBytes = answerBytes;
    const std::string request(requestBytes, 'r');
    const int id = Open();
    const double time = TimeEach(CALLS, [&] {
                            laptop_->SendBytes(id, request.data(), static_cast<unsigned int>(request.size()));
                            TheSignals().answered.acquire();
                        }).p50;
    laptop_->CloseSession(id);
    return time;
}

double StartParts::Frame()
{
    const Service::PreparedAnswer answer = Service::PrepareAnswer();
    return TimeEach(CALLS,
                    [&] {
                        const Service::ResponseFrame frame = MakeFrame(answer.config);
                        Wifi::WifiDeviceConfig config;
                        Check(Service::ParseStartHotspotResponse(frame.bytes.get(), frame.size, config) == 0,
                              "parse a response");
                    })
        .p50;
}

double StartParts::Radio()
{
    const Service::PreparedAnswer answer = Service::PrepareAnswer();
    const Service::ResponseFrame frame = MakeFrame(answer.config);
    Wifi::WifiDeviceConfig config;
    Check(Service::ParseStartHotspotResponse(frame.bytes.get(), frame.size, config) == 0, "parse a response");
    return TimeEach(CALLS,
                    [&] {
                        Check(Service::PrepareAnswer().result == 0, "open the simulated hotspot");
                        Check(Service::JoinHotspot(config) == 0, "join the simulated hotspot");
                    })
        .p50;
}

double StartParts::Events()
{
    Service::EventInfo info;
    info.deviceId = "5d2bf**4a9b6";
    return TimeEach(CALLS,
                    [&] {
                        Service::EventReport::SendStartDistNetworkBehaviorEvent(info);
                        Service::EventReport::SendStartDistNetworkSuccessEvent(info);
                    })
        .p50;
}

double StartParts::Sum(int sessions)
{
    const double request = LocalRequest();
    const double open = OpenSession();
    const double wake = Exchange(START_BYTES, ANSWER_BYTES);
    const double exchange = Exchange(REQUEST_BYTES, RESPONSE_BYTES);
    const double frame = Frame();
    const double radio = Radio();
    const double events = Events();
    std::fprintf(stderr,
                 "parts: local request %.0f, session open %d x %.0f, wake %.0f, exchange %.0f, frame %.0f, radio %.0f, "
                 "events %.0f us\n",
                 request, sessions, open, wake, exchange, frame, radio, events);
    return request + sessions * open + wake + exchange + frame + radio + events;
}

}  // namespace Vexo::Bench
