// HMAC-SHA256 (RFC 2104) with a key that is derived from a link key for one purpose (link_key.h). Only platform/trust
// uses this header. The objects do not change after construction, so any thread may use them. No call blocks.
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
    // Derives the HMAC key for that purpose from the link key. When OpenSSL fails, the object converts to false and
    // OpenSslReason returns the cause.
    Hmac(const LinkKey& linkKey, std::string_view purpose);
    explicit operator bool() const { return keyed_ != nullptr; }

    // Returns the HMAC of the concatenated parts: 32 bytes. Returns an empty string only when memory is short.
    std::string Compute(std::initializer_list<std::string_view> parts) const;

private:
    // An OpenSSL context that contains the key. Compute copies the context for each HMAC, because fetching the
    // algorithm each time would cost more than the HMAC itself.
    std::unique_ptr<EVP_MAC_CTX, MacDeleter> keyed_;
};

// Two Hmac objects: one for the current link key, one for the previous link key.
class LinkHmacs {
public:
    // Returns an error when OpenSSL fails. clock: must outlive the object.
    [[nodiscard]] static Result<LinkHmacs> Make(const LinkKeys& keys, std::string_view purpose, const Clock& clock);

    const Hmac& Current() const { return current_; }
    // Returns null when there is no previous link key, or when the previous key is no longer valid by the clock.
    const Hmac* Previous() const { return previous_ && clock_->WallNow() < previousUntil_ ? &*previous_ : nullptr; }

private:
    LinkHmacs(const LinkKeys& keys, std::string_view purpose, const Clock& clock);

    Hmac current_;
    std::optional<Hmac> previous_;
    WallTime previousUntil_;
    const Clock* clock_;
};

}  // namespace Vexo::Trust
