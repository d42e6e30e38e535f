// StateExchange: keeps the account's state (trust/account_state.h) the same on all members:
// - sends the state to a device whose HELLO names an older one;
// - adopts a newer state from any member;
// - decides with which devices this device talks;
// - updates TLS, preamble, tokens and members of the soft bus when the identity changes.
// Protocol: docs/link.md. Used on the reactor thread, unless a function says otherwise. Files are read and written on a
// strand of its own.
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

// How to treat a device after its HELLO.
struct Standing {
    enum class Verdict {
        TALK,
        AWAIT_STATE,  // it is not a member yet, but its state may say that it is
        LEAVE,        // it gets this device's HELLO and state; then the link is closed
    };
    Verdict verdict = Verdict::TALK;
    // LinkOwner::OnStateHandled will be called, because the device sends a newer state, or because this device has to
    // read or write its files first.
    bool isPending = false;
};

class StateExchange : public LinkGuard, public NoCopyable {
public:
    struct Options {
        std::filesystem::path folder;  // of the identity; empty: the account's state is not used
        // Posts work to the reactor, unless the soft bus has stopped. Any thread.
        std::function<void(std::function<void()> work)> post;
        std::function<void()> used;             // a changed identity is in use; called on the reactor
        std::function<void()> identityChanged;  // folder has changed; called on the strand
    };

    StateExchange(ReactorContext& context, Options options) : context_(context), options_(std::move(options)) {}
    // Blocks until the work on the strand is done.
    ~StateExchange() override;

    // Prepares the context for the identity, which must be enrolled. Call once, when the context has its transports and
    // before the reactor runs.
    [[nodiscard]] Result<void> Begin(const Trust::Identity& identity);
    // Changes the identity at runtime. Any thread; does not block. If that fails, which is logged, the previous
    // identity stays in use.
    void UseIdentity(Trust::Identity identity);
    // Blocks until the work that was posted to the strand is done. Any thread but the reactor's.
    void Drain() { strand_.Drain(); }

    // Call for the HELLO of a verified device, after this device's own HELLO was queued. Sends the state or certificate
    // that the other device lacks.
    Standing OnHello(Link& link, const Hello& hello);
    // Whether a state is being adopted.
    bool IsAdopting() const { return adopting_ > 0; }
    // Runs then on the reactor thread as soon as no state is being adopted, never inside this call.
    void WhenAdopted(std::function<void()> then);
    // Whether this device's state is newer than the latest one that the other device is known to have.
    bool IsBehind(const std::string& networkId) const;

    std::string RemovalOf(const std::string& networkId) override;
    std::string OnRemoved(const std::string& payload) override;
    void OnAccountFrame(const std::shared_ptr<Link>& link, FrameKind kind, std::string payload) override;

private:
    struct Prepared;
    // Changes the identity's folder and returns the new identity; nullopt if nothing has changed.
    using Change = std::function<Result<std::optional<Trust::Identity>>()>;

    Result<std::shared_ptr<Prepared>> Prepare(const Trust::Identity& identity);
    void Apply(const Prepared& prepared);
    bool ShowsOlderCertificate(const Link& link) const;
    bool RenewCertificate(const std::shared_ptr<Link>& link, const Trust::SignedStatePtr& state);
    bool AddOlderMember(Link& link, const Hello& hello);
    bool CompleteRestore(Link& link);
    void StoreAccountKey(const std::shared_ptr<Link>& link, const std::shared_ptr<Trust::SecretText>& key);
    // Runs change on the strand, uses the identity that it returns, and calls link->StateHandled(). Returns false if
    // the strand accepts no work.
    bool StartAdoption(const std::shared_ptr<Link>& link, Change change);
    void Adopt(const std::shared_ptr<Link>& link, const Change& change);
    void AdoptionEnded();
    void ReportConflict(const std::string& from, uint64_t number);

    ReactorContext& context_;
    const Options options_;
    Trust::Certificate account_;
    bool holdsAccountKey_ = false;
    bool isRestored_ = false;                  // from a backup, and has met no other member since
    std::map<std::string, uint64_t> numbers_;  // the latest known state number of each member
    size_t adopting_ = 0;
    std::vector<std::function<void()>> waiting_;
    QuviewDFX::LogLimit<std::string> refusals_;  // by the network id of the sender
    // The certificates and link keys for which the context is prepared. Used by Begin, then on the strand.
    std::string certificates_;
    std::string linkKeys_;
    Tasks::Strand strand_;
};

}  // namespace Vexo::SoftBus
