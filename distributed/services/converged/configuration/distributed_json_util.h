// DistributedJsonUtil: typed getters for cJSON members, and functions for JSON files. It has no state. Any thread may
// call the functions while no other thread changes the same nodes. The file functions block while they read from the
// disk. A getter returns false and writes nothing if the object is null, if the key is empty or missing, or if the
// member has another type. Nothing is logged. A getter compares all bits of cJSON::type, so a member with a flag
// (cJSON_IsReference, cJSON_StringIsConst) has another type. Getters do not transfer ownership.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

class DistributedJsonUtil {
public:
    static bool GetStringFromJsonObj(const cJSON* jsonObj, const std::string& key, std::string& value);

    // JSON numbers are doubles. The integer getters truncate a double toward zero. A double outside the range of the
    // target type becomes the type's largest or smallest value.
    static bool GetIntFromJsonObj(const cJSON* jsonObj, const std::string& key, int32_t* value);
    static bool GetInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, int64_t* value);
    static bool GetUInt64FromJsonObj(const cJSON* jsonObj, const std::string& key, uint64_t* value);
    // Sets *value to the low 32 bits of the value of GetInt64FromJsonObj: 2^32 + 5 gives 5, and -1 gives 2^32 - 1.
    static bool GetUIntFromJsonObj(const cJSON* jsonObj, const std::string& key, uint32_t* value);
    static bool GetDoubleFromJsonObj(const cJSON* jsonObj, const std::string& key, double* value);

    static bool GetBoolFromJsonObj(const cJSON* jsonObj, const std::string& key, bool* value);

    // GetObjFromJsonObj and GetArrayFromJsonObj set *value to the member itself. The object jsonObj still owns the
    // member.
    static bool GetObjFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value);
    static bool GetArrayFromJsonObj(const cJSON* jsonObj, const std::string& key, cJSON** value);

    // Parses a JSON text and sets *value to the document. The caller must delete the document with cJSON_Delete.
    // Returns false for an empty text (*value is not changed) and for invalid JSON (*value is set to null).
    static bool GetObjFromJsonStr(const std::string& jsonStr, cJSON** value);

    // Sets realPath to the absolute path, in which symbolic links, "." and ".." are resolved. Returns false if the path
    // is too long or does not exist.
    static bool GetRealPath(const std::string& path, std::string& realPath);
    // Reads the whole file. Returns false if the file cannot be read, or if CheckFileSize (converged_security.h)
    // refuses the file.
    static bool ReadFileToString(const std::string& path, std::string& content);

    // Returns true if the file contains valid JSON. The parameter json is passed by value, so the caller does not
    // receive the parsed document. The document is not freed.
    static bool LoadJsonObjFromFile(cJSON* json, const std::string& path);
    // Finds a file below one of the configuration roots (platform/config_policy/config_policy.h) and calls
    // LoadJsonObjFromFile for this file. If several roots contain the file, uses the root with the highest priority.
    // path: relative to a root.
    static bool LoadJsonObjFromTarselPath(cJSON* json, const std::string& path);
};

}  // namespace Vexo::NetManagerStandard
