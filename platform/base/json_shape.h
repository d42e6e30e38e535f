// The type-erased part of json_keys.h, which is compiled once instead of once for each type. A void* points to a value
// of the C++ type that a shape was made for. Only json_keys.h makes shapes. Constant once made: any thread. No call
// blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/json.h"
#include "platform/base/result.h"

namespace Vexo {

struct JsonShape;

// One row of a table of keys.
struct JsonKey {
    std::string name;  // dotted: "softbus.port"; a number is an index in a list: "sims.0.state"
    std::shared_ptr<const JsonShape> shape;
    std::function<void*(void* object)> member;
    std::string fallback;  // the value when the key is missing, for help texts
    std::string meaning;   // one phrase for help texts
    bool isRequired = false;
    bool isOmittedByDefault = false;  // not written while its value is that of a new object
};

// The form of one JSON value: a list if element is set, an object if keys is not empty, else a single value.
struct JsonShape {
    std::string allowed;    // "0 to 65535"
    bool isText = false;    // a single value that is a text: a person types it without quotes
    bool isSecret = false;  // no message shows the value

    // Stores the value, or returns what is wrong with it ("is out of range") and stores nothing.
    std::function<std::string(const cJSON& json, void* target)> read;
    std::function<Json(const void* source)> write;

    std::shared_ptr<const JsonShape> element;
    std::function<void(void* list)> clear;
    std::function<void*(void* list)> append;                        // the new element
    std::function<const void*(const void* list, size_t index)> at;  // null after the last element

    std::vector<JsonKey> keys;
    bool skipsUnknownKeys = false;
    std::shared_ptr<const void> defaults;                  // a default-constructed object
    std::function<std::string(const void* object)> check;  // returns what is wrong with the object as a whole, or empty
};

// Parses a document into target. Returns all faults, each beginning with fileName. Without a fault, target has all
// values of the document.
std::vector<std::string> ReadDocument(const JsonShape& shape, const std::string& text, const std::string& fileName,
                                      void* target);
// Returns the value as a JSON tree; null only when memory is short.
Json WriteValue(const JsonShape& shape, const void* source);

// TypedValue returns the value of one key as a person would type it; SetTypedValue sets one (SetTyped in json_keys.h).
std::string TypedValue(const JsonKey& key, const void* object);
[[nodiscard]] Result<void> SetTypedValue(const JsonShape& shape, void* object, std::string_view name,
                                         std::string_view typed);

// Returns what is wrong with a value that must be a whole number from least to most, or an empty string.
std::string WrongWholeNumber(const cJSON& json, int64_t least, int64_t most);
// Returns the words in quotes, joined for a sentence: "\"off\" or \"on\"".
std::string QuotedAlternatives(const std::vector<std::string>& words);

}  // namespace Vexo
