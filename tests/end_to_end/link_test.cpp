// What a real daemon makes of other devices on its link: answers good and damaged, frames of every size, and strangers.

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <fstream>

#include "platform/base/unique_fd.h"
#include "platform/trust/account.h"
#include "tests/end_to_end/hand_made_peer.h"
#include "tests/end_to_end/world.h"
#include "tests/platform/softbus/device_fixture.h"

namespace Vexo::EndToEnd {
namespace {

constexpr int32_t ERR_LINK = 1004500003;
constexpr size_t LARGEST_SENT_JSON = 46075;

// A success answer, padded with spaces to the size.
std::string Answer(size_t size = 0)
{
    std::string json = R"({"RES":0,"SSID":"hand-made","PRESHARED_KEY":"not-a-real-key","SECURITY_TYPE":4})";
    json.resize(std::max(size, json.size()), ' ');
    return json;
}

class LinkTest : public testing::Test {
protected:
    void SetUp() override
    {
        laptop_.Start();
        peer_ = std::make_unique<HandMadePeer>(world_, phone_);
        ASSERT_TRUE(Eventually([&] { return laptop_.Sees(peer_->NetworkId()) && peer_->Sees(laptop_.NetworkId()); }))
            << laptop_.Log();
    }

    Client::CallResult Start()
    {
        const auto client = laptop_.Connect();
        return client->StartDistributedNetwork(0, 0, peer_->NetworkId());
    }

