#include "platform/network/dns_probe.h"

#include <gtest/gtest.h>

#include "tests/platform/network/name_server.h"
#include "tests/support/eventually.h"

namespace Vexo::Network {
namespace {

using Tests::ADDRESS_RECORD;
using Tests::Answer;
using Tests::Bytes;
using Tests::NameServer;
using Tests::NS_RECORD;

constexpr uint16_t ID = Tests::QUERY_ID;
const Bytes NS_RECORD_BY_POINTER{0xc0, 12, 0, 2, 0, 1, 0, 0, 1, 0, 0, 4, 1, 'a', 0xc0, 12};
const Bytes NS_RECORD_OF_ANOTHER_NAME{3, 'n', 'e', 't', 0, 0, 2, 0, 1, 0, 0, 1, 0, 0, 1, 0};

Bytes With(Bytes bytes, size_t at, uint8_t value)
{
    bytes.at(at) = value;
    return bytes;
}

TEST(DnsProbeTest, AcceptsOnlyAnswerWithRootNameServer)
{
    const Bytes good = Answer({NS_RECORD});
    EXPECT_TRUE(CheckRootAnswer(ID, good.data(), good.size()));
    const struct {
        const char* what;
        Bytes bytes;
        std::optional<ErrorCode> code;  // empty if the answer is accepted
    } cases[] = {
        {"a pointer to the root's name", Answer({NS_RECORD_BY_POINTER}), {}},
        {"after other records", Answer({ADDRESS_RECORD, NS_RECORD_OF_ANOTHER_NAME, NS_RECORD}), {}},
        {"an address only, as a captive portal answers", Answer({ADDRESS_RECORD}), ErrorCode::REFUSED},
        {"a name server of another name", Answer({NS_RECORD_OF_ANOTHER_NAME}), ErrorCode::REFUSED},
        {"no record", Answer({}), ErrorCode::REFUSED},
        {"a server's failure", Answer({}, 2), ErrorCode::REFUSED},
        {"another query's id", With(good, 0, 0), ErrorCode::MALFORMED},
        {"the query itself", With(good, 2, 1), ErrorCode::MALFORMED},
        {"an answer to a status request", With(good, 2, 0x91), ErrorCode::MALFORMED},
        {"no question", With(good, 5, 0), ErrorCode::MALFORMED},
        {"a question for addresses", With(good, 14, 1), ErrorCode::MALFORMED},
        {"a pointer that points to itself", With(Answer({NS_RECORD_BY_POINTER}), 18, 17), ErrorCode::REFUSED},
        {"a pointer that points ahead", With(Answer({NS_RECORD_BY_POINTER}), 18, 200), ErrorCode::MALFORMED},
        {"a label that is too long", With(good, 17, 64), ErrorCode::MALFORMED},
        {"a record longer than the datagram", With(good, 27, 5), ErrorCode::MALFORMED},
    };
    for (const auto& [what, bytes, code] : cases) {
        const Result<void> checked = CheckRootAnswer(ID, bytes.data(), bytes.size());
        EXPECT_EQ(checked ? std::nullopt : std::optional(checked.error().code), code) << what;
    }
    for (size_t size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(CheckRootAnswer(ID, good.data(), size)) << size;
    }
}

SteadyTime In(std::chrono::milliseconds time)
{
    return Clock::System().Now() + time;
}

bool Never()
{
    return false;
}

TEST(DnsProbeTest, AsksUntilNameServerGivesGoodAnswer)
{
    NameServer server({Answer({}, 2), Answer({NS_RECORD})});
    // The probe must use the name server at 127.0.0.1, because there is no name server at 127.0.0.2.
    const Result<void> asked =
        AskRootServers({"127.0.0.2", "127.0.0.1"}, "lo", In(Tests::WAIT_LIMIT), Never, server.Port());
    EXPECT_TRUE(asked) << asked.error().message;
}

TEST(DnsProbeTest, FailsWithErrorOfLastTry)
{
    NameServer silent({});
    NameServer refusing(std::vector<Bytes>(9, Answer({ADDRESS_RECORD})));
    const std::chrono::milliseconds soon(50);
    const auto ask = [&](const std::string& nameServer, const std::string& interface, uint16_t port) {
        return AskRootServers({nameServer}, interface, In(soon), Never, port).error().code;
    };
    EXPECT_EQ(ask("127.0.0.1", "", silent.Port()), ErrorCode::TIMED_OUT);
    EXPECT_EQ(ask("127.0.0.2", "", silent.Port()), ErrorCode::UNAVAILABLE) << "nothing listens there";
    EXPECT_EQ(ask("127.0.0.1", "", refusing.Port()), ErrorCode::REFUSED);
    EXPECT_EQ(ask("127.0.0.1", "no-such-radio", refusing.Port()), ErrorCode::NOT_FOUND);
    EXPECT_EQ(AskRootServers({}, "", In(soon), Never).error().code, ErrorCode::NOT_FOUND);

    int looks = 0;
    const SteadyTime begun = Clock::System().Now();
    EXPECT_FALSE(AskRootServers(
        {"127.0.0.1"}, "", In(Tests::WAIT_LIMIT), [&] { return ++looks > 3; }, silent.Port()));
    EXPECT_LT(Clock::System().Now() - begun, Tests::WAIT_LIMIT / 2);
}

}  // namespace
}  // namespace Vexo::Network
