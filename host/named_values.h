// The words that stand for values in the configuration and in the host ability's answers: one table a kind. Constant
// data; any thread.
#pragma once

#include <cstdint>

#include "platform/base/named_values.h"
#include "platform/softbus/softbus_service.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Host {

inline constexpr NamedValue<uint16_t> DEVICE_TYPE_NAMES[] = {{"phone", SoftBus::DEVICE_TYPE_PHONE},
                                                             {"tablet", SoftBus::DEVICE_TYPE_TABLET},
                                                             {"laptop", SoftBus::DEVICE_TYPE_LAPTOP},
                                                             {"unknown", SoftBus::DEVICE_TYPE_UNKNOWN}};

inline constexpr NamedValue<Wifi::WifiLinkState> WIFI_STATE_NAMES[] = {
    {"idle", Wifi::WifiLinkState::IDLE},
    {"connecting", Wifi::WifiLinkState::CONNECTING},
    {"connected", Wifi::WifiLinkState::CONNECTED},
    {"failed", Wifi::WifiLinkState::FAILED},
    {"disconnected", Wifi::WifiLinkState::DISCONNECTED}};

// Whether this device's Wi-Fi can join a network now. BLOCKED: off by a switch of the machine.
enum class RadioState { ON, SWITCHED_OFF, BLOCKED, ABSENT };

inline constexpr NamedValue<RadioState> RADIO_STATE_NAMES[] = {{"on", RadioState::ON},
                                                               {"switched_off", RadioState::SWITCHED_OFF},
                                                               {"blocked", RadioState::BLOCKED},
                                                               {"absent", RadioState::ABSENT}};

// IDLE: stopped because no program uses it, but its library stays and goes on serving peers.
enum class ServiceLife { NOT_LOADED, RUNNING, IDLE };

inline constexpr NamedValue<ServiceLife> SERVICE_LIFE_NAMES[] = {
    {"not_loaded", ServiceLife::NOT_LOADED}, {"running", ServiceLife::RUNNING}, {"idle", ServiceLife::IDLE}};

}  // namespace Vexo::Host
