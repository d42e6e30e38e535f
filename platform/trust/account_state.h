// The account's state: a text that lists the account's members, the removed keys, the link keys and the account's
// certificate. The account's key signs the text. Every member has a copy of the state, accepts a newer state from any
// other member, and sends it to others. The state with the higher number is newer. A state is secret, because it
// contains the link keys. docs/enrolment.md describes the format. The classes are value types. The functions do not
// block, and any thread may call them.
// Read next: membership.h (how a state changes).
#pragma once

#include <openssl/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t MAX_STATE_BYTES = 64 * 1024;  // the largest size of a signed state

struct Member {
    std::string networkId;  // 64 hex characters
    std::string name;       // unique in the account; 1 to 64 bytes
    uint16_t type = 0;      // device type, a value of the HELLO frame (docs/link.md); 0: unknown
    std::chrono::sys_seconds since{};

    bool operator==(const Member&) const = default;
};

struct RemovedKey {
    std::string networkId{};
    std::string name{};  // the name of the removed member
    std::chrono::sys_seconds at{};
    uint64_t number = 0;      // number of the first state that does not list the member
    std::string signature{};  // signature of RemovalText by the account's key; DER

    bool operator==(const RemovedKey&) const = default;
};

struct AccountState {
    std::string account;  // the network id of the account's key
    uint64_t number = 0;
    std::string holder;  // network id of the member that has the account's key; empty: no member (docs/fleet.md)
    std::string accountCertificate;     // PEM
    std::vector<Member> members;        // sorted by name in a signed state
    std::vector<RemovedKey> removed{};  // the oldest first; entries are never deleted
    LinkKeys linkKeys{};
    bool announcesPreviousKey = true;  // false: members announce themselves with the current link key only

    const Member* FindMember(std::string_view networkId) const;  // returns null when no member has that id
    const RemovedKey* FindRemoved(std::string_view networkId) const;
};

// An account's state with a valid signature. Objects are immutable.
class SignedState : public NoCopyable {
public:
    // Only OpenState calls this constructor.
    SignedState(AccountState state, std::string bytes, std::string digest);
    ~SignedState();

    const AccountState& State() const { return state_; }
    const std::string& Bytes() const { return bytes_; }  // CMS SignedData (RFC 5652), DER
    // Returns the first 8 bytes of the SHA-256 of the signed text. The digest ignores other parts of Bytes(), because
    // they are not signed and anyone can change them.
    const std::string& Digest() const { return digest_; }

private:
    const AccountState state_;
    std::string bytes_;
    const std::string digest_;
};
using SignedStatePtr = std::shared_ptr<const SignedState>;

// Signs the account's state with the account's key. Returns INVALID_ARGUMENT when the signed state is larger than
// MAX_STATE_BYTES.
[[nodiscard]] Result<SignedStatePtr> SignState(AccountState state, X509* account, EVP_PKEY* accountKey);
// Verifies the signature and decodes the account's state. MALFORMED: the bytes are damaged, or the state contradicts
// itself. UNTRUSTED: the account's key did not sign the state, or the state belongs to another account.
// INVALID_ARGUMENT: the format of the state is newer.
[[nodiscard]] Result<SignedStatePtr> OpenState(std::string bytes, X509* account);

enum class StateOrder { NEWER, SAME, OLDER, CONFLICT };  // CONFLICT: same number, other content
// Says whether a candidate, which is a state from another device, is newer or older than this device's state. own: this
// device's state; null: this device has no state, so every candidate is newer.
StateOrder CompareStates(const SignedState* own, const SignedState& candidate);

// Returns the text that the account's key signs when the account removes a member. The removed device verifies the
// signature.
std::string RemovalText(const std::string& account, const std::string& networkId, std::chrono::sys_seconds at);

// A member sends this signed statement to a device that the account removed. docs/enrolment.md describes the format.
struct RemovalStatement {
    std::chrono::sys_seconds at;
    std::string signature;
};
std::string EncodeRemoval(const RemovedKey& removed);
// Decodes the statement of a removal, and checks that the account's key signed the statement for the device with that
// network id. MALFORMED: the bytes are damaged. UNTRUSTED: the signature is not valid.
[[nodiscard]] Result<RemovalStatement> DecodeRemoval(std::string_view bytes, const std::string& networkId,
                                                     X509* account);

}  // namespace Vexo::Trust
