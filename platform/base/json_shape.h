// The part of json_keys.h that does not depend on a type. This part is compiled only once. A shape (JsonShape)
// describes the JSON form of one C++ type, and a void* points to a value of that type. Only json_keys.h makes shapes.
// Shapes do not change after construction, so any thread may use them. No call blocks.
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
    std::string name;  // with dots, such as "softbus.port"; a number is a list index, such as "sims.0.state"
    std::shared_ptr<const JsonShape> shape;
    std::function<void*(void* object)> member;
    std::string fallback;  // the value that help texts show for a missing key
    std::string meaning;   // one phrase for help texts
    bool isRequired = false;
    bool isOmittedByDefault = false;  // true: not written while its value is the default
};

// The form of one JSON value. If element is set, the value is a list. If keys is not empty, the value is an object. In
// all other cases, the functions in the members read and write convert the value.
struct JsonShape {
    std::string allowed;    // the allowed values in words, such as "0 to 65535"
    bool isText = false;    // true: a text, which a person types without quotes
    bool isSecret = false;  // true: no message shows the value

    // Stores the value in target. If the value is wrong, stores nothing and returns the reason, such as "is out of
    // range".
    std::function<std::string(const cJSON& json, void* target)> read;
    std::function<Json(const void* source)> write;

    std::shared_ptr<const JsonShape> element;
    std::function<void(void* list)> clear;
    std::function<void*(void* list)> append;                        // returns the new element
    std::function<const void*(const void* list, size_t index)> at;  // returns null after the last element

    std::vector<JsonKey> keys;
    bool skipsUnknownKeys = false;
    std::shared_ptr<const void> defaults;                  // a default-constructed object
    std::function<std::string(const void* object)> check;  // returns what is wrong with the object as a whole, or empty
};

// Parses a JSON document into target. Returns all faults. Each fault begins with fileName. If there is no fault, target
// contains all values of the document.
std::vector<std::string> ReadDocument(const JsonShape& shape, const std::string& text, const std::string& fileName,
                                      void* target);
// Returns the value as a JSON tree, or null when memory could not be allocated.
Json WriteValue(const JsonShape& shape, const void* source);

// TypedValue returns the value of one key in the form in which a person would type it. SetTypedValue sets one key from
// such text (see SetTyped in json_keys.h).
std::string TypedValue(const JsonKey& key, const void* object);
[[nodiscard]] Result<void> SetTypedValue(const JsonShape& shape, void* object, std::string_view name,
                                         std::string_view typed);

// Checks a value that must be a whole number from least to most. Returns a text that says what is wrong with the value,
// or an empty string.
std::string WholeNumberFault(const cJSON& json, int64_t least, int64_t most);
// Returns the words in quotes, joined for a sentence, such as "\"off\" or \"on\"".
std::string QuotedAlternatives(const std::vector<std::string>& words);

}  // namespace Vexo
