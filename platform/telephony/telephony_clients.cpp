#include "platform/ability/iservice_registry.h"
#include "platform/telephony/core_service_client.h"

namespace Vexo::Telephony {

CoreServiceClient& CoreServiceClient::GetInstance()
{
    static CoreServiceClient instance;
    return instance;
}

int32_t CoreServiceClient::GetSimState(int32_t slotId, SimState& state)
{
    const auto service = FindAbility<ICoreService>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    return service ? service->GetSimState(slotId, state) : TELEPHONY_UNAVAILABLE;
}

int32_t CoreServiceClient::GetRadioState(int32_t slotId, const sptr<INetworkSearchCallback>& callback)
{
    const auto service = FindAbility<ICoreService>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    return service ? service->GetRadioState(slotId, callback) : TELEPHONY_UNAVAILABLE;
}

CellularDataClient& CellularDataClient::GetInstance()
{
    static CellularDataClient instance;
    return instance;
}

int32_t CellularDataClient::IsCellularDataEnabled(bool& enabled)
{
    const auto service = FindAbility<ICellularData>(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID);
    return service ? service->IsCellularDataEnabled(enabled) : TELEPHONY_UNAVAILABLE;
}

}  // namespace Vexo::Telephony
