#include "platform/trust/membership.h"

#include <openssl/x509v3.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

using namespace std::chrono_literals;

constexpr auto YEAR = 24h * 365;

class MembershipTest : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* const device : {"laptop", "phone", "tablet"}) {
            devices.Enrol(device);
        }
    }
    std::string Id(const std::string& device) const { return devices.Load(device).networkId; }
    AccountState State() const { return devices.Load("laptop").state->State(); }
    // Gives the laptop's state of the account to another device.
    void Pass(const std::string& device) const
    {
        EXPECT_TRUE(AdoptState(devices.Folder(device), devices.Load("laptop").state->Bytes()).value());
    }

    Devices devices;
    const std::filesystem::path laptop = devices.Folder("laptop");
};

TEST_F(MembershipTest, RemovedDeviceStaysRemovedWithoutNewKey)
{
    const AccountState before = State();
    const Identity phone = devices.Load("phone");
    ASSERT_TRUE(RemoveMember(laptop, phone.networkId, false));
    const AccountState after = State();
    const RemovedKey* const removed = after.FindRemoved(phone.networkId);
    ASSERT_NE(removed, nullptr);
    EXPECT_EQ(removed->number, after.number);
    EXPECT_TRUE(DecodeRemoval(EncodeRemoval(*removed), phone.networkId, phone.accountCertificate.get()));
    EXPECT_EQ(after.FindMember(phone.networkId), nullptr);
    EXPECT_FALSE(after.announcesPreviousKey);
    EXPECT_EQ(after.linkKeys.current.number, 2U);
    EXPECT_NE(after.linkKeys.current.bytes, before.linkKeys.current.bytes);
    EXPECT_EQ(after.linkKeys.previous->key.bytes, before.linkKeys.current.bytes);
    EXPECT_EQ(after.linkKeys.previous->validUntil, removed->at + PREVIOUS_LINK_KEY_LIFE);
    Pass("tablet");
    EXPECT_FALSE(devices.Load("tablet").IsMember(phone.networkId));
    Pass("phone");
    EXPECT_EQ(devices.Load("phone").removedAt, removed->at);

    // The phone cannot join again with its removed device key, but can join with a new device key.
    std::filesystem::remove(devices.Folder("phone") / DEVICE_CERTIFICATE_FILE);
    const auto again = Admit(laptop, MakeRequest(devices.Folder("phone"), "phone").value());
    ExpectRefused(again, "removed this device on");
    EXPECT_EQ(again.error().code, ErrorCode::REFUSED);
    ASSERT_TRUE(LeaveAccount(devices.Folder("phone")));
    EXPECT_TRUE(Install(devices.Folder("phone"), devices.Answer("phone", "laptop")));
    EXPECT_EQ(devices.Load("phone").removedAt, std::nullopt);
}

// A member that met no other member between two removals still has the link key from before the first removal. The
// account must still accept that key.
TEST_F(MembershipTest, SecondRemovalKeepsKeyThatEveryMemberHas)
{
    Calendar clock;
    clock.date = Clock::System().WallNow() + 24h;
    const LinkKey first = State().linkKeys.current;
    ASSERT_TRUE(RemoveMember(laptop, Id("phone"), true, clock));
    clock.date += PREVIOUS_LINK_KEY_LIFE / 3;
    ASSERT_TRUE(RemoveMember(laptop, Id("tablet"), true, clock));
    EXPECT_EQ(State().linkKeys.current.number, 3U);
    EXPECT_EQ(State().linkKeys.previous->key.bytes, first.bytes);
    clock.date += PREVIOUS_LINK_KEY_LIFE;
    devices.Enrol("watch");
    ASSERT_TRUE(RemoveMember(laptop, Id("watch"), true, clock));
    EXPECT_EQ(State().linkKeys.previous->key.number, 3U);
}

TEST_F(MembershipTest, ChangesThatWouldBreakAccountAreRefused)
{
    using enum ErrorCode;
    const std::string nobody(64, 'a');
    const auto phone = devices.Folder("phone");
    const auto code = [](const auto& result) { return result ? std::optional<ErrorCode>() : result.error().code; };
    EXPECT_EQ(code(RemoveMember(laptop, Id("laptop"), true)), REFUSED);
    EXPECT_EQ(code(RemoveMember(laptop, nobody, true)), NOT_FOUND);
    EXPECT_EQ(code(RenameMember(laptop, nobody, "x")), NOT_FOUND);
    EXPECT_EQ(code(RenameMember(laptop, Id("phone"), "tablet")), ALREADY_EXISTS);
    EXPECT_EQ(code(RenameMember(laptop, Id("phone"), "")), INVALID_ARGUMENT);
    EXPECT_EQ(code(SetHolder(laptop, nobody)), NOT_FOUND);
    EXPECT_EQ(code(LeaveAccount(laptop)), REFUSED);
    ExpectRefused(RenameMember(phone, Id("phone"), "x"), "do it on \"laptop\"");
    EXPECT_EQ(State().number, devices.Load("laptop").state->State().number);

    // SetHolder() changes which device is the holder (the device that can sign states) but does not move the account's
    // key. The old holder keeps the key but cannot sign any more.
    ASSERT_TRUE(SetHolder(laptop, Id("phone")));
    ExpectRefused(RenameMember(laptop, Id("phone"), "x"), "do it on \"phone\"");
    ASSERT_TRUE(SetHolder(laptop, Id("laptop")));
    EXPECT_TRUE(RenameMember(laptop, Id("phone"), "x"));
    EXPECT_EQ(State().FindMember(Id("phone"))->name, "x");

    for (const char* const device : {"phone", "tablet"}) {
        ASSERT_TRUE(RemoveMember(laptop, Id(device), true));
    }
    // When the last member leaves, the account no longer exists.
    const std::string before = Id("laptop");
    ASSERT_TRUE(LeaveAccount(laptop));
    EXPECT_TRUE(std::filesystem::is_empty(laptop));
    devices.Create("laptop", "new");
    EXPECT_NE(Id("laptop"), before);
}

