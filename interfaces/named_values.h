// The words that stand for values in the configuration and in the daemon's answers: one table a kind. Constant data;
// any thread.
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

// The table of a value's kind.
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

// "unknown" for a value without a word.
template <typename Value>
constexpr const char* NameOf(Value value)
{
    return Vexo::NameOf(NamesOf(value), value);
}

}  // namespace Vexo::Host
