// SecretText: a string that contains a secret. Its memory is overwritten when it is destroyed. A value type.
#pragma once

#include <openssl/crypto.h>

#include <string>
#include <utility>

namespace Vexo::Trust {

struct SecretText {
    explicit SecretText(std::string secret) : text(std::move(secret)) {}
    SecretText(SecretText&&) = default;
    SecretText& operator=(SecretText&&) = default;
    ~SecretText() { OPENSSL_cleanse(text.data(), text.size()); }

    std::string text;
};

}  // namespace Vexo::Trust
