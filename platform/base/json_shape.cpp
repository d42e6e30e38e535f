#include "platform/base/json_shape.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "platform/base/text.h"

namespace Vexo {
namespace {

constexpr size_t MAX_SHOWN_BYTES = 40;

std::string Joined(const std::string& group, const std::string& name)
{
    return group.empty() || name.empty() ? group + name : group + "." + name;
}

std::string Quoted(const std::string& text)
{
    return JsonText(Json(cJSON_CreateString(text.c_str())).get());
}

const JsonKey* FindKey(const JsonShape& shape, std::string_view name)
{
    const auto found =
        std::find_if(shape.keys.begin(), shape.keys.end(), [&](const JsonKey& key) { return key.name == name; });
    return found != shape.keys.end() ? &*found : nullptr;
}

// Returns true if a key belongs to a group. A group is the beginning of a dotted name: the key "sims.0.state" belongs
// to the groups "sims" and "sims.0". Every key belongs to the group "".
bool IsInGroup(const JsonKey& key, const std::string& group)
{
    return group.empty() || key.name.starts_with(group + ".");
}

bool IsGroup(const JsonShape& shape, const std::string& group)
{
    return std::any_of(shape.keys.begin(), shape.keys.end(), [&](const JsonKey& key) { return IsInGroup(key, group); });
}

bool IsListGroup(const JsonShape& shape, const std::string& group)
{
    const std::string first = Joined(group, "0");
    return FindKey(shape, first) != nullptr || IsGroup(shape, first);
}

// Returns the part of the key's dotted name that comes after the group's name and ends at the next dot.
std::string NameInGroup(const JsonKey& key, const std::string& group)
{
    const size_t start = group.empty() ? 0 : group.size() + 1;
    return key.name.substr(start, key.name.find('.', start) - start);
}

// Returns the quoted names that a group has, such as "\"socket\", \"socket_mode\"".
std::string NamesInGroup(const JsonShape& shape, const std::string& group)
{
    std::string names;
    std::set<std::string> named;
    for (const JsonKey& key : shape.keys) {
        if (IsInGroup(key, group) && named.insert(NameInGroup(key, group)).second) {
            names += (names.empty() ? "" : ", ") + Quoted(NameInGroup(key, group));
        }
    }
    return names;
}

bool HoldsSecret(const JsonShape& shape, const std::string& group = "")
{
    return shape.isSecret || (shape.element != nullptr && HoldsSecret(*shape.element)) ||
           std::any_of(shape.keys.begin(), shape.keys.end(),
                       [&](const JsonKey& key) { return IsInGroup(key, group) && HoldsSecret(*key.shape); });
}

std::string Cut(const std::string& text)
{
    return text.size() <= MAX_SHOWN_BYTES ? text : std::string(CutToBytes(text, MAX_SHOWN_BYTES)) + "…";
}

// Returns the value as text for fault messages. For a list or an object, returns only the type, because a list or an
// object may contain a secret.
std::string Shown(const cJSON& json, bool isSecret)
{
    if (cJSON_IsArray(&json) || cJSON_IsObject(&json)) {
        return cJSON_IsArray(&json) ? "a list" : "an object";
    }
    if (isSecret) {
        return "the value";
    }
    if (cJSON_IsNumber(&json) && std::isinf(json.valuedouble)) {
        return json.valuedouble > 0 ? "inf" : "-inf";
    }
    return Cut(JsonText(&json));
}

bool CanBeAKey(const std::string& name)
{
    return !name.empty() && name.size() <= MAX_SHOWN_BYTES && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
    });
}

// Returns the fault text for a name that is not a key. If the name is a group, the text begins with "no key by itself".
// Otherwise the text begins with "unknown key" and adds the closest known key, or the names in the group.
std::string UnknownKey(const JsonShape& shape, const std::string& name)
{
    if (IsGroup(shape, name)) {
        return "no key by itself (below it: " + NamesInGroup(shape, name) + ")";
    }
    std::vector<std::string> candidates;
    for (const JsonKey& key : shape.keys) {
        candidates.push_back(key.name);
        for (size_t dot = key.name.find('.'); dot != std::string::npos; dot = key.name.find('.', dot + 1)) {
            candidates.push_back(key.name.substr(0, dot));
        }
    }
    const std::string closest = ClosestOf(name, candidates);
    if (!closest.empty()) {
        return "unknown key (did you mean \"" + closest + "\"?)";
    }
    std::string group = name;
    do {
        group.resize(group.find('.') == std::string::npos ? 0 : group.rfind('.'));
    } while (!group.empty() && !IsGroup(shape, group));
    return "unknown key (here: " + NamesInGroup(shape, group) + ")";
}

