// Tests how the account's state spreads from device to device, what happens when a device is removed, and how a device
// that still has the previous link key gets the new state.
#include <openssl/x509.h>

#include <algorithm>
#include <atomic>
#include <future>

#include "platform/base/text.h"
#include "platform/trust/account_backup.h"
#include "platform/trust/key_transfer.h"
#include "platform/trust/membership.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {
namespace {

using Trust::AccountState;
using namespace std::chrono_literals;

class StateExchangeTest : public testing::Test {
protected:
    StateExchangeTest()
    {
        for (const char* device : {"laptop", "tablet", "phone"}) {
            ids.push_back(account.Enrol(device).networkId);
        }
        // Each device adopts the laptop's state, which has all members.
        for (const char* device : {"tablet", "phone"}) {
            EXPECT_TRUE(Trust::AdoptState(account.Folder(device), StateOf("laptop").Bytes()));
        }
        atTablet.Clear();
        atPhone.Clear();
    }
    ~StateExchangeTest() override
    {
        for (const auto& bus : buses) {
            bus->Stop();
        }
    }

    sptr<SoftBusServer> Start(const std::string& device, const std::vector<std::string>& peers = {},
                              const std::string& address = "127.0.0.1:0")
    {
        SoftBusOptions options;
        options.identityFolder = account.Folder(device);
        options.knownDevicesFile = account.Folder(device) / KNOWN_DEVICES_FILE;
        options.listenAddress = address;
        options.announceFolder = announceFolder;
        options.identityChanged = [this] { ++changes; };
        auto bus = StartBus(account.Load(device), device, peers, options);
        if (device != "laptop") {
            EXPECT_EQ(
                bus->CreateSessionServer(PKG, NAME, device == "tablet" ? Listener<0>::Table() : Listener<1>::Table()),
                0);
        }
        buses.push_back(bus);
        return bus;
    }
    const Trust::SignedState& StateOf(const std::string& device)
    {
        kept.push_back(account.Load(device).state);
        return *kept.back();
    }
    uint64_t NumberOf(const std::string& device) { return StateOf(device).State().number; }

