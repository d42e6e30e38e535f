// DistributedJsonUtil: typed getters for cJSON members, and functions for JSON files. Stateless; any thread, if no
// other thread changes the nodes meanwhile. The file functions block on the disk. A getter returns false, writes
// nothing and logs nothing if the object is null, the key is empty or missing, or the member has another type. All bits
// of cJSON::type are compared: a member with a flag (cJSON_IsReference, cJSON_StringIsConst) has another type. Getters
// do not transfer ownership.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

class DistributedJsonUtil {
public:
    static bool GetStringFromJsonObj(const cJSON* jsonObj, const std::string& key, std::string& value);

    // JSON numbers are doubles. A double is truncated toward zero; outside the range of the target type it becomes the
    // type's largest or smallest value.
    static bool GetIntFromJsonObj(const cJSON* jsonObj, const std::string& key, int32_t* value);
    static bool GetInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, int64_t* value);
    static bool GetUInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, uint64_t* value);
    // Sets *value to the low 32 bits of the value of GetInt64FromJsonObj: 2^32 + 5 gives 5, and -1 gives 2^32 - 1.
    static bool GetUIntFromJsonObj(const cJSON* jsonObj, const std::string& key, uint32_t* value);
    static bool GetDoubleFromJsonObj(const cJSON* jsonObj, const std::string& key, double* value);

    static bool GetBoolFromJsonObj(const cJSON* jsonObj, const std::string& key, bool* value);

    // Set *value to the member itself, which jsonObj still owns.
    static bool GetObjFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value);
    static bool GetArrayFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value);

    // Parses a text; the caller deletes *value with cJSON_Delete. Returns false for an empty text (*value is not
    // changed) and for invalid JSON (*value is set to null).
    static bool GetObjFromJsonStr(const std::string& jsonStr, cJSON** value);

    // Resolves symbolic links and "." and "..". Returns false if the path is too long or does not exist.
    static bool GetRealPath(const std::string& path, std::string& realPath);
    // Reads the whole file. Returns false if the file cannot be read or its size is refused (converged_security.h).
    static bool ReadFileToString(const std::string& path, std::string& content);

    // Returns whether the file contains valid JSON. json is passed by value, so the caller's pointer is not changed.
    // The parsed document is not freed.
    static bool LoadJsonObjFromFile(cJSON* json, const std::string& path);
    // Like LoadJsonObjFromFile, for the file that the configuration policy (platform/config_policy/config_policy.h)
    // finds for path: the one below the root with the highest priority.
    static bool LoadJsonObjFromTarselPath(cJSON* json, const std::string& path);
};

}  // namespace Vexo::NetManagerStandard
