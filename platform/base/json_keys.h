// Reads and writes JSON. All JSON that people write is read with this header. A table (JsonKeys) lists the keys of a
// JSON object. For each key the table gives the kind of the value (JsonKind: the allowed values) and the C++ member
// that stores the value. The functions that read or write an object, or show or set one value, all use the table:
//
//   const JsonKeys<Radio>& RadioKeys()
//   {
//       static const JsonKeys<Radio> keys({
//           {"name", TextKind("a text"), &Radio::name, Required()},
//           {"power.level", WholeNumberKind<int>(0, 100), &Radio::powerLevel},
//           {"slots.0.locked", FlagKind(), [](Radio& radio) -> bool& { return radio.locked[0]; }},
//       });
//       return keys;
//   }
//
// This table accepts {"name": "r", "power": {"level": 7}, "slots": [{"locked": true}]}. These are faults: a value that
// is not allowed, a key that occurs twice, a missing required key, and a key that the table does not have (unless the
// table skips unknown keys). A fault is reported as one line:
//
//   radio.json: power.level: 101 is out of range (0 to 100)
//   radio.json: nmae: unknown key (did you mean "name"?)
//
// Tables and kinds do not change after construction, so any thread may use them. Only Load blocks, on the disk.
// json_shape.cpp contains the implementation.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/base/files.h"
#include "platform/base/json_shape.h"
#include "platform/base/named_values.h"

namespace Vexo {

// A kind of JSON value: the allowed values, and their conversion to and from the C++ type T. A kind can also read and
// write a whole document.
template <typename T>
class JsonKind {
public:
    explicit JsonKind(JsonShape shape) : shape_(std::make_shared<const JsonShape>(std::move(shape))) {}

    // Parses the JSON text and stores the result in value. Returns all faults, or an empty list when there is none. If
    // there is a fault, only some parts of value are set. Each fault begins with fileName.
    std::vector<std::string> Read(const std::string& text, const std::string& fileName, T& value) const
    {
        return ReadDocument(*shape_, text, fileName, &value);
    }

    // Parses the JSON text and returns the value. The error is the first fault. Each fault begins with fileName.
    [[nodiscard]] Result<T> Parse(const std::string& text, const std::string& fileName) const
    {
        T value{};
        std::vector<std::string> faults = Read(text, fileName, value);
        if (!faults.empty()) {
            return Fail(ErrorCode::MALFORMED, std::move(faults.front()));
        }
        return value;
    }

    // Reads a file of at most maxBytes, parses its text and returns the value. The error is the first fault, or the
    // reason why the file cannot be read.
    [[nodiscard]] Result<T> Load(const std::filesystem::path& file, size_t maxBytes) const
    {
        Result<std::string> text = ReadWholeFile(file, maxBytes);
        return text ? Parse(text.value(), file.string()) : Failure(std::move(text).error());
    }

    // Returns indented JSON text that Parse reads back as the same value.
    std::string Print(const T& value) const { return IndentedJson(WriteValue(*shape_, &value).get()); }

    std::shared_ptr<const JsonShape> Shape() const { return shape_; }

private:
    std::shared_ptr<const JsonShape> shape_;
};

// Optional properties of one row in a table of keys. The functions Means, Required and OmittedByDefault return them.
struct JsonKeyOptions {
    std::string meaning{};  // one phrase for help texts
    std::string fallback{};
    bool isRequired = false;
    bool isOmittedByDefault = false;
};

// meaning: one phrase for help texts.
// fallback: the value that help texts show for a missing key. Empty: the value in a default-constructed object, as
// JSON.
inline JsonKeyOptions Means(std::string meaning, std::string fallback = "")
{
    return {.meaning = std::move(meaning), .fallback = std::move(fallback)};
}

inline JsonKeyOptions Required(std::string meaning = "")
{
    return {.meaning = std::move(meaning), .isRequired = true};
}

// A key with this option is not written to JSON while its value equals the value in a default-constructed object.
inline JsonKeyOptions OmittedByDefault(std::string meaning = "")
{
    return {.meaning = std::move(meaning), .isOmittedByDefault = true};
}

// One row of a table of keys.
// member: a pointer to a data member, or a function that takes an Object& and returns a reference to a part of that
// object.
template <typename Object>
struct JsonKeyOf {
    template <typename T, typename Member>
    JsonKeyOf(const std::string& name, const JsonKind<T>& kind, Member member, const JsonKeyOptions& options = {})
        : key{.name = name,
              .shape = kind.Shape(),
              .member = [member](void* object) -> void* { return &std::invoke(member, *static_cast<Object*>(object)); },
              .fallback = options.fallback,
              .meaning = options.meaning,
              .isRequired = options.isRequired,
              .isOmittedByDefault = options.isOmittedByDefault}
    {
        static_assert(std::is_same_v<std::invoke_result_t<Member, Object&>, T&>, "the kind is not the member's");
    }