    // Returns a state of the account that is newer than the laptop's state and signed with the account's key.
    Trust::SignedStatePtr Signed(const std::function<void(AccountState&)>& change, uint64_t ahead = 1)
    {
        AccountState state = StateOf("laptop").State();
        state.number += ahead;
        change(state);
        const auto key = Trust::KeyFromPem(Trust::Tests::Read(account.Folder("laptop") / "account.key"));
        auto made = Trust::SignState(std::move(state), account.Load("laptop").accountCertificate.get(), key.get());
        EXPECT_TRUE(made) << made.error().message;
        return made ? made.value() : nullptr;
    }
    void GiveLaptop(const Trust::SignedStatePtr& state)
    {
        ASSERT_TRUE(Trust::AdoptState(account.Folder("laptop"), state->Bytes()));
    }
    void Rename(const std::string& id, const std::string& name)
    {
        GiveLaptop(Signed([&](AccountState& state) {
            std::find_if(state.members.begin(), state.members.end(), [&](auto& m) { return m.networkId == id; })->name =
                name;
        }));
    }
    // Gives the laptop a state in which the phone is removed and the link key is new.
    void RemovePhone()
    {
        const auto key = Trust::KeyFromPem(Trust::Tests::Read(account.Folder("laptop") / "account.key"));
        GiveLaptop(Signed([&](AccountState& state) {
            std::erase_if(state.members, [&](auto& member) { return member.networkId == Phone(); });
            const std::chrono::sys_seconds at(1'795'000'000s);
            state.removed.push_back({Phone(), "phone", at, state.number,
                                     Trust::SignatureOf(Trust::RemovalText(state.account, Phone(), at), key.get())});
            ChangeLinkKey(state);
        }));
    }
    static void ChangeLinkKey(AccountState& state)
    {
        state.linkKeys.previous = Trust::PreviousLinkKey{state.linkKeys.current, Clock::System().WallNow() + 1h};
        state.linkKeys.current = Trust::GenerateLinkKey(state.linkKeys.current.number + 1).value();
    }
    const std::string& Laptop() const { return ids[0]; }
    const std::string& Tablet() const { return ids[1]; }
    const std::string& Phone() const { return ids[2]; }

    static std::string HelloOf(const Trust::Identity& identity, uint64_t number, const std::string& digest = {})
    {
        return EncodeHello({DEVICE_TYPE_UNKNOWN, identity.deviceId, "bare", {}, 0, number, digest});
    }

    Trust::Tests::Devices account;
    std::filesystem::path announceFolder;
    std::vector<std::string> ids;
    std::vector<Trust::SignedStatePtr> kept;
    std::vector<sptr<SoftBusServer>> buses;
    std::atomic<int> changes = 0;
    Recorder& atTablet = Listener<0>::Events();
    Recorder& atPhone = Listener<1>::Events();
};

TEST_F(StateExchangeTest, NewStateReachesDeviceThatNeverMeetsItsSigner)
{
    const auto laptop = Start("laptop");
    const auto tablet = Start("tablet", {laptop->ListenAddress()});
    const auto phone = Start("phone", {tablet->ListenAddress()});
    ASSERT_TRUE(Meet(laptop, tablet) && Meet(tablet, phone));
    Rename(Phone(), "new phone");
    laptop->UseIdentity(account.Load("laptop"));
    ASSERT_TRUE(Eventually([&] { return NumberOf("phone") == NumberOf("laptop"); }));
    EXPECT_TRUE(Eventually([&] { return phone->LocalNode().deviceName == "new phone"; }));
    EXPECT_EQ(tablet->Nodes().size(), 2u);
    EXPECT_EQ(phone->Nodes().size(), 1u) << "it met the tablet only";
    EXPECT_TRUE(Eventually([&] { return changes == 2; })) << "its folder and the tablet's";
}

TEST_F(StateExchangeTest, LargestStateIsAdopted)
{
    const auto laptop = Start("laptop");
    const auto tablet = Start("tablet", {laptop->ListenAddress()});
    ASSERT_TRUE(Meet(laptop, tablet));
    const auto crowd = [](size_t count) {
        return [count](AccountState& state) {
            for (size_t i = 0; i < count; ++i) {
                const std::string digits = std::to_string(i + 1000);
                state.members.push_back({digits + std::string(60, 'f'), digits + std::string(60, 'x'), 0, {}});
            }
        };
    };
    // The number of bytes that one member adds to a state. Because the length of signatures varies, this is an average.
    const size_t one = (Signed(crowd(200))->Bytes().size() - Signed(crowd(100))->Bytes().size() + 150) / 100;
    const size_t count = 100 + (Trust::MAX_STATE_BYTES - Signed(crowd(100))->Bytes().size() - 16) / one;
    GiveLaptop(Signed(crowd(count)));
    EXPECT_GT(StateOf("laptop").Bytes().size(), Trust::MAX_STATE_BYTES - 4 * one);
    laptop->UseIdentity(account.Load("laptop"));
    EXPECT_TRUE(Eventually([&] { return NumberOf("tablet") == NumberOf("laptop"); }));
}

TEST_F(StateExchangeTest, BadStateIsRefusedWithOneLogLineAndLinkStaysOpen)
{
    const Trust::Tests::Devices others;
    others.Create("stranger");
    const Trust::SignedStatePtr old = account.Load("laptop").state;
    const auto sameNumber = Signed([](AccountState& state) { state.members.back().name = "x"; });
    Rename(Phone(), "new phone");
    ASSERT_TRUE(Trust::AdoptState(account.Folder("tablet"), StateOf("laptop").Bytes()));
    const uint64_t number = NumberOf("tablet");
    const struct {
        const char* fault;
        std::string bytes;
        uint64_t claimed;
        const char* line;
    } table[] = {
        {"of another account", others.Load("stranger").state->Bytes(), number + 1, "is refused: "},
        {"rubbish", "rubbish", number + 1, "is refused: "},
        {"truncated", old->Bytes().substr(0, 200), number + 1, "is refused: "},
        {"older than it claims to be", old->Bytes(), ~0ull, "is refused: "},
        {"nothing", "", ~0ull, nullptr},
        {"the same number", sameNumber->Bytes(), number, "has another account state with the number"},
    };
    for (const auto& row : table) {
        atTablet.Clear();
        const auto tablet = Start("tablet");
        const Vexo::Tests::LogCapture log;
        const Trust::Identity liar = account.Load("phone");
        Bare peer(tablet->ListenAddress(), liar);
        ASSERT_TRUE(peer.Handshake());
        ASSERT_TRUE(peer.WriteFrame(FrameKind::HELLO, HelloOf(liar, row.claimed, "12345678")));
        if (!row.bytes.empty()) {
            ASSERT_TRUE(peer.WriteFrame(FrameKind::STATE, row.bytes));
        }
        ASSERT_TRUE(peer.WriteFrame(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, NAME, "bare"})));
        Frame frame;
        while (peer.ReadFrame(frame) && frame.kind != FrameKind::OPENED) {
        }
        EXPECT_EQ(frame.kind, FrameKind::OPENED) << row.fault;
        if (row.line != nullptr) {
            EXPECT_TRUE(log.WaitFor(row.line)) << row.fault;
            EXPECT_EQ(log.Count(row.line), 1u) << row.fault << log.Text();
        }
        EXPECT_EQ(NumberOf("tablet"), number) << row.fault;
        tablet->Stop();
    }
    EXPECT_EQ(changes, 0);
}