// Reads a JSON document once, fills the target and collects every fault.
class Walk {
public:
    // name: the value's dotted name in the document. Empty: the value is the whole document.
    void Read(const JsonShape& shape, const cJSON& json, void* target, const std::string& name)
    {
        if (shape.element != nullptr) {
            ReadList(shape, json, target, name);
        } else if (!shape.keys.empty()) {
            ReadObject(shape, json, target, name);
        } else if (const std::string wrong = shape.read(json, target); !wrong.empty()) {
            Fault(name, Shown(json, shape.isSecret) + " " + wrong, shape.allowed);
        }
    }

    void Fault(const std::string& name, const std::string& what, const std::string& allowed)
    {
        faults_.push_back((name.empty() ? "" : name + ": ") + what + " (" + allowed + ")");
    }

    std::vector<std::string> TakeFaults() { return std::move(faults_); }

private:
    struct Object {
        const JsonShape& shape;
        void* target;
        const std::string& name;       // the object's dotted name in the document
        std::set<std::string>& given;  // the keys and groups that were read so far
    };

    void ReadList(const JsonShape& shape, const cJSON& json, void* list, const std::string& name)
    {
        if (!cJSON_IsArray(&json)) {
            Fault(name, Shown(json, HoldsSecret(shape)) + " is not a list",
                  name.empty() ? "one JSON list" : shape.allowed);
            return;
        }
        shape.clear(list);
        size_t index = 0;
        for (const cJSON* item = json.child; item != nullptr; item = item->next) {
            Read(*shape.element, *item, shape.append(list), Joined(name, std::to_string(index++)));
        }
    }

    void ReadObject(const JsonShape& shape, const cJSON& json, void* object, const std::string& name)
    {
        const size_t faultsBefore = faults_.size();
        std::set<std::string> given;
        ReadGroup({shape, object, name, given}, json, "");
        if (!cJSON_IsObject(&json)) {
            return;
        }
        for (const JsonKey& key : shape.keys) {
            if (key.isRequired && !given.contains(key.name)) {
                Fault(Joined(name, key.name), "missing", key.shape->allowed);
            }
        }
        if (faults_.size() == faultsBefore && shape.check) {
            if (const std::string wrong = shape.check(object); !wrong.empty()) {
                faults_.push_back((name.empty() ? "" : name + ": ") + wrong);
            }
        }
    }

    // Reads the JSON object or list of a group. The group "" is the whole object.
    void ReadGroup(const Object& object, const cJSON& json, const std::string& group)
    {
        const bool isList = IsListGroup(object.shape, group);
        if (isList ? !cJSON_IsArray(&json) : !cJSON_IsObject(&json)) {
            const std::string name = Joined(object.name, group);
            const std::string kind = isList ? "a list" : "an object";
            Fault(name, Shown(json, HoldsSecret(object.shape, group)) + " is not " + kind,
                  name.empty() ? "one JSON object" : kind + " with " + NamesInGroup(object.shape, group));
            return;
        }
        size_t index = 0;
        for (const cJSON* member = json.child; member != nullptr; member = member->next) {
            ReadMember(object, *member, group, isList ? std::to_string(index++) : member->string);
        }
    }

    void ReadMember(const Object& object, const cJSON& json, const std::string& group, const std::string& own)
    {
        const std::string key = Joined(group, own);
        const std::string name = Joined(object.name, key);
        const bool isKnown = CanBeAKey(own) && (FindKey(object.shape, key) != nullptr || IsGroup(object.shape, key));
        if (!isKnown && object.shape.skipsUnknownKeys) {
            return;
        }
        if (!CanBeAKey(own)) {
            const bool isDotted = own.find('.') != std::string::npos;
            Fault(Joined(Joined(object.name, group), Cut(Quoted(own))), "unknown key",
                  isDotted ? "a dotted key is a member of a member" : "here: " + NamesInGroup(object.shape, group));
        } else if (!object.given.insert(key).second) {
            Fault(name, "given twice", "once");
        } else if (const JsonKey* const row = FindKey(object.shape, key)) {
            Read(*row->shape, json, row->member(object.target), name);
        } else if (IsGroup(object.shape, key)) {
            ReadGroup(object, json, key);
        } else {
            faults_.push_back(name + ": " + UnknownKey(object.shape, key));
        }
    }

    std::vector<std::string> faults_;
};