TEST_F(MembershipTest, RenewsEveryCertificateForSameKeys)
{
    Calendar clock;
    clock.date = Clock::System().WallNow() + 9 * YEAR;
    const Identity old = devices.Load("phone");
    EXPECT_FALSE(RenewedCertificate(laptop, old.networkId, old.certificate.get(), clock));
    ASSERT_TRUE(RenewAccount(laptop, clock));
    const Identity renewed = devices.Load("laptop");
    EXPECT_GT(renewed.CertificateExpiry(), old.CertificateExpiry() + 8 * YEAR);
    const auto certificate = RenewedCertificate(laptop, old.networkId, old.certificate.get(), clock);
    ASSERT_TRUE(certificate);
    EXPECT_FALSE(RenewedCertificate(laptop, Id("tablet"), old.certificate.get(), clock));
    // The phone adopts its new certificate although the phone still has the account's old certificate.
    ASSERT_TRUE(AdoptCertificate(devices.Folder("phone"), *certificate));
    Pass("phone");
    const Identity after = devices.Load("phone");
    EXPECT_EQ(after.networkId, old.networkId);
    EXPECT_EQ(after.CertificateExpiry(), renewed.CertificateExpiry());
    EXPECT_EQ(X509_cmp(after.accountCertificate.get(), renewed.accountCertificate.get()), 0);
    EXPECT_FALSE(RenewedCertificate(laptop, after.networkId, after.certificate.get(), clock));

    const auto refused = [&](const std::string& der) {
        return AdoptCertificate(devices.Folder("tablet"), der).error().code;
    };
    EXPECT_EQ(refused(*certificate), ErrorCode::UNTRUSTED);
    EXPECT_EQ(refused(certificate->substr(1)), ErrorCode::MALFORMED);
    EXPECT_EQ(refused(*certificate + "x"), ErrorCode::MALFORMED);
}

TEST_F(MembershipTest, ClockWrongByOneYearKeepsOrderOfStates)
{
    for (const auto error : {YEAR, -YEAR, 0 * YEAR}) {
        Calendar clock;
        clock.date = Clock::System().WallNow() + error;
        const uint64_t before = State().number;
        ASSERT_TRUE(RenameMember(laptop, Id("phone"), "phone of " + std::to_string(error.count()), clock));
        EXPECT_GT(State().number, before);
        Pass("phone");
    }
    Calendar clock;
    clock.date = Clock::System().WallNow() - YEAR;
    ASSERT_TRUE(RemoveMember(laptop, Id("tablet"), true, clock));
    EXPECT_GT(State().linkKeys.previous->validUntil, Clock::System().WallNow()) << "the others still need it";
}

TEST_F(MembershipTest, ConcurrentChangesByTwoProcessesAreAllKept)
{
    constexpr int CHANGES = 12;
    const std::string ids[] = {Id("phone"), Id("tablet")};
    const uint64_t before = State().number;
    std::vector<pid_t> children;
    for (const std::string& id : ids) {
        children.push_back(::fork());
        if (children.back() == 0) {
            int failures = 0;
            for (int i = 1; i <= CHANGES; ++i) {
                failures += RenameMember(laptop, id, id.substr(0, 8) + "-" + std::to_string(i)) ? 0 : 1;
            }
            ::_exit(failures);
        }
    }
    for (const pid_t child : children) {
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_GE(State().number, before + 2 * CHANGES);
    for (const std::string& id : ids) {
        EXPECT_EQ(State().FindMember(id)->name, id.substr(0, 8) + "-" + std::to_string(CHANGES));
    }
}

TEST_F(MembershipTest, DevicesOfAccountWithoutStateAreAddedWhenMet)
{
    const auto met = [&] {
        return AddMemberWithoutState(laptop, {.networkId = std::string(64, 'a'), .name = "phone"});
    };
    EXPECT_FALSE(met().value()) << "no device of this account can be unknown";
    devices.ForgetState("laptop");
    ASSERT_TRUE(AddMemberWithoutState(laptop, {.networkId = Id("phone"), .name = "phone"}).value());
    EXPECT_EQ(met().value()->state->State().FindMember(std::string(64, 'a'))->name, "phone-2");
    EXPECT_FALSE(met().value());
    ASSERT_TRUE(RemoveMember(laptop, std::string(64, 'a'), true));
    EXPECT_FALSE(met().value());
}

}  // namespace
}  // namespace Vexo::Trust::Tests
