#include "host/online/online_events.h"

#include "host/online/online_faults.h"
#include "platform/base/text.h"
#include "platform/dfx/sys_event.h"

namespace Vexo::Host {
namespace {

using QuviewDFX::QuSysEvent;

constexpr const char* DOMAIN = "NETMANAGER";
constexpr const char* KEY_DEVICE_ID = "DEVICE_ID";
constexpr const char* KEY_STEP = "STEP";
constexpr const char* KEY_REASON = "REASON";

std::string WordOf(OnlineStepKind step)
{
    switch (step) {
        case OnlineStepKind::FIND:
            return "FIND";
        case OnlineStepKind::HOTSPOT:
            return "HOTSPOT";
        case OnlineStepKind::WIFI:
            return "WIFI";
        case OnlineStepKind::ONLINE:
            break;
    }
    return "ONLINE";
}

}  // namespace

void WriteOnlineSuccess(const std::string& networkId)
{
    QuSysEvent::Write(DOMAIN, "NET_ONLINE_SUCCESS", QuSysEvent::BEHAVIOR, KEY_DEVICE_ID, ShortId(networkId));
}

void WriteOnlineFail(const std::string& networkId, OnlineStepKind step, OnlineFaultCode code)
{
    QuSysEvent::Write(DOMAIN, "NET_ONLINE_FAIL", QuSysEvent::BEHAVIOR, KEY_DEVICE_ID, ShortId(networkId), KEY_STEP,
                      WordOf(step), KEY_REASON, EventWord(code));
}

void WriteOnlineEnd(const std::string& networkId, OnlineEnding ending)
{
    const std::string reason = ending == OnlineEnding::DOWN   ? "DOWN"
                               : ending == OnlineEnding::LOST ? "LOST"
                                                              : "CANCELLED";
    QuSysEvent::Write(DOMAIN, "NET_ONLINE_END", QuSysEvent::BEHAVIOR, KEY_DEVICE_ID, ShortId(networkId), KEY_REASON,
                      reason);
}

}  // namespace Vexo::Host
