#include "distributed/services/converged/configuration/distributed_json_util.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "distributed/services/converged/configuration/converged_security.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/base/open_file.h"
#include "platform/config_policy/config_policy.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr size_t PATH_BUFFER_SIZE = 4096;

// Returns the member with the given key. Returns null if there is none, or if any bit of cJSON::type differs from the
// given type.
const cJSON* FindMember(const cJSON* jsonObj, const std::string& key, int type)
{
    if (jsonObj == nullptr || key.empty()) {
        return nullptr;
    }
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(jsonObj, key.c_str());
    return member != nullptr && member->type == type ? member : nullptr;
}

// Saturate converts a double to an integer. A double outside the integer's range becomes the largest or smallest
// integer, because the plain conversion of such a double is undefined. NaN becomes 0.
template <typename Integer>
Integer Saturate(double number)
{
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(number)) {
        return 0;
    }
    // A double cannot hold the largest value of a 64-bit type exactly. So the number is compared with the next power of
    // two, which is the first value that is too large.
    const double tooLarge = std::ldexp(1.0, Limits::digits);
    if (number >= tooLarge) {
        return Limits::max();
    }
    if (number <= static_cast<double>(Limits::min())) {
        return Limits::min();
    }
    return static_cast<Integer>(number);
}

template <typename Integer>
bool GetInteger(const cJSON* jsonObj, const std::string& key, Integer* value)
{
    const cJSON* member = FindMember(jsonObj, key, cJSON_Number);
    if (member == nullptr) {
        return false;
    }
    *value = Saturate<Integer>(member->valuedouble);
    return true;
}

// Sets *value to the member itself. Removing const is valid, because cJSON creates its nodes as non-const objects.
bool GetNode(const cJSON* jsonObj, const std::string& key, int type, cJSON** value)
{
    const cJSON* member = FindMember(jsonObj, key, type);
    if (member == nullptr) {
        return false;
    }
    *value = const_cast<cJSON*>(member);
    return true;
}

// Returns the parsed document. For invalid JSON, returns null and logs the text from the position of the error.
cJSON* Parse(const std::string& text)
{
    // cJSON_ParseWithOpts stores the position of an error in the variable end. Do not use cJSON_GetErrorPtr: it returns
    // the position of the latest error on any thread.
    const char* end = nullptr;
    cJSON* document = cJSON_ParseWithOpts(text.c_str(), &end, false);
    if (document == nullptr && end != nullptr) {
        NETMGR_EXT_LOGE(" errorMsg is %{public}s", end);
    }
    return document;
}

}  // namespace

bool DistributedJsonUtil::GetStringFromJsonObj(const cJSON* jsonObj, const std::string& key, std::string& value)
{
    const cJSON* member = FindMember(jsonObj, key, cJSON_String);
    if (member == nullptr || member->valuestring == nullptr) {
        return false;
    }
    value = member->valuestring;
    return true;
}

bool DistributedJsonUtil::GetIntFromJsonObj(const cJSON* jsonObj, const std::string& key, int32_t* value)
{
    return GetInteger(jsonObj, key, value);
}

bool DistributedJsonUtil::GetInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, int64_t* value)
{
    return GetInteger(jsonObj, key, value);
}

bool DistributedJsonUtil::GetUInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, uint64_t* value)
{
    return GetInteger(jsonObj, key, value);
}

bool DistributedJsonUtil::GetUIntFromJsonObj(const cJSON* jsonObj, const std::string& key, uint32_t* value)
{
    int64_t number = 0;
    if (!GetInteger(jsonObj, key, &number)) {
        return false;
    }
    *value = static_cast<uint32_t>(number);
    return true;
}

bool DistributedJsonUtil::GetDoubleFromJsonObj(const cJSON* jsonObj, const std::string& key, double* value)
{
    const cJSON* member = FindMember(jsonObj, key, cJSON_Number);
    if (member == nullptr) {
        return false;
    }
    *value = member->valuedouble;
    return true;
}

bool DistributedJsonUtil::GetBoolFromJsonObj(const cJSON* jsonObj, const std::string& key, bool* value)
{
    const bool isTrue = FindMember(jsonObj, key, cJSON_True) != nullptr;
    if (!isTrue && FindMember(jsonObj, key, cJSON_False) == nullptr) {
        return false;
    }
    *value = isTrue;
    return true;
}

bool DistributedJsonUtil::GetObjFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value)
{
    return GetNode(jsonObj, key, cJSON_Object, value);
}

bool DistributedJsonUtil::GetArrayFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value)
{
    return GetNode(jsonObj, key, cJSON_Array, value);
}

bool DistributedJsonUtil::GetObjFromJsonStr(const std::string& jsonStr, cJSON** value)
{
    if (jsonStr.empty()) {
        return false;
    }
    *value = Parse(jsonStr);
    return *value != nullptr;
}

bool DistributedJsonUtil::GetRealPath(const std::string& path, std::string& realPath)
{
    std::array<char, PATH_BUFFER_SIZE> resolved{};
    if (path.size() > PATH_BUFFER_SIZE || realpath(path.c_str(), resolved.data()) == nullptr) {
        return false;
    }
    realPath = resolved.data();
    return true;
}

bool DistributedJsonUtil::ReadFileToString(const std::string& path, std::string& content)
{
    std::string realPath;
    if (!GetRealPath(path, realPath)) {
        return false;
    }
    const UniqueFd file = OpenForReading(realPath);
    if (!file || !ConvergedSecurity::CheckFileSize(file.Get())) {
        return false;
    }
    const int64_t size = FileStatusSize(file.Get());
    if (size < 1) {
        return true;
    }
    content.resize(static_cast<size_t>(size));
    return ReadInto(file.Get(), content);
}

bool DistributedJsonUtil::LoadJsonObjFromFile(cJSON* json, const std::string& path)
{
    std::string content;
    if (!ReadFileToString(path, content)) {
        NETMGR_EXT_LOGE(" Cannot read json file to string.");
        return false;
    }
    if (content.empty()) {
        return false;
    }
    // The document is never freed, because the caller does not receive it.
    json = Parse(content);
    return json != nullptr;
}

bool DistributedJsonUtil::LoadJsonObjFromTarselPath(cJSON* json, const std::string& path)
{
    std::array<char, PATH_BUFFER_SIZE> found{};
    std::string realPath;
    if (GetOneCfgFile(path.c_str(), found.data(), found.size()) == nullptr || found[0] == '\0' ||
        !GetRealPath(found.data(), realPath)) {
        NETMGR_EXT_LOGE(" Json file path error.");
        return false;
    }
    return LoadJsonObjFromFile(json, realPath);
}

}  // namespace Vexo::NetManagerStandard