// Returns the JSON object or list of the group inside json. Creates this object or list and its parents if they are
// missing.
cJSON* GroupBelow(const JsonShape& shape, cJSON* json, const std::string& group)
{
    if (group.empty()) {
        return json;
    }
    const size_t dot = group.rfind('.');
    cJSON* const parent = GroupBelow(shape, json, dot == std::string::npos ? "" : group.substr(0, dot));
    const std::string name = group.substr(dot + 1);
    cJSON* const found = cJSON_IsArray(parent) ? cJSON_GetArrayItem(parent, std::stoi(name))
                                               : cJSON_GetObjectItemCaseSensitive(parent, name.c_str());
    if (found != nullptr) {
        return found;
    }
    cJSON* const made = IsListGroup(shape, group) ? cJSON_CreateArray() : cJSON_CreateObject();
    cJSON_IsArray(parent) ? cJSON_AddItemToArray(parent, made) : cJSON_AddItemToObject(parent, name.c_str(), made);
    return made;
}

Json WriteMember(const JsonKey& key, const void* object)
{
    // The const_cast is safe, because key.member only returns a reference to a part of the object.
    return WriteValue(*key.shape, key.member(const_cast<void*>(object)));
}

Json WriteObject(const JsonShape& shape, const void* object)
{
    Json json = NewObject();
    for (const JsonKey& key : shape.keys) {
        if (key.isOmittedByDefault && TypedValue(key, object) == TypedValue(key, shape.defaults.get())) {
            continue;
        }
        const size_t dot = key.name.rfind('.');
        cJSON* const parent = GroupBelow(shape, json.get(), dot == std::string::npos ? "" : key.name.substr(0, dot));
        cJSON* const value = WriteMember(key, object).release();
        cJSON_IsArray(parent) ? cJSON_AddItemToArray(parent, value)
                              : cJSON_AddItemToObject(parent, key.name.substr(dot + 1).c_str(), value);
    }
    return json;
}

}  // namespace

std::vector<std::string> ReadDocument(const JsonShape& shape, const std::string& text, const std::string& fileName,
                                      void* target)
{
    const Result<Json> document = ParseWholeJson(text);
    if (!document) {
        return {fileName + ":" + document.error().message + " (one JSON " +
                (shape.element != nullptr ? "list)" : "object)")};
    }
    Walk walk;
    walk.Read(shape, *document.value(), target, "");
    std::vector<std::string> faults = walk.TakeFaults();
    for (std::string& fault : faults) {
        fault.insert(0, fileName + ": ");
    }
    return faults;
}

Json WriteValue(const JsonShape& shape, const void* source)
{
    if (!shape.keys.empty()) {
        return WriteObject(shape, source);
    }
    if (shape.element == nullptr) {
        return shape.write(source);
    }
    Json list(cJSON_CreateArray());
    size_t index = 0;
    for (const void* item = shape.at(source, 0); item != nullptr; item = shape.at(source, ++index)) {
        cJSON_AddItemToArray(list.get(), WriteValue(*shape.element, item).release());
    }
    return list;
}

std::string TypedValue(const JsonKey& key, const void* object)
{
    const Json json = WriteMember(key, object);
    return cJSON_IsString(json.get()) ? json->valuestring : JsonText(json.get());
}

Result<void> SetTypedValue(const JsonShape& shape, void* object, std::string_view name, std::string_view typed)
{
    const JsonKey* const key = FindKey(shape, name);
    if (key == nullptr) {
        return Fail(ErrorCode::NOT_FOUND, std::string(name) + ": " + UnknownKey(shape, std::string(name)));
    }
    Walk walk;
    if (typed.find('\0') != std::string_view::npos) {
        walk.Fault(key->name, "the value holds a NUL byte", key->shape->allowed);
    } else if (!IsUtf8(typed)) {
        walk.Fault(key->name, "the value is not UTF-8", key->shape->allowed);
    } else {
        const std::string text(typed);
        Json value;
        if (!key->shape->isText) {
            value = ParseWholeJson(text).value_or(nullptr);
        }
        if (!value) {
            // Text that is not JSON becomes a JSON string. If the key needs another type, its kind then reports a
            // fault.
            value.reset(cJSON_CreateString(text.c_str()));
        }
        walk.Read(*key->shape, *value, key->member(object), key->name);
    }
    const std::vector<std::string> faults = walk.TakeFaults();
    if (!faults.empty()) {
        return Fail(ErrorCode::INVALID_ARGUMENT, faults.front());
    }
    return {};
}

std::string WholeNumberFault(const cJSON& json, int64_t least, int64_t most)
{
    if (!cJSON_IsNumber(&json)) {
        return "is not a number";
    }
    if (std::trunc(json.valuedouble) != json.valuedouble) {
        return "is not a whole number";
    }
    const bool isInRange =
        json.valuedouble >= static_cast<double>(least) && json.valuedouble <= static_cast<double>(most);
    return isInRange ? "" : "is out of range";
}

std::string QuotedAlternatives(const std::vector<std::string>& words)
{
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        text += i == 0 ? "" : i + 1 == words.size() ? " or " : ", ";
        text += Quoted(words[i]);
    }
    return text;
}

}  // namespace Vexo
