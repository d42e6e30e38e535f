#include "platform/dfx/health_check.h"

namespace Vexo::QuviewDFX {

Json HealthJson(const std::vector<HealthCheck>& checks)
{
    Json object = NewObject();
    cJSON* array = cJSON_AddArrayToObject(object.get(), "checks");
    for (const HealthCheck& check : checks) {
        cJSON* item = cJSON_CreateObject();
        AddText(item, "name", check.name);
        AddMember(item, "ok", Json(check.good ? cJSON_CreateBool(*check.good ? 1 : 0) : nullptr));
        AddText(item, "message", check.message);
        AddText(item, "advice", check.advice);
        cJSON_AddItemToArray(array, item);
    }
    return object;
}

}  // namespace Vexo::QuviewDFX
