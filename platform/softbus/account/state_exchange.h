// StateExchange: keeps the account's state (trust/account_state.h) the same on all members. It sends the state to a
// device whose HELLO names an older one, adopts a newer one from any member, decides with whom this device talks, and
// changes what the soft bus works with when the identity changes: TLS, preamble, tokens and members. What devices say
// to each other: docs/link.md. Used on the reactor thread, but where a function says otherwise. Files are read and
// written on a strand of its own.
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

// What follows from a device's HELLO.
struct Standing {
    enum class Verdict {
        TALK,
        AWAIT_STATE,  // it is no member yet, and its state may say that it is one
        LEAVE,        // it gets this device's HELLO and state, and nothing else
    };
    Verdict verdict = Verdict::TALK;
    // It sends a newer state, or this device has to read or write its files first: LinkOwner::OnStateHandled follows.
    bool isPending = false;
};

class StateExchange : public LinkGuard, public NoCopyable {
public:
    struct Options {
        std::filesystem::path folder;  // the identity's; empty: no state is used
        // Posts work to the reactor, unless the soft bus has stopped. Any thread.
        std::function<void(std::function<void()> work)> post;
        std::function<void()> used;             // the soft bus works with another identity now; on the reactor
        std::function<void()> identityChanged;  // the folder has changed; on the strand
    };

    StateExchange(ReactorContext& context, Options options) : context_(context), options_(std::move(options)) {}
    // Waits for work on the strand.
    ~StateExchange() override;

    // Prepares the context for the identity, which must be enrolled. Call once, before the reactor runs and once the
    // context has its transports.
    [[nodiscard]] Result<void> Begin(const Trust::Identity& identity);
    // The same at runtime. Any thread; returns at once. A failure is logged, and the identity before stays in use.
    void UseIdentity(Trust::Identity identity);
    // Blocks until the strand has done what was posted before. Any thread but the reactor's.
    void Drain() { strand_.Drain(); }

    // Call for the HELLO of a verified device, once this device's own is queued: sends what the other side lacks.
    Standing OnHello(Link& link, const Hello& hello);
    // Whether a state is being adopted.
    bool IsAdopting() const { return adopting_ > 0; }
    // Runs then once no state is being adopted; never in this call.
    void WhenAdopted(std::function<void()> then);
    // Whether this device's state is newer than the last one that the device is known to have.
    bool IsBehind(const std::string& networkId) const;

    std::string RemovalOf(const std::string& networkId) override;
    std::string OnRemoved(const std::string& payload) override;
    void OnAccountFrame(const std::shared_ptr<Link>& link, FrameKind kind, std::string payload) override;

private:
    struct Prepared;
    // A change of the identity's folder; nullopt: nothing has changed.
    using Change = std::function<Result<std::optional<Trust::Identity>>()>;

    Result<std::shared_ptr<Prepared>> Prepare(const Trust::Identity& identity);
    void Apply(const Prepared& prepared);
    bool ShowsOlderCertificate(const Link& link) const;
    bool RenewCertificate(const std::shared_ptr<Link>& link, const Trust::SignedStatePtr& state);
    bool AddOlderMember(Link& link, const Hello& hello);
    bool CompleteRestore(Link& link);
    void StoreAccountKey(const std::shared_ptr<Link>& link, const std::shared_ptr<Trust::SecretText>& key);
    // Runs change on the strand, and works with the identity that it returns; calls StateHandled then.
    bool StartAdoption(const std::shared_ptr<Link>& link, Change change);
    void Adopt(const std::shared_ptr<Link>& link, const Change& change);
    void AdoptionEnded();
    void ReportConflict(const std::string& from, uint64_t number);

    ReactorContext& context_;
    const Options options_;
    Trust::Certificate account_;
    bool holdsAccountKey_ = false;
    bool isRestored_ = false;                  // and has met no other member yet
    std::map<std::string, uint64_t> numbers_;  // of the states of members, by their network ids
    size_t adopting_ = 0;
    std::vector<std::function<void()>> waiting_;
    QuviewDFX::LogLimit<std::string> refusals_;  // by the network id of who sent the state
    // What the context was prepared for; used by Begin, then on the strand.
    std::string certificates_;
    std::string linkKeys_;
    Tasks::Strand strand_;
};

}  // namespace Vexo::SoftBus
