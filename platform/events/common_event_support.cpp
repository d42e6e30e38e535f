#include "platform/events/common_event_support.h"

namespace Vexo::EventFwk {

const std::string CommonEventSupport::COMMON_EVENT_SCREEN_ON = "vexo.event.SCREEN_ON";
const std::string CommonEventSupport::COMMON_EVENT_SCREEN_OFF = "vexo.event.SCREEN_OFF";
const std::string CommonEventSupport::COMMON_EVENT_BATTERY_LOW = "vexo.event.BATTERY_LOW";
const std::string CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE = "vexo.event.CONNECTIVITY_CHANGE";
const std::string CommonEventSupport::NET_TYPE_PARAMETER = "NetType";

}  // namespace Vexo::EventFwk
