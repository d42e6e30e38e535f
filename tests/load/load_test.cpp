// Tests that hostile or broken programs and devices do not disturb a good client. Each test starts two real daemons,
// and compares the time of the good client's requests without and with a load.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <future>
#include <memory>
#include <string>

#include "platform/softbus/session.h"
#include "tests/end_to_end/hand_made_peer.h"
#include "tests/load/comparison.h"
#include "tests/load/floods.h"

namespace Vexo::Load {
namespace {

using EndToEnd::Device;
using EndToEnd::Eventually;
using EndToEnd::HandMadePeer;

// An argument of SetPolicy(): the members of the entry for the user who runs the test, and an entry for OTHER_USER.
constexpr const char* TWO_USERS = R"("token_type": "native", "system_app": true},
    {"user": "65534", "token_type": "native", "system_app": true)";
constexpr size_t CONNECTIONS_OF_A_USER = 64;

class LoadTest : public testing::Test {
protected:
    void SetUp() override
    {
        world_.SetPolicy(TWO_USERS);
        world_.StartLaptopAndPhone();
        client_ = Laptop().Connect();
        ASSERT_TRUE(client_ && Start(*client_)) << Laptop().Log();
    }
    Device& Laptop() { return world_["laptop"]; }
    Device& Phone() { return world_["phone"]; }
    bool Start(Client::DistNetClient& client)
    {
        const Client::CallResult result = client.StartDistributedNetwork(0, 0, Phone().NetworkId());
        EXPECT_TRUE(result.Succeeded()) << "status " << static_cast<int>(result.status) << ", code " << result.code
                                        << ": " << result.message << '\n'
                                        << Laptop().Log() << Phone().Log();
        return result.Succeeded();
    }
    // Programs of OTHER_USER flood the laptop.
    StartLoad FloodLocally(size_t connections, LocalFlood::Reads reads)
    {
        return [=, socket = Laptop().Socket()] { return std::make_shared<LocalFlood>(socket, connections, reads); };
    }

    EndToEnd::World world_;
    std::unique_ptr<Client::DistNetClient> client_;
};

TEST_F(LoadTest, StartsAreServedDuringFloodOfStrangers)
{
    const std::string address = Phone().Status("link.listen");
    ExpectServedDuring([&] { return std::make_shared<StrangerFlood>(address); }, [&] { return Start(*client_); });
}

TEST_F(LoadTest, StartsAreServedBesideClientThatNeverReads)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can act as another user";
    }
    ExpectServedDuring(FloodLocally(CONNECTIONS_OF_A_USER, LocalFlood::Reads::NOTHING),
                       [&] { return Start(*client_); });
}

TEST_F(LoadTest, NewClientsAreServedBesideFiveThousandConnectionsOfOneUser)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can act as another user";
    }
    ExpectServedDuring(FloodLocally(5000, LocalFlood::Reads::ALL), [&] {
        Client::CallResult result;
        const auto client = Client::DistNetClient::Connect(Laptop().Socket(), result);
        EXPECT_TRUE(client) << "status " << static_cast<int>(result.status) << ": " << result.message;
        return client && Start(*client);
    });
}

// Another device of the account. It opens three sessions to the phone, and sends messages without a pause: short ones
// of an unknown kind, requests for the hotspot, and long ones of an unknown kind.
class FrameFlood {
public:
    FrameFlood(HandMadePeer& peer, const std::string& target)
        : thread_(
              [this, &peer, target] {
                  for (Stream& stream : streams_) {
                      stream.session = peer.Open(target);
                  }
              },
              [this, &peer, target] {
                  bool isFull = true;
                  for (Stream& stream : streams_) {
                      const auto size = static_cast<unsigned int>(stream.message.size());
                      const int result = SendBytes(stream.session, stream.message.data(), size);
                      isFull = isFull && result == SOFTBUS_QUEUE_FULL;
                      if (result == SOFTBUS_NO_SUCH_SESSION) {
                          stream.session = peer.Open(target);
                      }
                  }
                  if (isFull) {
                      std::this_thread::yield();
                  }
              })
    {
    }
    ~FrameFlood()
    {
        for (const Stream& stream : streams_) {
            CloseSession(stream.session);
        }
    }
    FrameFlood(const FrameFlood&) = delete;
    FrameFlood& operator=(const FrameFlood&) = delete;

private:
    struct Stream {
        std::string message;
        int session = 0;
    };

    std::array<Stream, 3> streams_{
        {{std::string("\x9\x2\x1", 3)}, {std::string("\x3\x2\x0", 3)}, {std::string(MAX_SESSION_BYTES / 4, '\x9')}}};
    Repeater thread_;  // the last member: it uses the others
};

TEST_F(LoadTest, StartsAreServedWhilePeerFloodsFrames)
{
    const Device& tablet = world_.Add("tablet");
    // The threads of the peer get the priority of the thread that creates the peer.
    auto made = std::async(std::launch::async, [&] {
        ::setpriority(PRIO_PROCESS, 0, LOWEST_PRIORITY);
        return std::make_unique<HandMadePeer>(world_, tablet);
    });
    const std::unique_ptr<HandMadePeer> peer = made.get();
    ASSERT_TRUE(Eventually([&] { return peer->Sees(Phone().NetworkId()) && Phone().Sees(peer->NetworkId()); }));
    ExpectServedDuring([&] { return std::make_shared<FrameFlood>(*peer, Phone().NetworkId()); },
                       [&] { return Start(*client_); });
}

TEST_F(LoadTest, DevicesMeetAndStartsAreServedBesideTenThousandForeignAnnouncements)
{
    const std::filesystem::path folder = world_.Path() / "link";
    ExpectServedDuring([&] { return std::make_shared<ForeignAnnouncements>(folder, 10'000 / WINDOWS); },
                       [&] { return Start(*client_); });
    client_.reset();
    Laptop().Stop();
    std::filesystem::remove(Laptop().StateDir() / "known-devices.json");
    Laptop().Start();
    EXPECT_TRUE(Eventually([&] { return Laptop().Sees(Phone().NetworkId()); })) << Laptop().Log();
}

}  // namespace
}  // namespace Vexo::Load
