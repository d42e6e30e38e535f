#include "distributed/services/service/qu_trace.h"

#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/dfx/trace.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr uint64_t TRACE_TAG = 0x800000;

}  // namespace

void QuTrace::StartSyncQuTrace(const std::string& value)
{
    StartTrace(TRACE_TAG, value);
    NETMGR_EXT_LOGI(" StartSyncQuTrace value:%{public}s", value);
}

void QuTrace::FinishSyncQuTrace(const std::string& value)
{
    FinishTrace(TRACE_TAG);
    NETMGR_EXT_LOGI(" FinishSyncQuTrace value:%{public}s", value);
}

void QuTrace::StartAsyncQuTrace(const std::string& value, int32_t taskId)
{
    StartAsyncTrace(TRACE_TAG, value, taskId);
    NETMGR_EXT_LOGI(" StartAsyncQuTrace value:%{public}s, taskId:%{public}d", value, taskId);
}

void QuTrace::FinishAsyncQuTrace(const std::string& value, int32_t taskId)
{
    FinishAsyncTrace(TRACE_TAG, value, taskId);
    NETMGR_EXT_LOGI(" FinishAsyncQuTrace value:%{public}s, taskId:%{public}d", value, taskId);
}

}  // namespace Vexo::NetManagerStandard
