// HMAC-SHA256 (RFC 2104) under the keys that an account's link keys give for one purpose (link_key.h). Used by
// platform/trust only. Constant once made: any thread. No call blocks.
#pragma once

#include <openssl/evp.h>

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

struct MacDeleter {
    void operator()(EVP_MAC* mac) const noexcept { EVP_MAC_free(mac); }
    void operator()(EVP_MAC_CTX* context) const noexcept { EVP_MAC_CTX_free(context); }
};

class Hmac {
public:
    // The key for a purpose. False when OpenSSL fails; OpenSslReason says why.
    Hmac(const LinkKey& linkKey, std::string_view purpose);
    explicit operator bool() const { return keyed_ != nullptr; }

    // The hash of the parts, one after the other: 32 bytes. Empty only when memory is short.
    std::string Of(std::initializer_list<std::string_view> parts) const;

private:
    // Copied for each hash: fetching the algorithm each time would cost more than the hash itself.
    std::unique_ptr<EVP_MAC_CTX, MacDeleter> keyed_;
};

// The current link key's and the previous one's.
class LinkHmacs {
public:
    // clock outlives the object.
    [[nodiscard]] static Result<LinkHmacs> Make(const LinkKeys& keys, std::string_view purpose, const Clock& clock);

    const Hmac& Current() const { return current_; }
    // Null when there is none, or when it is no longer valid by the clock.
    const Hmac* Previous() const { return previous_ && clock_->WallNow() < previousUntil_ ? &*previous_ : nullptr; }

private:
    LinkHmacs(const LinkKeys& keys, std::string_view purpose, const Clock& clock);

    Hmac current_;
    std::optional<Hmac> previous_;
    WallTime previousUntil_;
    const Clock* clock_;
};

}  // namespace Vexo::Trust
