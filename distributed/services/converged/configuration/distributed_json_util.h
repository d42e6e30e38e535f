// DistributedJsonUtil: typed reads of cJSON members, and JSON files of the configuration policy. Static and stateless;
// any thread, as long as nobody changes the nodes meanwhile; the file operations block on the disk. A getter returns
// false, writes nothing and logs nothing when the object is null, the key is empty or missing, or the member is of
// another type. A node's type is its whole type word: a member that only refers to another node, or whose key is a
// constant, is of another type. Getters own and free nothing.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

class DistributedJsonUtil {
public:
    static bool GetStringFromJsonObj(const cJSON* jsonObj, const std::string& key, std::string& value);

    // Numbers are doubles. They are cut toward zero; one outside the target type's range becomes the type's largest or
    // smallest value.
    static bool GetIntFromJsonObj(const cJSON* jsonObj, const std::string& key, int32_t* value);
    static bool GetInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, int64_t* value);
    static bool GetUInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, uint64_t* value);
    // The low 32 bits of what GetInt64FromJsonObj gives: 2^32 + 5 is 5, and -1 is 2^32 - 1.
    static bool GetUIntFromJsonObj(const cJSON* jsonObj, const std::string& key, uint32_t* value);
    static bool GetDoubleFromJsonObj(const cJSON* jsonObj, const std::string& key, double* value);

    static bool GetBoolFromJsonObj(const cJSON* jsonObj, const std::string& key, bool* value);

    // The member itself, owned by jsonObj as before.
    static bool GetObjFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value);
    static bool GetArrayFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value);

    // Parses a text; the caller deletes *value with cJSON_Delete. False for an empty text, which leaves *value alone,
    // and for a damaged one, which makes it null.
    static bool GetObjFromJsonStr(const std::string& jsonStr, cJSON** value);

    // The path without links and dots. False when it is too long or names nothing.
    static bool GetRealPath(const std::string& path, std::string& realPath);
    // The whole file. False when it cannot be read or its size is refused (converged_security.h).
    static bool ReadFileToString(const std::string& path, std::string& content);

    // Whether the file holds JSON. The document that is parsed belongs to nobody: json comes by value, so the caller's
    // pointer stays as it was, and the document is not released either.
    static bool LoadJsonObjFromFile(cJSON* json, const std::string& path);
    // The same for the highest-priority file of the configuration policy (platform/config_policy/config_policy.h) below
    // which path is found.
    static bool LoadJsonObjFromTarselPath(cJSON* json, const std::string& path);
};

}  // namespace Vexo::NetManagerStandard
