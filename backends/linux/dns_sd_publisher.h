// DnsSdPublisher: announces this device through Avahi. Each publication is an entry group of Avahi. Its instance names
// consist of the token and random characters, and its host name is random, so it reveals neither the machine's host
// name nor an earlier publication. A new publication is established before the old one is freed. Used on the channel's
// strand (dns_sd_channel.h); blocks for Avahi's answers.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "backends/linux/avahi.h"
#include "backends/linux/lan_addresses.h"
#include "platform/base/host_port.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::Linux {

// An instance name is the token in hex, "-" and 8 random hex characters: 25 characters.
inline constexpr size_t DNS_SD_TOKEN_CHARACTERS = 2 * Trust::TOKEN_BYTES;
inline constexpr size_t DNS_SD_SUFFIX_BYTES = 4;

class DnsSdPublisher : public NoCopyable {
public:
    // What to do after the state of a group changed.
    enum class Outcome : uint8_t { NOTHING, UPDATE_NOW, UPDATE_LATER };

    DnsSdPublisher(DaemonCalls& avahi, HostPort listening) : avahi_(avahi), listening_(std::move(listening)) {}

    // A token of another length than Trust::TOKEN_BYTES is ignored: the token before stays announced.
    void SetToken(const std::string& token) { token_ = token.size() == Trust::TOKEN_BYTES ? token : token_; }
    // Publishes the token with these addresses, unless they are already published. After an error, call Update again
    // later.
    [[nodiscard]] Result<void> Update(const std::vector<LanAddress>& lan);
    // Whether the device accepts connections at one of these addresses, so that there is one to announce.
    bool HasAddress(const std::vector<LanAddress>& lan) const;
    // Call for Avahi's signal StateChanged of an entry group.
    Outcome OnStateChanged(const std::string& path, int32_t state, const std::string& error);
    // Whether Avahi has not yet accepted or rejected what Update published.
    bool IsPending() const { return pending_.has_value(); }
    // Whether this publisher made the name, also when it is no longer published.
    bool IsOwn(const std::string& instance) const;
    // Call when Avahi has exited. Forgets the entry groups, which no longer exist.
    void Reset();
    void Withdraw();

private:
    struct Publication {
        std::string token;
        std::vector<LanAddress> addresses;

        bool operator==(const Publication&) const = default;
    };
    struct Group {
        std::string path;
        Publication publication;
    };

    Publication Wanted(const std::vector<LanAddress>& lan);
    [[nodiscard]] Result<Group> Commit(const Publication& publication);
    [[nodiscard]] Result<void> Fill(const Group& group);
    // Returns a new instance name. From now on IsOwn returns true for it.
    [[nodiscard]] Result<std::string> MakeInstance(const std::string& token);
    void Free(std::optional<Group>& group);

    DaemonCalls& avahi_;
    const HostPort listening_;
    std::string token_;
    std::optional<Group> established_;
    std::optional<Group> pending_;  // replaces established_ once Avahi has established it
    std::deque<std::string> ownNames_;
    int collisions_ = 0;  // since a group was established
    bool hasLoggedFailure_ = false;
    bool hasLoggedOmission_ = false;
};

}  // namespace Vexo::Linux
