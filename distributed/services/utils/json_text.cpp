#include "distributed/services/utils/json_text.h"

#include "platform/base/json.h"

namespace Vexo::NetManagerStandard {

std::string FormattedJson(const cJSON* json)
{
    const PrintedJson text(cJSON_Print(json));
    return text ? text.get() : "";
}

}  // namespace Vexo::NetManagerStandard
