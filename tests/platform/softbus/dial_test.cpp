// Tests Dial, which connects to a device: how long Dial tries addresses and searches by radio. The transport of the
// tests refuses connections or never answers.
#include "platform/softbus/link/dial.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <asio/post.hpp>
#include <map>

#include "platform/dfx/sinks.h"
#include "platform/dfx/trace.h"
#include "tests/support/trail.h"

namespace Vexo::SoftBus::Tests {
namespace {

using namespace std::chrono_literals;

constexpr auto LIMIT = SEEK_DELAY + 100ms;
constexpr auto SEEKING_LIMIT = SEEK_DELAY + 700ms;

// A transport on which no connect succeeds. A connect to an address that starts with "refused" fails. All other
// connects get no answer.
class TestTransport : public Transport {
public:
    explicit TestTransport(asio::io_context& reactor) : reactor_(reactor) {}

    std::string Name() const override { return "test"; }
    bool SupportsLinkType(LinkType /*type*/) const override { return true; }
    Result<std::string> Listen(Accepted /*accepted*/) override { return std::string(); }
    Result<void> CheckAddress(const std::string& /*address*/) const override { return {}; }
    std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds /*limit*/,
                                  Connected done) override
    {
        ++connects[address];
        if (address.starts_with("refused")) {
            asio::post(reactor_, [done] { done(Fail(ErrorCode::UNAVAILABLE, "refused")); });
        }
        return std::make_shared<int>();
    }
    void Stop() override {}

    std::map<std::string, int> connects;

private:
    asio::io_context& reactor_;
};

class DialTest : public testing::Test {
protected:
    DialTest() { context.transports = {transport}; }

    // Lets Dial seek (search for devices by radio). heard: a function that runs soon after each seek starts.
    void CanSeek(const std::function<void()>& heard)
    {
        context.seek = [this, heard] {
            asio::post(*context.reactor, heard);
            std::shared_ptr<void> handle = std::make_shared<int>();
            seeking = handle;
            return handle;
        };
    }
    DialResult Run()
    {
        DialResult ended;
        asio::post(*context.reactor, [&] {
            Dial::Start(context, {wanted, "", [this] { return routes; }, LIMIT, SEEKING_LIMIT}, [&](DialResult result) {
                EXPECT_TRUE(seeking.expired());
                ended = std::move(result);
            });
        });
        context.reactor->restart();
        context.reactor->run();
        return ended;
    }

    ReactorContext context;
    const std::shared_ptr<TestTransport> transport = std::make_shared<TestTransport>(*context.reactor);
    std::vector<Route> routes;
    std::string wanted;           // network id, or empty for any device
    std::weak_ptr<void> seeking;  // The latest seek ends when its handle is destroyed.
};

TEST_F(DialTest, TimeLimitIsLongerOnlyWhileChannelSeeks)
{
    for (const bool canSeek : {false, true}) {
        if (canSeek) {
            CanSeek([this] { EXPECT_FALSE(seeking.expired()); });
        }
        for (const char* address : {"refused", "silent"}) {
            routes = {{{"test", address}}};
            const DialResult result = Run();
            const bool isRefused = routes[0].where.address == "refused";
            const auto least = canSeek ? SEEKING_LIMIT : isRefused ? 0ms : LIMIT;
            EXPECT_GE(result.took, least) << address << canSeek;
            EXPECT_LT(result.took, least + SEEK_DELAY) << address << canSeek;
        }
    }
}

// A trace sink that records the text "b NAME" when an asynchronous span begins and "e NAME" when the span ends. Ignores
// an end without a begin.
class SpanSink : public QuviewDFX::TraceSink {
public:
    void Write(QuviewDFX::TracePhase phase, uint64_t /*tag*/, std::string_view name, int32_t id) noexcept override
    {
        const std::pair span{std::string(name), id};
        if (phase == QuviewDFX::TracePhase::ASYNC_BEGIN) {
            EXPECT_TRUE(open.insert(span).second);
            text += "b " + span.first + ", ";
        } else if (open.erase(span) > 0) {
            text += "e " + span.first + ", ";
        }
    }

    std::set<std::pair<std::string, int32_t>> open;
    std::string text;
};

TEST_F(DialTest, RecordsResultOfEachAddressOfKnownDevice)
{
    const std::string phone(64, 'a');
    Hello hello;
    hello.deviceName = "phone";
    context.AddDevice(phone, hello, "test");
    routes = {{{"test", "refused"}}, {{"test", "silent"}}};
    wanted = phone;
    (void)Run();
    std::map<std::string, std::string> answers;
    for (const AddressTried& way : context.tries.Of(phone)) {
        answers[way.address] = way.answer;
    }
    EXPECT_THAT(answers, testing::ElementsAre(testing::Pair("refused", "refused"),
                                              testing::Pair("silent", "no answer within the limit")));
}

TEST_F(DialTest, TracesConnectsAndSeekTime)
{
    const auto trace = std::make_shared<SpanSink>();
    QuviewDFX::SetTraceSink(trace);
    routes = {{{"test", "silent"}}, {{"test", "refused"}, NEXT_ADDRESS_DELAY}};
    CanSeek([this] {
        routes.push_back({{"test", "refused when heard"}});
        const auto dials = context.dials;
        (*dials.begin())->AddNewAddresses();
    });
    Run();
    QuviewDFX::SetTraceSink(nullptr);
    // The test compares only parts of the text, because a connect may end later on a slow machine.
    EXPECT_THAT(trace->text, testing::StartsWith("b connect, b connect, "));
    EXPECT_THAT(trace->text, testing::HasSubstr("b seek, e seek, b connect, "));
    EXPECT_THAT(trace->text, testing::EndsWith("e connect, e connect, "));
    EXPECT_TRUE(trace->open.empty());
    EXPECT_EQ(transport->connects["refused"], 1);
    EXPECT_EQ(transport->connects["refused when heard"], 2) << "a radio may fail once";
}

}  // namespace
}  // namespace Vexo::SoftBus::Tests
