#include <set>

#include "backends/simulated/device_state_keys.h"
#include "backends/simulated/ssid_text.h"
#include "platform/base/json.h"

namespace Vexo::Simulated {
namespace {

StateValue ValueOf(const cJSON* item)
{
    if (cJSON_IsBool(item)) {
        return cJSON_IsTrue(item) != 0;
    }
    if (cJSON_IsNumber(item)) {
        return item->valuedouble;
    }
    if (cJSON_IsString(item)) {
        return std::string(item->valuestring);
    }
    return NotScalar{cJSON_IsNull(item) ? "null" : cJSON_IsArray(item) ? "a list" : "an object"};
}

// Walks the document and assigns every leaf to the key that its path spells.
class Reader {
public:
    explicit Reader(DeviceState& state) : state_(state) {}

    Result<void> Read(const cJSON* item, const std::string& name)
    {
        if (!name.empty() && !seen_.insert(name).second) {
            return Error{name + ": given twice"};
        }
        if (const StateKey* const key = FindStateKey(name)) {
            return key->Assign(state_, ValueOf(item));
        }
        if (!name.empty() && !IsStateGroup(name)) {
            return UnknownStateKey(name);
        }
        const bool isList = !name.empty() && IsStateList(name);
        if (isList ? !cJSON_IsArray(item) : !cJSON_IsObject(item)) {
            return Error{(name.empty() ? "the whole file" : name) + ": must be " + (isList ? "a list" : "an object")};
        }
        size_t index = 0;
        for (const cJSON* child = item->child; child != nullptr; child = child->next) {
            const std::string own = isList ? std::to_string(index++) : child->string;
            // A dot inside a name would spell another key's path.
            if (own.find('.') != std::string::npos) {
                return UnknownStateKey("\"" + own + "\"");
            }
            std::string path = name.empty() ? "" : name + ".";
            path += own;
            if (Result<void> read = Read(child, path); !read) {
                return read;
            }
        }
        return {};
    }

private:
    DeviceState& state_;
    std::set<std::string> seen_;
};

cJSON* ChildOf(cJSON* parent, const std::string& name, bool isList)
{
    cJSON* child = cJSON_IsArray(parent) != 0 ? cJSON_GetArrayItem(parent, std::stoi(name))
                                              : cJSON_GetObjectItemCaseSensitive(parent, name.c_str());
    if (child == nullptr) {
        child = isList ? cJSON_CreateArray() : cJSON_CreateObject();
        if (cJSON_IsArray(parent) != 0) {
            cJSON_AddItemToArray(parent, child);
        } else {
            cJSON_AddItemToObject(parent, name.c_str(), child);
        }
    }
    return child;
}

cJSON* MakeLeaf(const StateKey& key, const DeviceState& state)
{
    switch (key.kind) {
        case StateKey::Kind::BOOLEAN:
            return cJSON_CreateBool(key.number(state));
        case StateKey::Kind::NUMBER:
            return cJSON_CreateNumber(key.number(state));
        default:
            return cJSON_CreateString(key.Show(state).c_str());
    }
}

}  // namespace

Result<DeviceState> ParseDeviceState(const std::string& json, const std::string& fileName)
{
    const Result<Json> document = ParseWholeJson(json);
    if (!document) {
        return Error{fileName + ":" + document.Message()};
    }
    if (HasNulInText(json)) {
        return Error{fileName + R"(: a text holds \u0000 (in hotspot.ssid, \\x00 is that byte))"};
    }
    DeviceState state;
    if (const Result<void> read = Reader(state).Read(document.Value().get(), ""); !read) {
        return Error{fileName + ": " + read.Message()};
    }
    return state;
}

std::string SerializeDeviceState(const DeviceState& state)
{
    const DeviceState defaults;
    const Json document = NewObject();
    for (const StateKey& key : StateKeys()) {
        if (key.omittedByDefault && key.Show(state) == key.Show(defaults)) {
            continue;
        }
        cJSON* parent = document.get();
        size_t start = 0;
        for (size_t dot = key.name.find('.'); dot != std::string::npos; dot = key.name.find('.', start)) {
            parent = ChildOf(parent, key.name.substr(start, dot - start), IsStateList(key.name.substr(0, dot)));
            start = dot + 1;
        }
        cJSON* const leaf = MakeLeaf(key, state);
        if (cJSON_IsArray(parent) != 0) {
            cJSON_AddItemToArray(parent, leaf);
        } else {
            cJSON_AddItemToObject(parent, key.name.substr(start).c_str(), leaf);
        }
    }
    return IndentedJson(document.get());
}

}  // namespace Vexo::Simulated