TEST_F(StateExchangeTest, NonMemberIsServedOnlyAfterProvingMembershipByState)
{
    const auto tablet = Start("tablet");
    const Trust::Identity watch = account.Enrol("watch");
    const auto opens = [&](uint64_t claimed, bool sendsState) {
        Bare peer(tablet->ListenAddress(), watch);
        EXPECT_TRUE(peer.Handshake());
        EXPECT_TRUE(peer.WriteFrame(FrameKind::HELLO, HelloOf(watch, claimed)));
        EXPECT_TRUE(peer.WriteFrame(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, NAME, "bare"})));
        if (sendsState) {
            EXPECT_TRUE(peer.WriteFrame(FrameKind::STATE, StateOf("watch").Bytes()));
        }
        Frame frame;
        std::vector<FrameKind> kinds;
        while (peer.ReadFrame(frame) && frame.kind != FrameKind::OPENED) {
            kinds.push_back(frame.kind);
        }
        const bool isOpen = frame.kind == FrameKind::OPENED;
        EXPECT_EQ(kinds.empty() ? FrameKind::PING : kinds.front(), FrameKind::HELLO);
        return isOpen;
    };
    EXPECT_FALSE(opens(NumberOf("tablet") - 1, false)) << "it knows less";
    EXPECT_FALSE(opens(~0ull, false)) << "it promises a state and sends none";
    EXPECT_TRUE(atTablet.All().empty());
    EXPECT_TRUE(opens(NumberOf("watch"), true));
    EXPECT_EQ(NumberOf("tablet"), NumberOf("laptop"));
}

// Reads frames until the other device closes the connection. Returns the kinds of these frames. removal: receives the
// payload of the REMOVED frame.
std::vector<FrameKind> KindsUntilTheEnd(Bare& peer, std::string& removal)
{
    std::vector<FrameKind> kinds;
    for (Frame frame; peer.ReadFrame(frame);) {
        kinds.push_back(frame.kind);
        removal = frame.kind == FrameKind::REMOVED ? frame.payload : removal;
    }
    return kinds;
}

