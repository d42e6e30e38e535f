// SecretText: a value type for a string that contains a secret. The destructor overwrites the string's memory.
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