    World world_;
    Device& laptop_{world_.Add("laptop")};
    Device& phone_{world_.Add("phone")};
    std::unique_ptr<HandMadePeer> peer_;
};

struct AnswerRow {
    const char* name;
    std::string frame;
    int32_t code;
    const char* trace;  // a part of the log that shows what happened
};

void PrintTo(const AnswerRow& row, std::ostream* out)
{
    *out << row.name;
}

class AnswerTest : public LinkTest, public testing::WithParamInterface<AnswerRow> {};

TEST_P(AnswerTest, DecidesTheStartAndLeavesTheNextOneFree)
{
    const AnswerRow& row = GetParam();
    peer_->AnswerWith(row.frame);
    EXPECT_EQ(Start().code, row.code) << laptop_.Log();
    EXPECT_NE(laptop_.Log().find(row.trace), std::string::npos) << laptop_.Log();
    EXPECT_EQ(laptop_.Log().find("not-a-real-key"), std::string::npos);
    peer_->AnswerWith(ResponseFrame(Answer()));
    EXPECT_EQ(Start().code, 0) << laptop_.Log();
}

INSTANTIATE_TEST_SUITE_P(
    Peer, AnswerTest,
    testing::Values(AnswerRow{"Success", ResponseFrame(Answer()), 0, "ParseStartHotspotResponseMessage len:"},
                    AnswerRow{"LargestThatIsSent", ResponseFrame(Answer(LARGEST_SENT_JSON)), 0, "dataLen:46080"},
                    AnswerRow{"LargerThanIsSent", ResponseFrame(Answer(LARGEST_SENT_JSON + 1)), 0, "dataLen:46081"},
                    AnswerRow{"Failure", ResponseFrame(R"({"RES":-97})"), ERR_LINK, "info[res] not success"},
                    AnswerRow{"NotJson", ResponseFrame("{\"RES\":"), ERR_LINK, "json parse error"},
                    AnswerRow{"DeclaredZero", ResponseFrame(Answer(), 0), ERR_LINK, "memcpy data fail size:0"},
                    AnswerRow{"DeclaredLess", ResponseFrame(Answer(), 7), ERR_LINK, "memcpy data fail size:7"},
                    AnswerRow{"DeclaredFourGigabytes", ResponseFrame(Answer(), 0xFFFFFFFF), 0,
                              "ParseStartHotspotResponseMessage len:"},
                    AnswerRow{"HeaderCutOff", std::string("\4\1\0", 3), ERR_LINK,
                              "len less MESSAGE_TYPE_START_HOTSPOT_RESPONSE_LENGTH"},
                    AnswerRow{"TwoBytes", std::string("\4\1", 2), ERR_LINK, "OnBytesReceived param check failed"},
                    AnswerRow{"UnknownType", std::string("\11\2\0", 3), ERR_LINK, "wait over time"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(LinkTest, ARequestIsAnsweredWithAFrameAsDocumented)
{
    ASSERT_EQ(Start().code, ERR_LINK) << "nobody answers it, but it wakes the laptop's own service";
    const std::string reply = peer_->Ask(laptop_.NetworkId(), std::string("\3\2\0", 3));
    ASSERT_GT(reply.size(), 5u) << laptop_.Log();
    EXPECT_EQ(reply[0], 4);
    const std::string json = reply.substr(5);
    EXPECT_EQ(reply.substr(0, 5), ResponseFrame(json).substr(0, 5));
    EXPECT_EQ(json.rfind("{\n\t\"RES\":\t0,\n\t\"SSID\":\t\"laptop-", 0), 0u) << json.substr(0, 40);
    EXPECT_LT(json.find("\"PRESHARED_KEY\""), json.find("\"SECURITY_TYPE\""));
}

struct SslContextDeleter {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

// A TLS client that believes any server and shows the identity's certificate, or none. True when the server ends the
// connection without a byte of application data.
bool GetsNothingFrom(const std::string& address, const std::filesystem::path& identity)
{
    const std::unique_ptr<SSL_CTX, SslContextDeleter> context(SSL_CTX_new(TLS_client_method()));
    if (!identity.empty()) {
        SSL_CTX_use_certificate_file(context.get(), (identity / "device.crt").c_str(), SSL_FILETYPE_PEM);
        SSL_CTX_use_PrivateKey_file(context.get(), (identity / "device.key").c_str(), SSL_FILETYPE_PEM);
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(static_cast<uint16_t>(std::stoi(address.substr(address.rfind(':') + 1))));
    const UniqueFd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval limit{10, 0};
    setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    const Trust::SslPtr ssl(SSL_new(context.get()));
    char byte = 0;
    return ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&to), sizeof(to)) == 0 &&
           SSL_set_fd(ssl.get(), socket.Get()) == 1 &&
           (SSL_connect(ssl.get()) != 1 || SSL_read(ssl.get(), &byte, 1) <= 0) &&
           SSL_get_error(ssl.get(), 0) != SSL_ERROR_WANT_READ;
}

// Strangers on the network, against the daemon's port.
class StrangerTest : public testing::Test {
protected:
    void SetUp() override { laptop_.Start(); }
    std::string Port() { return laptop_.Status("link.listen"); }
    void ExpectStillServing()
    {
        EXPECT_EQ(laptop_.Count("presence_links"), 0);
        EXPECT_EQ(laptop_.Count("sessions"), 0);
        EXPECT_EQ(laptop_.Status("device.name"), "laptop");
    }

    World world_;
    Device& laptop_{world_.Add("laptop")};
};

TEST_F(StrangerTest, ACertificateThatDoesNotCountGetsAClosedConnection)
{
    Device& stranger = world_.AddStranger("stranger");
    Device& expired = world_.Add("expired");
    const auto request = [&] {
        std::filesystem::remove(expired.Identity() / "device.crt");
        return Trust::MakeRequest(expired.Identity(), "expired");
    }();
    const auto chain = Trust::Admit(laptop_.Identity(), request.Value(), std::chrono::hours(-1));
    const std::string certificate = chain.Value().substr(0, chain.Value().find("-----BEGIN", 1));
    std::ofstream(expired.Identity() / "device.crt") << certificate;

    const std::pair<std::filesystem::path, const char*> rows[] = {
        {stranger.Identity(), "not signed by this account"}, {expired.Identity(), "expired"}, {"", "no certificate"}};
    for (const auto& [identity, reason] : rows) {
        EXPECT_TRUE(GetsNothingFrom(Port(), identity)) << reason;
        EXPECT_TRUE(Eventually([&, text = reason] { return laptop_.Log().find(text) != std::string::npos; }))
            << reason << "\n"
            << laptop_.Log();
    }
    ExpectStillServing();
}

TEST_F(StrangerTest, AFrameBeyondFourMebibytesEndsThatConnectionOnly)
{
    Device& phone = world_.Add("phone");
    const auto identity = Trust::LoadIdentity(phone.Identity());
    SoftBus::Tests::Bare bare(Port(), identity.Value());
    ASSERT_TRUE(bare.Handshake());
    ASSERT_TRUE(bare.Write(SoftBus::EncodeHeader(SoftBus::FrameKind::DATA, MAX_SESSION_BYTES + 1)));
    EXPECT_TRUE(bare.WaitForEnd());
    EXPECT_TRUE(Eventually([&] { return laptop_.Count("presence_links") == 0; }));
    ExpectStillServing();
}

}  // namespace
}  // namespace Vexo::EndToEnd
