// DnsSdPublisher: announces this device through Avahi. A publication is an entry group, which is an object of Avahi.
// Its instance names consist of the token and random characters, and its host name is random. So a publication does not
// contain the machine's host name, and publications with different tokens have no name in common. The old publication
// is freed after the new publication is established. Used on the strand of the DNS-SD channel (dns_sd_channel.h). Calls
// block until Avahi answers.
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
    // What the caller of OnStateChanged must do.
    enum class Outcome : uint8_t { NOTHING, UPDATE_NOW, UPDATE_LATER };

    DnsSdPublisher(DaemonCalls& avahi, HostPort listening) : avahi_(avahi), listening_(std::move(listening)) {}

    // Sets the token to announce. A token whose length is not Trust::TOKEN_BYTES is ignored, and the previous token
    // stays announced.
    void SetToken(const std::string& token) { token_ = token.size() == Trust::TOKEN_BYTES ? token : token_; }
    // Publishes the token and these addresses, unless they are already published. After an error, call Update again
    // later.
    [[nodiscard]] Result<void> Update(const std::vector<LanAddress>& lan);
    // Whether the device accepts connections at one of these addresses. If it does not, there is no address to
    // announce.
    bool HasAddress(const std::vector<LanAddress>& lan) const;
    // Call this for Avahi's signal StateChanged of an entry group.
    Outcome OnStateChanged(const std::string& path, int32_t state, const std::string& error);
    // Returns true until Avahi reports whether it accepts or rejects the latest publication.
    bool IsPending() const { return pending_.has_value(); }
    // Whether this publisher created the given instance name, even if the name is no longer published.
    bool IsOwn(const std::string& instance) const;
    // Forgets the entry groups. Call this when Avahi has exited, because they no longer exist then.
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
    // Returns a new instance name with the given token. From then on, IsOwn returns true for this name.
    [[nodiscard]] Result<std::string> MakeInstance(const std::string& token);
    void Free(std::optional<Group>& group);

    DaemonCalls& avahi_;
    const HostPort listening_;
    std::string token_;
    std::optional<Group> established_;
    std::optional<Group> pending_;  // replaces established_ when Avahi has established it
    std::deque<std::string> ownNames_;
    int collisions_ = 0;  // name collisions since Avahi last established a group
    bool hasLoggedFailure_ = false;
    bool hasLoggedOmission_ = false;
};

}  // namespace Vexo::Linux