TEST_F(StateExchangeTest, RemovedDeviceIsRefusedAndGetsOnlyItsRemoval)
{
    const auto laptop = Start("laptop");
    const auto tablet = Start("tablet", {laptop->ListenAddress()});
    const auto phone = Start("phone", {tablet->ListenAddress()});
    ASSERT_TRUE(Meet(laptop, tablet) && Meet(tablet, phone));
    const Trust::Identity lost = account.Load("phone");
    Bare before(tablet->ListenAddress(), lost);
    ASSERT_TRUE(before.Handshake() && before.Greet());
    Bare again(tablet->ListenAddress(), lost);
    again.UsePskOf(before, Tablet());
    ASSERT_TRUE(again.Handshake() && again.Greet());
    EXPECT_TRUE(again.PskWasAccepted());
    const int id = phone->OpenSession(NAME, NAME, Tablet(), ByteSession());
    ASSERT_EQ(atPhone.WaitFor(Kind::OPENED, id).result, SOFTBUS_OK);
    const int atTabletsId = atTablet.WaitFor(Kind::OPENED).id;

    const Vexo::Tests::LogCapture log;
    RemovePhone();
    laptop->UseIdentity(account.Load("laptop"));
    atTablet.WaitFor(Kind::CLOSED, atTabletsId);
    atPhone.WaitFor(Kind::CLOSED, id);
    EXPECT_TRUE(log.WaitFor("this device was removed from the account on 2026-11-18"));
    EXPECT_TRUE(Eventually([&] { return account.Load("phone").removedAt.has_value(); })) << "also after a restart";
    EXPECT_FALSE(SeesOnline(tablet, Phone()));
    EXPECT_EQ(tablet->OpenSession(NAME, NAME, Phone(), ByteSession()), SOFTBUS_NO_SUCH_PEER);
    EXPECT_EQ(phone->OpenSession(NAME, NAME, Tablet(), ByteSession()), SOFTBUS_PEER_REFUSED);
    EXPECT_TRUE(log.Contains("no session with " + ShortId(Tablet()) + ": this device was removed")) << log.Text();

    for (const bool offersPsk : {false, true}) {
        Bare peer(tablet->ListenAddress(), lost);
        if (offersPsk) {
            peer.UsePskOf(again, Tablet());
        }
        ASSERT_TRUE(peer.Handshake()) << "its proof is of the previous key";
        EXPECT_FALSE(peer.PskWasAccepted());
        peer.WriteFrame(FrameKind::HELLO, HelloOf(lost, 0));
        std::string removal;
        EXPECT_EQ(KindsUntilTheEnd(peer, removal), (std::vector{FrameKind::REMOVED, FrameKind::CLOSE}));
        EXPECT_TRUE(Trust::DecodeRemoval(removal, Phone(), lost.accountCertificate.get()));
    }
}

TEST_F(StateExchangeTest, PreviousLinkKeyConnectsAtFirstTryInBothDirections)
{
    for (const bool oldOneDials : {true, false}) {
        auto tablet = Start("tablet");
        auto phone = Start("phone", {tablet->ListenAddress()});
        ASSERT_TRUE(Meet(tablet, phone));
        const std::string address = tablet->ListenAddress();
        tablet->Stop();
        if (!oldOneDials) {
            phone->Stop();
        }
        GiveLaptop(Signed(ChangeLinkKey));
        ASSERT_TRUE(Trust::AdoptState(account.Folder(oldOneDials ? "tablet" : "phone"), StateOf("laptop").Bytes()));
        // The tablet forgets the phone, so that the phone connects to the tablet and the tablet does not connect to the
        // phone.
        std::filesystem::remove(account.Folder("tablet") / KNOWN_DEVICES_FILE);
        tablet = Start("tablet", {}, address);
        if (!oldOneDials) {
            phone = Start("phone");
        }
        atPhone.Clear();
        const int id = phone->OpenSession(NAME, NAME, Tablet(), ByteSession());
        EXPECT_EQ(atPhone.WaitFor(Kind::OPENED, id).result, SOFTBUS_OK) << oldOneDials;
        EXPECT_EQ(NumberOf("tablet"), NumberOf("phone"));
        phone->Stop();
        tablet->Stop();
        ASSERT_EQ(NumberOf("phone"), NumberOf("laptop"));
    }
}

