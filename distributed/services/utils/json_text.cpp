#include "distributed/services/utils/json_text.h"

#include <memory>

namespace Vexo::NetManagerStandard {
namespace {

struct TextDeleter {
    void operator()(char* text) const noexcept { cJSON_free(text); }
};

}  // namespace

std::string FormattedJson(const cJSON* json)
{
    const std::unique_ptr<char, TextDeleter> text(cJSON_Print(json));
    return text ? text.get() : "";
}

}  // namespace Vexo::NetManagerStandard
