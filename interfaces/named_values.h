// The words that stand for enumerators in the configuration and in the daemon's answers. Each enumeration has one
// table. The tables are constant, so any thread may read them.
#pragma once

#include "interfaces/host_answers.h"
#include "platform/base/named_values.h"

namespace Vexo::Host {

inline constexpr NamedValue<DeviceType> DEVICE_TYPE_NAMES[] = {{"phone", DeviceType::PHONE},
                                                               {"tablet", DeviceType::TABLET},
                                                               {"laptop", DeviceType::LAPTOP},
                                                               {"unknown", DeviceType::UNKNOWN}};

inline constexpr NamedValue<WifiState> WIFI_STATE_NAMES[] = {{"idle", WifiState::IDLE},
                                                             {"connecting", WifiState::CONNECTING},
                                                             {"connected", WifiState::CONNECTED},
                                                             {"failed", WifiState::FAILED},
                                                             {"disconnected", WifiState::DISCONNECTED}};

inline constexpr NamedValue<RadioState> RADIO_STATE_NAMES[] = {{"on", RadioState::ON},
                                                               {"switched_off", RadioState::SWITCHED_OFF},
                                                               {"blocked", RadioState::BLOCKED},
                                                               {"absent", RadioState::ABSENT}};

inline constexpr NamedValue<ServiceLife> SERVICE_LIFE_NAMES[] = {
    {"not_loaded", ServiceLife::NOT_LOADED}, {"running", ServiceLife::RUNNING}, {"idle", ServiceLife::IDLE}};

// Each overload of NamesOf returns the word table for one enumeration.
inline constexpr const auto& NamesOf(DeviceType)
{
    return DEVICE_TYPE_NAMES;
}
inline constexpr const auto& NamesOf(WifiState)
{
    return WIFI_STATE_NAMES;
}
inline constexpr const auto& NamesOf(RadioState)
{
    return RADIO_STATE_NAMES;
}
inline constexpr const auto& NamesOf(ServiceLife)
{
    return SERVICE_LIFE_NAMES;
}

// Returns the word for an enumerator, or "unknown" if its table does not contain the enumerator.
template <typename Value>
constexpr const char* NameOf(Value value)
{
    return Vexo::NameOf(NamesOf(value), value);
}

}  // namespace Vexo::Host
