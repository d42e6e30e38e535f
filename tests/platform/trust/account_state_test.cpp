#include "platform/trust/account_state.h"

#include <openssl/x509v3.h>

#include <functional>

#include "platform/base/hex.h"
#include "platform/trust/membership.h"
#include "platform/trust/signed_text.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

using namespace std::chrono_literals;

class AccountStateTest : public testing::Test {
protected:
    void SetUp() override
    {
        devices.Enrol("laptop");
        devices.Enrol("phone");
        key = std::move(ReadKeyFile(laptop / ACCOUNT_KEY_FILE).value());
        own = devices.Load("laptop").state;
        account = std::move(CertificatesFromPem(own->State().accountCertificate).front());
    }
    // Returns a copy of the member `own` (a state), signed with the account's key. change: a function that modifies the
    // copy before it is signed.
    SignedStatePtr Changed(const std::function<void(AccountState&)>& change) const
    {
        AccountState state = own->State();
        change(state);
        return SignState(std::move(state), account.get(), key.get()).value();
    }
    std::string Text() const { return OpenSignedText(own->Bytes(), "").value().text.text; }
    // Returns the text of the member `own` (a state) with one part replaced, signed with the account's key. before: the
    // old part. after: the new part.
    std::string Rewritten(const std::string& before, const std::string& after) const
    {
        std::string text = Text();
        EXPECT_NE(text.find(before), std::string::npos) << before;
        return SignText(SecretText(text.replace(text.find(before), before.size(), after)), account.get(), key.get())
            .text;
    }

    Devices devices;
    const std::filesystem::path laptop = devices.Folder("laptop");
    const std::filesystem::path phone = devices.Folder("phone");
    PrivateKey key;
    SignedStatePtr own;
    Certificate account;
};

TEST_F(AccountStateTest, UnsignedOrContradictoryStateIsRefused)
{
    using enum ErrorCode;
    devices.Create("other", "elsewhere");
    const Identity other = devices.Load("other");
    const PrivateKey otherKey = std::move(ReadKeyFile(devices.Folder("other") / ACCOUNT_KEY_FILE).value());
    const std::string ownId = devices.Load("laptop").networkId;
    const std::string phoneId = devices.Load("phone").networkId;
    std::string flipped = own->Bytes();
    flipped[flipped.find("phone")] = 'q';
    const std::string removed =
        R"("removed":[{"network_id":")" + phoneId + R"(","name":"phone","at":1,"number":1,"signature":"00"}])";
    const std::string certificate = R"("account_certificate":")";
    const struct {
        std::string bytes;
        ErrorCode code;
        const char* why;
    } rows[] = {
        {"", MALFORMED, "damaged"},
        {own->Bytes().substr(0, own->Bytes().size() - 1), MALFORMED, "damaged"},
        {own->Bytes() + "x", MALFORMED, "damaged"},
        {own->Bytes() + std::string(MAX_STATE_BYTES, 'x'), MALFORMED, "64 KiB"},
        {flipped, UNTRUSTED, "signature"},
        {other.state->Bytes(), UNTRUSTED, "not signed by the account's key"},
        {SignText(SecretText(Text()), other.accountCertificate.get(), otherKey.get()).text, UNTRUSTED, "not signed"},
        {Rewritten("\"version\":1", "\"version\":2,\"more\":1"), INVALID_ARGUMENT, "newer version"},
        {Rewritten(own->State().account, other.state->State().account), MALFORMED, "another account"},
        {Rewritten(certificate, certificate + "x"), MALFORMED, "account_certificate"},
        {Rewritten("\"holder\":\"" + ownId, "\"holder\":\"" + std::string(64, 'a')), MALFORMED, "holder"},
        {Rewritten("\"name\":\"phone\"", "\"name\":\"laptop\""), MALFORMED, "two with the same name"},
        {Rewritten("\"removed\":[]", removed), MALFORMED, "removed"},
        {Rewritten("\"number\":", "\"number\":-"), MALFORMED, "number"},
        {Rewritten("\"since\":", "\"since\":9"), MALFORMED, "since"},  // far later than WallTime can hold
    };
    for (const auto& [bytes, code, why] : rows) {
        const auto adopted = AdoptState(phone, bytes);
        ExpectRefused(adopted, why);
        EXPECT_EQ(adopted.error().code, code) << why << ": " << adopted.error().message;
        EXPECT_EQ(devices.Load("phone").state->Bytes(), own->Bytes());
    }
}

