// Reads and writes all JSON that people write. A table says for each key what is allowed and which member of a C++
// object holds the value; reading, writing, showing and setting all follow the table:
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
// takes {"name": "r", "power": {"level": 7}, "slots": [{"locked": true}]}. A key that the table does not have (unless
// the table skips such keys), one that is given twice and a required one that is missing are faults, as is a wrong
// value. A fault is one line:
//
//   radio.json: power.level: 101 is out of range (0 to 100)
//   radio.json: nmae: unknown key (did you mean "name"?)
//
// Tables and kinds are constant once made: any thread. Only Load blocks, on the disk. The walk: json_shape.cpp.
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

// What a JSON value may be, and how it becomes a T. Also the document of a file as a whole.
template <typename T>
class JsonKind {
public:
    explicit JsonKind(JsonShape shape) : shape_(std::make_shared<const JsonShape>(std::move(shape))) {}

    // Reads a text into value and returns every fault; with one, value is half read. fileName stands in the faults.
    std::vector<std::string> Read(const std::string& text, const std::string& fileName, T& value) const
    {
        return ReadDocument(*shape_, text, fileName, &value);
    }

    // The error is the first fault.
    [[nodiscard]] Result<T> Parse(const std::string& text, const std::string& fileName) const
    {
        T value{};
        std::vector<std::string> faults = Read(text, fileName, value);
        if (!faults.empty()) {
            return Fail(ErrorCode::MALFORMED, std::move(faults.front()));
        }
        return value;
    }

    // The same for a file of at most maxBytes; one that cannot be read is an error, too.
    [[nodiscard]] Result<T> Load(const std::filesystem::path& file, size_t maxBytes) const
    {
        Result<std::string> text = ReadWholeFile(file, maxBytes);
        return text ? Parse(text.value(), file.string()) : Failure(std::move(text).error());
    }

    // The text of a file that Parse reads back as the same value.
    std::string Print(const T& value) const { return IndentedJson(WriteValue(*shape_, &value).get()); }

    std::shared_ptr<const JsonShape> Shape() const { return shape_; }

private:
    std::shared_ptr<const JsonShape> shape_;
};

// What a row of a table may have beside name, kind and member: made by one of the three functions.
struct JsonKeyOptions {
    std::string meaning{};  // one phrase for help
    std::string fallback{};
    bool isRequired = false;
    bool isOmittedByDefault = false;
};

// fallback: what holds without the key; empty: the value of a new object, as JSON.
inline JsonKeyOptions Means(std::string meaning, std::string fallback = "")
{
    return {.meaning = std::move(meaning), .fallback = std::move(fallback)};
}

inline JsonKeyOptions Required(std::string meaning = "")
{
    return {.meaning = std::move(meaning), .isRequired = true};
}

// Not written while it has the value of a new object.
inline JsonKeyOptions OmittedByDefault(std::string meaning = "")
{
    return {.meaning = std::move(meaning), .isOmittedByDefault = true};
}

// A row of a table: member is a pointer to a member, or a function from Object& to the reference of one.
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

// What a key that the table does not have is: SKIPPED for what other devices write, which may be newer.
enum class UnknownKeys { REFUSED, SKIPPED };

// An object by its table of keys.
template <typename Object>
class JsonKeys : public JsonKind<Object> {
public:
    // check: what is wrong with an object whose keys are right each ("names nobody"), or empty.
    explicit JsonKeys(std::vector<JsonKeyOf<Object>> keys, std::function<std::string(const Object&)> check = {},
                      UnknownKeys unknown = UnknownKeys::REFUSED)
        : JsonKind<Object>(MakeShape(std::move(keys), std::move(check), unknown))
    {
    }

    const std::vector<JsonKey>& Keys() const& { return this->Shape()->keys; }
    const std::vector<JsonKey>& Keys() const&& = delete;  // a loop over the keys of a temporary table would outlive it

    // A value as a person types it: on, 12, garden. A secret in full.
    std::string Typed(const JsonKey& key, const Object& object) const { return TypedValue(key, &object); }
    // Sets one key from such a text. On an error the object is unchanged.
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

// A single value. read stores it, or returns what is wrong with it ("is out of range") and stores nothing.
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

// A whole number from least to most, both within 2^53: an integer, an enum, or a duration in its own unit. note follows
// the range ("0 picks a free port").
template <typename T>
JsonKind<T> WholeNumberKind(int64_t least, int64_t most, const std::string& note = "")
{
    return ValueKind<T>(
        std::to_string(least) + " to " + std::to_string(most) + (note.empty() ? "" : "; " + note),
        [least, most](const cJSON& json, T& out) {
            std::string wrong = WrongWholeNumber(json, least, most);
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

// The version of a format, of which newest is the only one that is read: a higher one is named as such.
inline JsonKind<int> FormatVersionKind(int newest)
{
    return ValueKind<int>(
        std::to_string(newest) + "; a newer version of this program reads more",
        [newest](const cJSON& json, int& out) -> std::string {
            if (cJSON_IsNumber(&json) != 0 && json.valuedouble > newest) {
                return "was made by a newer version of this program";
            }
            out = newest;
            return WrongWholeNumber(json, newest, newest);
        },
        [](int version) { return Json(cJSON_CreateNumber(version)); });
}

// A text that stands for a T: parse as read of ValueKind, and print as the way back. What parse returns for a secret
// must not hold the text.
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

// A text as it is. wrong: what is wrong with one ("is empty"), or empty; without it every text is right.
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

// One of the words of a table.
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

// A list of any length. allowed: "a list of paths".
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

// The same kind for a value that no message may show.
template <typename T>
JsonKind<T> Secret(const JsonKind<T>& kind)
{
    JsonShape shape = *kind.Shape();
    shape.isSecret = true;
    return JsonKind<T>(std::move(shape));
}

}  // namespace Vexo
