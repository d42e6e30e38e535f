// StateExchange: keeps the account's state (trust/account_state.h) the same on all members of the account:
// - sends the state to a device whose HELLO has the number of an older state;
// - adopts a newer state that any member sends;
// - decides with which devices this device may communicate;
// - updates the TLS settings, the link keys, the announcement tokens and the list of members of the soft bus when this
//   device's identity changes.
// Protocol: docs/link.md. Used on the reactor thread, unless a function says otherwise. StateExchange has its own
// strand, on which it reads and writes files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/dfx/log_limit.h"
#include "platform/softbus/link/link.h"
#include "platform/softbus/reactor_context.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/trust/identity.h"
#include "platform/trust/secret_text.h"

namespace Vexo::SoftBus {

// What to do with a device after its HELLO.
struct Standing {
    enum class Verdict {
        TALK,
        AWAIT_STATE,  // the device is not a member yet, but may become one: wait for OnStateHandled
        LEAVE,        // close the link, after this device's HELLO and state were sent
    };
    Verdict verdict = Verdict::TALK;
    // If true, LinkOwner::OnStateHandled will be called later, because the device sends a newer state, or because this
    // device first has to read or write its files.
    bool isPending = false;
};

class StateExchange : public LinkGuard, public NoCopyable {
public:
    struct Options {
        std::filesystem::path folder;  // the folder of this device's identity; empty: the account's state is not used
        // Posts a function to the reactor, unless the soft bus has stopped. May be called on any thread.
        std::function<void(std::function<void()> work)> post;
        std::function<void()> used;             // called on the reactor thread when a changed identity is in use
        std::function<void()> identityChanged;  // called on the strand when files in the folder have changed
    };

    StateExchange(ReactorContext& context, Options options) : context_(context), options_(std::move(options)) {}
    // Blocks until all work on the strand is done.
    ~StateExchange() override;

    // Prepares the ReactorContext for this identity, which must be enrolled in an account. Call once, after all
    // transports were added to the context and before the reactor runs.
    [[nodiscard]] Result<void> Begin(const Trust::Identity& identity);
    // Changes the identity while the soft bus runs. Thread-safe. Does not block. If the new identity cannot be used, an
    // error is logged and the previous identity stays in use.
    void UseIdentity(Trust::Identity identity);
    // Blocks until all work that was posted to the strand is done. Any thread except the reactor thread.
    void Drain() { strand_.Drain(); }

    // Call this when a HELLO has arrived from a device whose certificate was verified. This device's own HELLO must
    // already be queued. Sends the account state or the certificate that the other device does not have yet.
    Standing OnHello(Link& link, const Hello& hello);
    bool IsAdopting() const { return adopting_ > 0; }
    // Calls then() on the reactor thread when no state is being adopted, but never before WhenAdopted returns. Does not
    // block.
    void WhenAdopted(std::function<void()> then);
    // Returns true if this device's state is newer than the latest state that the other device is known to have.
    bool IsBehind(const std::string& networkId) const;

    std::string RemovalOf(const std::string& networkId) override;
    std::string OnRemoved(const std::string& payload) override;
    void OnAccountFrame(const std::shared_ptr<Link>& link, FrameKind kind, std::string payload) override;

private:
    struct Prepared;
    // A function that changes files in the identity's folder. Returns the new identity, or nullopt if nothing has
    // changed.
    using Change = std::function<Result<std::optional<Trust::Identity>>()>;

    Result<std::shared_ptr<Prepared>> Prepare(const Trust::Identity& identity);
    void Apply(const Prepared& prepared);
    bool ShowsOlderCertificate(const Link& link) const;
    bool RenewCertificate(const std::shared_ptr<Link>& link, const Trust::SignedStatePtr& state);
    bool AddMemberWithoutState(Link& link, const Hello& hello);
    bool CompleteRestore(Link& link);
    void StoreAccountKey(const std::shared_ptr<Link>& link, const std::shared_ptr<Trust::SecretText>& key);
    // Calls change() on the strand, uses the identity that change() returns, and then calls link->StateHandled().
    // Returns false if the strand accepts no work.
    bool StartAdoption(const std::shared_ptr<Link>& link, Change change);
    void Adopt(const std::shared_ptr<Link>& link, const Change& change);
    void AdoptionEnded();
    void ReportConflict(const std::string& from, uint64_t number);

    ReactorContext& context_;
    const Options options_;
    Trust::Certificate account_;
    bool holdsAccountKey_ = false;
    bool isRestored_ = false;  // this device was restored from a backup, and has met no other member since
    std::map<std::string, uint64_t> numbers_;  // the latest known state number of each member
    size_t adopting_ = 0;
    std::vector<std::function<void()>> waiting_;
    QuviewDFX::LogLimit<std::string> refusals_;  // key: the sender's network id
    // Texts that identify the certificates and link keys of the last call of Prepare. The next call compares them, to
    // make new TLS settings only after a change. Used by Begin, and after that only on the strand.
    std::string certificates_;
    std::string linkKeys_;
    Tasks::Strand strand_;
};

}  // namespace Vexo::SoftBus