TEST_F(AccountStateTest, NewerStateIsKeptInAnyOrderOfArrival)
{
    auto newer = Changed([](AccountState& state) { state.number += 5; });
    const auto other = Changed([](AccountState& state) {
        state.number += 5;
        state.members.back().name = "else";
    });
    const auto code = [&](const SignedStatePtr& state) { return AdoptState(phone, state->Bytes()).error().code; };
    EXPECT_FALSE(AdoptState(phone, own->Bytes()).value());
    EXPECT_EQ(AdoptState(phone, newer->Bytes()).value()->state->Digest(), newer->Digest());
    EXPECT_EQ(code(own), ErrorCode::REFUSED);
    EXPECT_EQ(code(other), ErrorCode::ALREADY_EXISTS);
    // A state with the same text but a new signature is not a new state.
    EXPECT_FALSE(AdoptState(phone, Changed([](AccountState& state) { state.number += 5; })->Bytes()).value());
    // The phone must refuse a newer state, made from an old backup, that lacks the removal of a device.
    const std::string lost(64, 'c');
    const auto removal = Changed([&](AccountState& state) {
        state.number += 6;
        state.removed = {{lost, "watch", std::chrono::sys_seconds(), state.number, "signature"}};
    });
    ASSERT_TRUE(AdoptState(phone, removal->Bytes()).value());
    EXPECT_EQ(code(Changed([](AccountState& state) { state.number += 7; })), ErrorCode::UNTRUSTED);
    newer = Changed([&](AccountState& state) {
        state.number += 8;
        state.removed = removal->State().removed;
    });
    // A device whose state file is damaged must refuse an older state and adopt a newer one. If its link key file is
    // then damaged, the device reads the link keys from the adopted state.
    std::filesystem::resize_file(phone / STATE_FILE, 100);
    EXPECT_EQ(devices.Load("phone").state, nullptr);
    EXPECT_EQ(code(own), ErrorCode::REFUSED);
    ASSERT_TRUE(AdoptState(phone, newer->Bytes()).value());
    std::filesystem::resize_file(phone / LINK_KEY_FILE, 10);
    EXPECT_EQ(devices.Load("phone").linkKeys->current.bytes, own->State().linkKeys.current.bytes);
}

TEST_F(AccountStateTest, LargestStateIsAdoptedAndLargerOneNotSigned)
{
    AccountState state = own->State();
    Result<SignedStatePtr> largest = own;
    Result<SignedStatePtr> made = own;
    while (made) {
        largest = std::move(made);
        for (int i = 0; i < 8; ++i) {
            const std::string number = std::to_string(state.members.size());
            const std::string id = std::string(ID_CHARACTERS - number.size(), 'f') + number;
            state.members.push_back({.networkId = id, .name = "member " + number, .since = {}});
        }
        ++state.number;
        made = SignState(state, account.get(), key.get());
    }
    EXPECT_EQ(made.error().code, ErrorCode::INVALID_ARGUMENT);
    EXPECT_GT(largest.value()->Bytes().size(), MAX_STATE_BYTES * 9 / 10);
    EXPECT_GE(largest.value()->State().members.size(), 256U);
    EXPECT_TRUE(AdoptState(phone, largest.value()->Bytes()).value());
    EXPECT_EQ(devices.Load("phone").state->Bytes(), largest.value()->Bytes());
}

TEST_F(AccountStateTest, StateMadeByExternalToolsIsAdopted)
{
    const Vexo::Tests::TempFolder folder;
    std::string text = Text();
    const std::string number = "\"number\":" + std::to_string(own->State().number);
    text.replace(text.find(number), number.size(), "\"number\":9214646399");
    ASSERT_TRUE(WriteFileAtomically(folder.Path() / "state.json", text, 0600));
    const std::string command = "openssl cms -sign -nodetach -binary -outform DER -in " +
                                (folder.Path() / "state.json").string() + " -signer " +
                                (laptop / ACCOUNT_CERTIFICATE_FILE).string() + " -inkey " +
                                (laptop / ACCOUNT_KEY_FILE).string() + " -out " + (folder.Path() / "state").string();
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_TRUE(AdoptState(phone, Read(folder.Path() / "state")).value());
}

TEST_F(AccountStateTest, RemovalOfAnotherDeviceProvesNothing)
{
    const std::string id = devices.Load("phone").networkId;
    const std::chrono::sys_seconds at(1'800'000'000s);
    const RemovedKey removed{
        .networkId = id, .at = at, .signature = SignatureOf(RemovalText(own->State().account, id, at), key.get())};
    const std::string bytes = EncodeRemoval(removed);
    EXPECT_EQ(DecodeRemoval(bytes, id, account.get()).value().at, at);
    EXPECT_EQ(bytes.substr(0, 8), std::string("\0\xd2\x49\x6b\0\0\0\0", 8));
    std::string later = bytes;
    ++later[0];
    for (const auto& [changed, owner, code] :
         {std::tuple(bytes, std::string(64, 'a'), ErrorCode::UNTRUSTED),
          {later, id, ErrorCode::UNTRUSTED},
          {bytes + "x", id, ErrorCode::MALFORMED},
          {bytes.substr(0, 8), id, ErrorCode::MALFORMED},
          {bytes.substr(0, 7) + "\xff" + bytes.substr(8), id, ErrorCode::MALFORMED}}) {
        const auto decoded = DecodeRemoval(changed, owner, account.get());
        ASSERT_FALSE(decoded);
        EXPECT_EQ(decoded.error().code, code);
    }
    EXPECT_FALSE(RecordOwnRemoval(laptop, {at, removed.signature}));
    EXPECT_TRUE(RecordOwnRemoval(phone, {at, removed.signature}));
    EXPECT_EQ(devices.Load("phone").removedAt, at);
}

}  // namespace
}  // namespace Vexo::Trust::Tests
