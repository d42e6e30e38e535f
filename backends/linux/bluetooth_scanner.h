// BluetoothScanner: finds nearby devices of this account by their Bluetooth advertisements, through BlueZ. It scans
// only while the channel seeks a device, because scanning costs power and radio time. For advertisements of other
// accounts it makes no D-Bus call and stores nothing. Used on the strand of the Bluetooth channel
// (bluetooth_channel.h). Calls block until BlueZ answers.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "backends/linux/bluez.h"
#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/dfx/log_limit.h"
#include "platform/softbus/discovery/announcement_channel.h"

namespace Vexo::Linux {

class BluetoothScanner : public NoCopyable {
public:
    BluetoothScanner(DaemonCalls& bluez, SoftBus::AnnouncementChannel::IsOurs isOurs,
                     SoftBus::AnnouncementChannel::Heard heard, const Clock& clock)
        : bluez_(bluez), isOurs_(std::move(isOurs)), heard_(std::move(heard)), clock_(clock)
    {
    }

    // Sets the adapter on which Update scans. If the adapter changes, all devices found before are reported as gone.
    // adapter: the adapter's D-Bus path; empty: no adapter.
    void UseAdapter(const std::string& adapter);
    // Starts or stops the scan. isSought: whether to scan. If no scan runs, devices that were not heard for 30 s are
    // reported as gone. After an error, call Update again later.
    [[nodiscard]] Result<void> Update(bool isSought);
    // Returns the time at which Update must be called again; nullopt while a scan runs or no device is known.
    std::optional<SteadyTime> NextUpdate() const;

    // Call this when BlueZ reports properties of a device. device: the device's D-Bus path. properties: all properties
    // if the device is new, otherwise those that have changed.
    void OnProperties(const std::string& device, const PropertyMap& properties);
    void OnRemoved(const std::string& device);

    // Reports all devices as gone. Call this when BlueZ has exited, because the scan has then ended too.
    void Reset();
    // Stops the scan and forgets all devices. Calls no callback.
    void End();

private:
    struct Device {
        SoftBus::Announcement announcement;
        std::string address;  // the address and its type, such as "AA:BB:CC:DD:EE:FF/public"
        SteadyTime heardAt;
    };

    [[nodiscard]] Result<void> StartScan();
    [[nodiscard]] Result<void> StopScan();
    // Returns the device's address with the address type, such as "AA:BB:CC:DD:EE:FF/public". Returns an empty text if
    // BlueZ does not report the address.
    std::string AddressOf(const std::string& device, const PropertyMap& properties);

    DaemonCalls& bluez_;
    const SoftBus::AnnouncementChannel::IsOurs isOurs_;
    const SoftBus::AnnouncementChannel::Heard heard_;
    const Clock& clock_;

    std::string adapter_;                    // the adapter's D-Bus path; empty: no adapter
    bool isScanning_ = false;                // also true if BlueZ did not answer the last call to start or stop
    std::map<std::string, Device> devices_;  // the devices of this account, by D-Bus path
    QuviewDFX::LogLimit<std::string> logLimit_;
};

}  // namespace Vexo::Linux
