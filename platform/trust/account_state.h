// The account's state: its members, the keys that were removed, the link keys and the account's certificate, signed by
// the account's key. Every member has a copy, takes a newer one from any other member, and passes it on. The number
// says which state is newer. A state is secret, because it holds the link keys. Bytes: docs/enrolment.md. Value types;
// functions without state that do not block; any thread.
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
    uint16_t type = 0;      // as in HELLO; 0: unknown
    std::chrono::sys_seconds since{};

    bool operator==(const Member&) const = default;
};

struct RemovedKey {
    std::string networkId{};
    std::string name{};  // what the member was called
    std::chrono::sys_seconds at{};
    uint64_t number = 0;      // of the first state without the member
    std::string signature{};  // by the account's key, of RemovalText; DER

    bool operator==(const RemovedKey&) const = default;
};

struct AccountState {
    std::string account;  // the network id of the account's key
    uint64_t number = 0;
    std::string holder;              // the network id of the member that holds the account's key; empty: no device does
    std::string accountCertificate;  // PEM
    std::vector<Member> members;     // by name
    std::vector<RemovedKey> removed{};  // the oldest first; never shrinks
    LinkKeys linkKeys{};
    bool announcesPreviousKey = true;  // false: members announce themselves with the current link key only

    const Member* FindMember(std::string_view networkId) const;  // null: no member
    const RemovedKey* FindRemoved(std::string_view networkId) const;
};

// A state as it was signed. Immutable.
class SignedState : public NoCopyable {
public:
    // Made by SignState and OpenState.
    SignedState(AccountState state, std::string bytes, std::string digest);
    ~SignedState();

    const AccountState& State() const { return state_; }
    const std::string& Bytes() const { return bytes_; }  // CMS SignedData (RFC 5652), DER
    // The first 8 bytes of the SHA-256 of the signed text. What in Bytes is not signed can be changed by anyone.
    const std::string& Digest() const { return digest_; }

private:
    const AccountState state_;
    std::string bytes_;
    const std::string digest_;
};
using SignedStatePtr = std::shared_ptr<const SignedState>;

// Signs the state. INVALID_ARGUMENT when the signed form is larger than MAX_STATE_BYTES.
[[nodiscard]] Result<SignedStatePtr> SignState(AccountState state, X509* account, EVP_PKEY* accountKey);
// Checks signature and form. MALFORMED when the bytes are damaged or contradict themselves, UNTRUSTED when another key
// than the account's signed them or they are of another account, INVALID_ARGUMENT when they are of a newer format.
[[nodiscard]] Result<SignedStatePtr> OpenState(std::string bytes, X509* account);

enum class StateOrder { NEWER, SAME, OLDER, CONFLICT };  // CONFLICT: the same number with other content
// How candidate compares with own. own may be null, and is older than any other then.
StateOrder CompareStates(const SignedState* own, const SignedState& candidate);

// What the account's key signs when it removes a member, so that the removed device can check it.
std::string RemovalText(const std::string& account, const std::string& networkId, std::chrono::sys_seconds at);

// A removal as it is sent to the removed device: docs/link.md.
struct RemovalStatement {
    std::chrono::sys_seconds at;
    std::string signature;
};
std::string EncodeRemoval(const RemovedKey& removed);
// Checks that the account's key made the statement about that device.
[[nodiscard]] Result<RemovalStatement> DecodeRemoval(std::string_view bytes, const std::string& networkId,
                                                     X509* account);

}  // namespace Vexo::Trust
