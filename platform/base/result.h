// Result<T>: a value, or an Error that says what failed and where. For the platform's own functions whose failure a
// person will read (configuration, keys, files); the system's interfaces keep their integer codes.
// Value types; any thread.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace Vexo {

struct Error {
    std::string message;  // one sentence: what is wrong with what, and what is allowed; never a secret
};

template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : state_(std::move(value)) {}
    Result(Error error) : state_(std::move(error)) {}

    bool Ok() const noexcept { return std::holds_alternative<T>(state_); }
    explicit operator bool() const noexcept { return Ok(); }
    // Only when Ok().
    T& Value() { return std::get<T>(state_); }
    const T& Value() const { return std::get<T>(state_); }
    // Only when not Ok().
    const std::string& Message() const { return std::get<Error>(state_).message; }
    Error TakeError() { return std::get<Error>(std::move(state_)); }

private:
    std::variant<T, Error> state_;
};

// Success without a value, or an Error.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : error_(std::move(error)) {}

    bool Ok() const noexcept { return !error_.has_value(); }
    explicit operator bool() const noexcept { return Ok(); }
    const std::string& Message() const { return error_->message; }
    Error TakeError() { return std::move(*error_); }

private:
    std::optional<Error> error_;
};

}  // namespace Vexo
