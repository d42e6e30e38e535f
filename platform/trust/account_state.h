// The account's state: its members, the removed keys, the link keys and the account's certificate, signed by the
// account's key. Every member has a copy, accepts a newer state from any other member, and passes it on. The state with
// the higher number is newer. A state is secret, because it contains the link keys. Format: docs/enrolment.md. Value
// types; functions without state that do not block; any thread.
// Next: membership.h (how a state changes).
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

inline constexpr size_t MAX_STATE_BYTES = 64 * 1024;  // of the signed form

struct Member {
    std::string networkId;  // 64 hex characters
    std::string name;       // unique in the account; 1 to 64 bytes
    uint16_t type = 0;      // device type, as in the HELLO frame (docs/link.md); 0: unknown
    std::chrono::sys_seconds since{};

    bool operator==(const Member&) const = default;
};

struct RemovedKey {
    std::string networkId{};
    std::string name{};  // the member's name
    std::chrono::sys_seconds at{};
    uint64_t number = 0;      // number of the first state without the member
    std::string signature{};  // signature of RemovalText by the account's key; DER

    bool operator==(const RemovedKey&) const = default;
};

struct AccountState {
    std::string account;  // the network id of the account's key
    uint64_t number = 0;
    std::string holder;  // network id of the member that holds the account's key; empty: no member does (docs/fleet.md)
    std::string accountCertificate;     // PEM
    std::vector<Member> members;        // sorted by name in a signed state
    std::vector<RemovedKey> removed{};  // the oldest first; never shrinks
    LinkKeys linkKeys{};
    bool announcesPreviousKey = true;  // false: members announce themselves with the current link key only

    const Member* FindMember(std::string_view networkId) const;  // null: not a member
    const RemovedKey* FindRemoved(std::string_view networkId) const;
};

// A signed state. Immutable.
class SignedState : public NoCopyable {
public:
    // Called by OpenState only.
    SignedState(AccountState state, std::string bytes, std::string digest);
    ~SignedState();

    const AccountState& State() const { return state_; }
    const std::string& Bytes() const { return bytes_; }  // CMS SignedData (RFC 5652), DER
    // The first 8 bytes of the SHA-256 of the signed text. Other parts of Bytes are not signed, so anyone can change
    // them.
    const std::string& Digest() const { return digest_; }

private:
    const AccountState state_;
    std::string bytes_;
    const std::string digest_;
};
using SignedStatePtr = std::shared_ptr<const SignedState>;

// Signs the state. INVALID_ARGUMENT when the signed form is larger than MAX_STATE_BYTES.
[[nodiscard]] Result<SignedStatePtr> SignState(AccountState state, X509* account, EVP_PKEY* accountKey);
// Verifies the signature and decodes the state. MALFORMED: damaged, or contradicts itself. UNTRUSTED: not signed by the
// account's key, or the state of another account. INVALID_ARGUMENT: the format is newer.
[[nodiscard]] Result<SignedStatePtr> OpenState(std::string bytes, X509* account);

enum class StateOrder { NEWER, SAME, OLDER, CONFLICT };  // CONFLICT: the same number with other content
// Returns whether candidate is newer or older than own. A null own is older than every state.
StateOrder CompareStates(const SignedState* own, const SignedState& candidate);

// Returns the text that the account's key signs when it removes a member. The removed device verifies that signature.
std::string RemovalText(const std::string& account, const std::string& networkId, std::chrono::sys_seconds at);

// The proof of a removal that is sent to the removed device. Format: docs/enrolment.md.
struct RemovalStatement {
    std::chrono::sys_seconds at;
    std::string signature;
};
std::string EncodeRemoval(const RemovedKey& removed);
// Decodes the statement and checks that the account's key signed it for that device. MALFORMED, UNTRUSTED.
[[nodiscard]] Result<RemovalStatement> DecodeRemoval(std::string_view bytes, const std::string& networkId,
                                                     X509* account);

}  // namespace Vexo::Trust