TEST_F(StateExchangeTest, RenewedCertificateReachesMember)
{
    const WallTime began = Clock::System().WallNow();
    const auto laptop = Start("laptop");
    const auto tablet = Start("tablet", {laptop->ListenAddress()});
    ASSERT_TRUE(Meet(laptop, tablet));
    const auto before = account.Load("tablet").CertificateExpiry();
    // Only a certificate that is older than the account's certificate is renewed. Certificate times are whole seconds,
    // so more than a second must pass.
    ASSERT_TRUE(Eventually([&] { return Clock::System().WallNow() - began > 1100ms; }));
    const auto renewed = Trust::RenewAccount(account.Folder("laptop"));
    ASSERT_TRUE(renewed) << renewed.error().message;
    laptop->UseIdentity(account.Load("laptop"));
    EXPECT_TRUE(Eventually([&] { return account.Load("tablet").CertificateExpiry() > before; }));
    EXPECT_TRUE(Eventually([&] { return NumberOf("tablet") == NumberOf("laptop"); }));
}

TEST_F(StateExchangeTest, HolderOfAccountWithoutStateAddsDevicesItMeets)
{
    for (const char* device : {"laptop", "tablet"}) {
        account.ForgetState(device);
    }
    const auto renamed = Trust::RenameMember(account.Folder("laptop"), Laptop(), "desk");
    ASSERT_TRUE(renamed) << renamed.error().message;
    ASSERT_EQ(StateOf("laptop").State().members.size(), 1u);
    const auto laptop = Start("laptop");
    const auto tablet = Start("tablet", {laptop->ListenAddress()});
    ASSERT_TRUE(Meet(laptop, tablet));
    EXPECT_TRUE(Eventually([&] {
        const auto state = account.Load("tablet").state;
        return state && state->State().FindMember(Tablet()) != nullptr;
    }));
}

TEST_F(StateExchangeTest, KnownDeviceWithPreviousKeyIsGreetedAndGetsNewState)
{
    auto tablet = Start("tablet");
    auto phone = Start("phone", {tablet->ListenAddress()});
    ASSERT_TRUE(Meet(tablet, phone));
    phone->Stop();
    tablet->Stop();
    GiveLaptop(Signed(ChangeLinkKey));
    ASSERT_TRUE(Trust::AdoptState(account.Folder("tablet"), StateOf("laptop").Bytes()));
    announceFolder = account.Folder("air");
    tablet = Start("tablet");
    std::filesystem::remove(account.Folder("phone") / KNOWN_DEVICES_FILE);
    phone = Start("phone");
    EXPECT_TRUE(Eventually([&] { return NumberOf("phone") == NumberOf("laptop"); }));
}

TEST_F(StateExchangeTest, RestoredDeviceBecomesHolderAfterMeetingMember)
{
    const auto file = account.Folder("laptop") / "home.p12";
    ASSERT_TRUE(Trust::BackUpAccount(account.Folder("laptop"), file, "a passphrase"));
    Rename(Phone(), "new phone");
    ASSERT_TRUE(Trust::AdoptState(account.Folder("tablet"), StateOf("laptop").Bytes()));
    ASSERT_TRUE(Trust::RestoreAccount(account.Folder("desktop"), file, "a passphrase", "desktop", false));
    const auto tablet = Start("tablet");
    const auto desktop = Start("desktop", {tablet->ListenAddress()});
    ASSERT_TRUE(Eventually([&] { return !Trust::IsRestored(account.Folder("desktop")); }));
    const std::string id = account.Load("desktop").networkId;
    EXPECT_EQ(StateOf("desktop").State().FindMember(Phone())->name, "new phone") << "merged before it signed";
    EXPECT_TRUE(Eventually([&] { return StateOf("tablet").State().holder == id; }));
    // A restored device that already has the newest state also becomes the holder after it meets a member.
    ASSERT_TRUE(Trust::RestoreAccount(account.Folder("server"), file, "a passphrase", "server", false));
    ASSERT_TRUE(Trust::AdoptState(account.Folder("server"), StateOf("tablet").Bytes()));
    const auto server = Start("server", {tablet->ListenAddress()});
    EXPECT_TRUE(Eventually([&] { return !Trust::IsRestored(account.Folder("server")); }));
}

