#include "backends/linux/bluetooth_scanner.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include "backends/linux/bluetooth_address.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bluetooth"};

// How long a device is remembered after it was last heard. The time is short, because a device changes its address from
// time to time and only a scan finds the new address.
constexpr std::chrono::seconds DEVICE_LIFETIME{30};
constexpr size_t MAX_DEVICES = 64;

// Finds and decodes the service data of this program (bluetooth_address.h) among all service data of a device. Returns
// nullopt if there are none.
std::optional<BluetoothServiceData> OwnServiceData(const sdbus::Variant& serviceData)
{
    const auto byUuid = ValueOf<PropertyMap>(serviceData);
    return DecodeServiceData(ValueIn<std::vector<uint8_t>>(byUuid, BLUETOOTH_SERVICE_UUID));
}

}  // namespace

void BluetoothScanner::UseAdapter(const std::string& adapter)
{
    if (adapter == adapter_) {
        return;
    }
    // The error is ignored, because an adapter that was removed or switched off has already ended its scan.
    if (isScanning_) {
        static_cast<void>(StopScan());
    }
    Reset();
    adapter_ = adapter;
}

void BluetoothScanner::Reset()
{
    isScanning_ = false;
    adapter_.clear();
    for (const auto& [path, device] : std::exchange(devices_, {})) {
        heard_(path, std::nullopt);
    }
}

Result<void> BluetoothScanner::Update(bool isSought)
{
    if (isSought && !adapter_.empty()) {
        return isScanning_ ? Result<void>() : StartScan();
    }
    if (isScanning_) {
        if (Result<void> stopped = StopScan(); !stopped) {
            return stopped;
        }
    }
    const SteadyTime now = clock_.Now();
    for (auto entry = devices_.begin(); entry != devices_.end();) {
        if (entry->second.heardAt + DEVICE_LIFETIME <= now) {
            heard_(entry->first, std::nullopt);
            entry = devices_.erase(entry);
        } else {
            ++entry;
        }
    }
    return {};
}

std::optional<SteadyTime> BluetoothScanner::NextUpdate() const
{
    std::optional<SteadyTime> next;
    if (isScanning_) {
        return next;
    }
    for (const auto& [path, device] : devices_) {
        next = std::min(next.value_or(device.heardAt + DEVICE_LIFETIME), device.heardAt + DEVICE_LIFETIME);
    }
    return next;
}

Result<void> BluetoothScanner::StartScan()
{
    const BusObject adapter{BLUEZ, adapter_, BLUEZ_ADAPTER};
    // The filter contains no UUIDs, because BlueZ does not compare them with service data.
    const PropertyMap filter{{"Transport", sdbus::Variant(std::string("le"))},
                             {"DuplicateData", sdbus::Variant(false)}};
    if (Result<void> filtered = bluez_.Call(adapter, "SetDiscoveryFilter", filter); !filtered) {
        return filtered;
    }
    Result<void> started = bluez_.Call(adapter, "StartDiscovery");
    isScanning_ = started || IsNoAnswer(started.error());
    if (!started) {
        return started;
    }
    // BlueZ sends no signal for devices that it already knows, so these devices are listed here.
    Result<BluezObjects> objects = bluez_.Call<BluezObjects>(BLUEZ_OBJECTS, "GetManagedObjects");
    if (!objects) {
        return Failure(objects.error());
    }
    for (const auto& [path, interfaces] : *objects) {
        if (const auto device = interfaces.find(BLUEZ_DEVICE); device != interfaces.end()) {
            OnProperties(path, device->second);
        }
    }
    return {};
}

Result<void> BluetoothScanner::StopScan()
{
    Result<void> stopped = bluez_.CallForCleanUp({BLUEZ, adapter_, BLUEZ_ADAPTER}, "StopDiscovery");
    // If no reply to StopDiscovery arrived, BlueZ may still scan. Any other error means that no scan runs.
    isScanning_ = !stopped && IsNoAnswer(stopped.error());
    return isScanning_ ? stopped : Result<void>();
}

void BluetoothScanner::OnProperties(const std::string& device, const PropertyMap& properties)
{
    const auto known = devices_.find(device);
    const auto serviceData = properties.find("ServiceData");
    if (serviceData == properties.end()) {
        // A new signal strength means that the device was heard just now.
        if (known != devices_.end() && properties.contains("RSSI")) {
            known->second.heardAt = clock_.Now();
        }
        return;
    }
    const auto data = OwnServiceData(serviceData->second);
    if (adapter_.empty() || !device.starts_with(adapter_ + "/") || !data || !isOurs_(data->token)) {
        OnRemoved(device);
        return;
    }
    if (known == devices_.end() && devices_.size() >= MAX_DEVICES) {
        if (const auto more = logLimit_.Admit("devices")) {
            QuviewDFX::LogWarn(LABEL, "too many devices nearby: ignoring the newest%{public}s", *more);
        }
        return;
    }
    const std::string address = known != devices_.end() ? known->second.address : AddressOf(device, properties);
    if (address.empty()) {
        return;
    }
    SoftBus::Announcement now{data->token, {{"bluetooth", address + "/" + std::to_string(data->psm)}}};
    const bool isNews = known == devices_.end() || known->second.announcement != now;
    devices_[device] = {now, address, clock_.Now()};
    if (isNews) {
        heard_(device, now);
    }
}

std::string BluetoothScanner::AddressOf(const std::string& device, const PropertyMap& properties)
{
    PropertyMap all = properties;
    if (!all.contains("Address") || !all.contains("AddressType")) {
        all = bluez_
                  .Call<PropertyMap>({BLUEZ, device, "org.freedesktop.DBus.Properties"}, "GetAll",
                                     std::string(BLUEZ_DEVICE))
                  .value_or(PropertyMap());
    }
    const auto address = ValueIn<std::string>(all, "Address");
    const auto type = ValueIn<std::string>(all, "AddressType");
    return address.empty() || type.empty() ? "" : address + "/" + type;
}

void BluetoothScanner::OnRemoved(const std::string& device)
{
    if (devices_.erase(device) > 0) {
        heard_(device, std::nullopt);
    }
}

void BluetoothScanner::End()
{
    if (isScanning_) {
        static_cast<void>(StopScan());
    }
    devices_.clear();
}

}  // namespace Vexo::Linux