    JsonKey key;
};

// Says what happens to a key that the table does not have. REFUSED: the key is a fault. SKIPPED: the key is ignored.
// Use SKIPPED for JSON from other devices, which may run a newer version.
enum class UnknownKeys { REFUSED, SKIPPED };

// The kind of a JSON object. A table lists the object's keys.
template <typename Object>
class JsonKeys : public JsonKind<Object> {
public:
    // check: a function that is called when the object has no other fault. The function returns a text that says what
    // is wrong with the object as a whole (such as "names nobody"), or an empty string.
    explicit JsonKeys(std::vector<JsonKeyOf<Object>> keys, std::function<std::string(const Object&)> check = {},
                      UnknownKeys unknown = UnknownKeys::REFUSED)
        : JsonKind<Object>(MakeShape(std::move(keys), std::move(check), unknown))
    {
    }

    const std::vector<JsonKey>& Keys() const& { return this->Shape()->keys; }
    const std::vector<JsonKey>& Keys() const&& = delete;  // the reference would outlive a temporary table

    // Returns the value of one key as a person would type it (a text without quotes): true, 12 or garden. A secret is
    // returned in full.
    std::string Typed(const JsonKey& key, const Object& object) const { return TypedValue(key, &object); }
    // Sets one key from text that a person typed. After an error, the elements of a list may have changed; any other
    // value is unchanged. Does not call the table's function check.
    [[nodiscard]] Result<void> SetTyped(Object& object, std::string_view name, std::string_view typed) const
    {
        return SetTypedValue(*this->Shape(), &object, name, typed);
    }

private:
    static JsonShape MakeShape(std::vector<JsonKeyOf<Object>> keys, std::function<std::string(const Object&)> check,
                               UnknownKeys unknown)
    {
        JsonShape shape;
        shape.skipsUnknownKeys = unknown == UnknownKeys::SKIPPED;
        auto defaults = std::make_shared<Object>();
        for (JsonKeyOf<Object>& row : keys) {
            if (row.key.fallback.empty()) {
                row.key.fallback = JsonText(WriteValue(*row.key.shape, row.key.member(defaults.get())).get());
            }
            shape.keys.push_back(std::move(row.key));
        }
        shape.defaults = std::move(defaults);
        if (check) {
            shape.check = [check = std::move(check)](const void* object) {
                return check(*static_cast<const Object*>(object));
            };
        }
        return shape;
    }
};

// Makes a JsonKind from the functions that read and write one JSON value.
// allowed: the allowed values, in words for fault messages.
// read: stores the value in out and returns an empty text. If the value is wrong, it stores nothing and returns the
// reason, such as "is out of range".
// write: returns the value as JSON.
template <typename T>
JsonKind<T> ValueKind(std::string allowed, std::function<std::string(const cJSON& json, T& out)> read,
                      std::function<Json(const T& value)> write)
{
    JsonShape shape;
    shape.allowed = std::move(allowed);
    shape.read = [read = std::move(read)](const cJSON& json, void* target) {
        return read(json, *static_cast<T*>(target));
    };
    shape.write = [write = std::move(write)](const void* source) { return write(*static_cast<const T*>(source)); };
    return JsonKind<T>(std::move(shape));
}

inline JsonKind<bool> FlagKind()
{
    return ValueKind<bool>(
        "true or false",
        [](const cJSON& json, bool& out) {
            if (cJSON_IsBool(&json)) {
                out = cJSON_IsTrue(&json) != 0;
            }
            return cJSON_IsBool(&json) ? "" : "is not allowed";
        },
        [](bool value) { return Json(cJSON_CreateBool(value ? 1 : 0)); });
}

// Returns the kind of a whole number. least, most: the smallest and the largest allowed number, both from -2^53 to
// 2^53. T is an integer, an enum, or a duration. A duration is written as the number of its units.
// note: a text that follows the range in fault messages, such as "0 picks a free port".
template <typename T>
JsonKind<T> WholeNumberKind(int64_t least, int64_t most, const std::string& note = "")
{
    return ValueKind<T>(
        std::to_string(least) + " to " + std::to_string(most) + (note.empty() ? "" : "; " + note),
        [least, most](const cJSON& json, T& out) {
            std::string wrong = WholeNumberFault(json, least, most);
            if (wrong.empty()) {
                out = static_cast<T>(static_cast<int64_t>(json.valuedouble));
            }
            return wrong;
        },
        [](const T& value) {
            if constexpr (requires { value.count(); }) {
                return Json(cJSON_CreateNumber(static_cast<double>(value.count())));
            } else {
                return Json(cJSON_CreateNumber(static_cast<double>(value)));
            }
        });
}

// Returns the kind of a file format's version number. newest: the only accepted number. The fault for a higher number
// says that a newer version of this program made the file.
inline JsonKind<int> FormatVersionKind(int newest)
{
    return ValueKind<int>(
        std::to_string(newest) + "; a newer version of this program reads more",
        [newest](const cJSON& json, int& out) -> std::string {
            if (cJSON_IsNumber(&json) != 0 && json.valuedouble > newest) {
                return "was made by a newer version of this program";
            }
            out = newest;
            return WholeNumberFault(json, newest, newest);
        },
        [](int version) { return Json(cJSON_CreateNumber(version)); });
}

// Returns the kind of a text that stands for a T. parse: converts the text and stores the T in out; if the text is
// wrong, stores nothing and returns the reason. print: returns the text for a T. For a secret, the reason must not
// contain the text.
template <typename T>
JsonKind<T> ParsedTextKind(std::string allowed, std::function<std::string(const std::string& text, T& out)> parse,
                           std::function<std::string(const T& value)> print)
{
    JsonShape shape =
        *ValueKind<T>(
             std::move(allowed),
             [parse = std::move(parse)](const cJSON& json, T& out) {
                 return cJSON_IsString(&json) ? parse(json.valuestring, out) : "is not a text";
             },
             [print = std::move(print)](const T& value) { return Json(cJSON_CreateString(print(value).c_str())); })
             .Shape();
    shape.isText = true;
    return JsonKind<T>(std::move(shape));
}

// Returns the kind of a text.
// wrong: a function that returns what is wrong with a text, such as "is empty", or an empty string. If there is no such
// function, every text is allowed.
inline JsonKind<std::string> TextKind(std::string allowed, std::function<std::string(const std::string&)> wrong = {})
{
    return ParsedTextKind<std::string>(
        std::move(allowed),
        [wrong = std::move(wrong)](const std::string& text, std::string& out) {
            std::string fault = wrong ? wrong(text) : "";
            if (fault.empty()) {
                out = text;
            }
            return fault;
        },
        [](const std::string& text) { return text; });
}

inline JsonKind<std::string> FilledTextKind()
{
    return TextKind("a text that is not empty", [](const std::string& text) { return text.empty() ? "is empty" : ""; });
}

// Returns the kind of a text that must be one of the names in a table.
template <typename T, size_t count>
JsonKind<T> NamedKind(const NamedValue<T> (&names)[count])
{
    const std::vector<NamedValue<T>> table(std::begin(names), std::end(names));
    std::vector<std::string> words;
    words.reserve(count);
    for (const NamedValue<T>& named : table) {
        words.emplace_back(named.name);
    }
    return ParsedTextKind<T>(
        QuotedAlternatives(words),
        [table](const std::string& text, T& out) {
            for (const NamedValue<T>& named : table) {
                if (text == named.name) {
                    out = named.value;
                    return "";
                }
            }
            return "is none of its values";
        },
        [table](const T& value) { return NameOf(table, value); });
}

// Returns the kind of a list of any length.
// allowed: the words that describe the list in fault messages, such as "a list of paths".
template <typename T>
JsonKind<std::vector<T>> ListKind(const JsonKind<T>& element, std::string allowed)
{
    static_assert(!std::is_same_v<T, bool>, "the elements of std::vector<bool> have no address");
    using List = std::vector<T>;
    JsonShape shape;
    shape.allowed = std::move(allowed);
    shape.element = element.Shape();
    shape.clear = [](void* list) { static_cast<List*>(list)->clear(); };
    shape.append = [](void* list) -> void* { return &static_cast<List*>(list)->emplace_back(); };
    shape.at = [](const void* list, size_t index) -> const void* {
        const auto& elements = *static_cast<const List*>(list);
        return index < elements.size() ? &elements[index] : nullptr;
    };
    return JsonKind<List>(std::move(shape));
}

// Returns a copy of the kind for a secret value, which no message shows.
template <typename T>
JsonKind<T> Secret(const JsonKind<T>& kind)
{
    JsonShape shape = *kind.Shape();
    shape.isSecret = true;
    return JsonKind<T>(std::move(shape));
}

}  // namespace Vexo