TEST_F(StateExchangeTest, AccountKeyIsDeletedOnlyAfterNewHolderStoredIt)
{
    const auto laptop = Start("laptop");
    const auto tablet = Start("tablet", {laptop->ListenAddress()});
    ASSERT_TRUE(Meet(laptop, tablet));
    const auto send = [&](const std::string& to, std::string key) {
        std::promise<Result<void>> done;
        laptop->SendAccountKey(to, std::move(key), [&](Result<void> result) { done.set_value(std::move(result)); });
        return done.get_future().get();
    };
    const std::string key = Trust::ExportAccountKey(account.Folder("laptop"), Tablet()).value();
    EXPECT_EQ(send(Phone(), key).error().code, ErrorCode::UNAVAILABLE);
    EXPECT_EQ(send(Tablet(), key.substr(0, key.size() - 1)).error().code, ErrorCode::REFUSED);
    std::string damaged = key;
    damaged[40] ^= 1;  // in the private key; the public key after it is still the account's
    EXPECT_EQ(send(Tablet(), damaged).error().code, ErrorCode::REFUSED);
    EXPECT_FALSE(account.Load("tablet").holdsAccountKey);
    ASSERT_TRUE(send(Tablet(), key));
    ASSERT_TRUE(account.Load("tablet").holdsAccountKey);
    EXPECT_FALSE(Trust::RenameMember(account.Folder("tablet"), Phone(), "early")) << "the laptop is still the holder";

    auto handed = Trust::HandOverAccount(account.Folder("laptop"), Tablet());
    ASSERT_TRUE(handed) << handed.error().message;
    EXPECT_FALSE(handed.value().holdsAccountKey);
    laptop->UseIdentity(std::move(handed.value()));
    ASSERT_TRUE(Eventually([&] { return NumberOf("tablet") == NumberOf("laptop"); }));
    EXPECT_TRUE(Trust::RenameMember(account.Folder("tablet"), Phone(), "new phone"));
    EXPECT_FALSE(Trust::ExportAccountKey(account.Folder("laptop"), Tablet()));
}

TEST_F(StateExchangeTest, AccountKeyStaysWithHolderWhenMemberBreaksProtocol)
{
    const BareListener member;
    const auto laptop = Start("laptop", {member.Address()});
    const Trust::Identity tablet = account.Load("tablet");
    Bare greeted(member.Accept(), tablet);
    ASSERT_TRUE(greeted.Greet());
    ASSERT_TRUE(Eventually([&] { return SeesOnline(laptop, Tablet()); }));
    const std::string payload = HelloOf(tablet, NumberOf("tablet"));
    const std::string hello = EncodeHeader(FrameKind::HELLO, payload.size()) + payload;
    for (const std::string& frames : {EncodeHeader(FrameKind::KEY_STORED, 0), hello + hello}) {
        std::promise<Result<void>> done;
        auto sent = done.get_future();
        laptop->SendAccountKey(Tablet(), Trust::ExportAccountKey(account.Folder("laptop"), Tablet()).value(),
                               [&](Result<void> result) { done.set_value(std::move(result)); });
        while (sent.wait_for(0s) != std::future_status::ready) {
            if (UniqueFd accepted = member.Accept(100ms)) {  // the laptop also connects on its own
                Bare peer(std::move(accepted), tablet);
                peer.Write(frames);
                peer.WaitForEnd();
            }
        }
        const Result<void> result = sent.get();
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, ErrorCode::REFUSED) << result.error().message;
    }
}

}  // namespace
}  // namespace Vexo::SoftBus::Tests
