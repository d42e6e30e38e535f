// The untyped side of json_keys.h: what the walk over a document works on, so that it is compiled once and not for
// every type. A void* is the C++ value of the type that the shape was made for; only json_keys.h makes shapes and calls
// these functions. Constant once made: any thread. No call blocks.
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
    std::string name;  // dotted: "softbus.port"; a number stands for an element of a list: "sims.0.state"
    std::shared_ptr<const JsonShape> shape;
    std::function<void*(void* object)> member;
    std::string fallback;  // what holds without the key
    std::string meaning;   // one phrase
    bool isRequired = false;
    bool isOmittedByDefault = false;  // not written while it has the value of a new object
};

// What one JSON value may be: a list if element is set, an object if keys are, else a single value.
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
    std::function<const void*(const void* list, size_t index)> at;  // null after the last

    std::vector<JsonKey> keys;
    bool skipsUnknownKeys = false;
    std::shared_ptr<const void> defaults;                  // a new object
    std::function<std::string(const void* object)> check;  // what is wrong with the object as a whole, or empty
};

// Reads a document into target. Every fault, with the file's name; none: target holds what the document says.
std::vector<std::string> ReadDocument(const JsonShape& shape, const std::string& text, const std::string& fileName,
                                      void* target);
// Null only when memory is short.
Json WriteValue(const JsonShape& shape, const void* source);

// One key of an object as a person types its value.
std::string TypedValue(const JsonKey& key, const void* object);
[[nodiscard]] Result<void> SetTypedValue(const JsonShape& shape, void* object, std::string_view name,
                                         std::string_view typed);

// What is wrong with a value that is to be a whole number of a range, or empty.
std::string WrongWholeNumber(const cJSON& json, int64_t least, int64_t most);
// "\"off\" or \"on\"".
std::string QuotedAlternatives(const std::vector<std::string>& words);

}  // namespace Vexo
