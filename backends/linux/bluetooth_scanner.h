// BluetoothScanner: finds, through BlueZ, the other devices of the account that advertise themselves nearby. It scans
// only while a device is sought, because scanning costs power and air time. For advertisements of other accounts it
// makes no call and keeps nothing. Used on the channel's strand (bluetooth_channel.h); blocks for BlueZ's answers.
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

    // Sets the adapter to scan on, by its path; empty: none. After a change, all devices found before are reported as
    // gone.
    void UseAdapter(const std::string& adapter);
    // Starts or stops the scan. While no scan runs, reports devices that were not heard for 30 s as gone. After an
    // error, call Update again later.
    [[nodiscard]] Result<void> Update(bool isSought);
    // Returns when Update must be called again; nothing while a scan runs or no device is known.
    std::optional<SteadyTime> NextUpdate() const;

    // Call when BlueZ reports properties of a device: all properties of a new device, or those that changed.
    void OnProperties(const std::string& device, const PropertyMap& properties);
    void OnRemoved(const std::string& device);

    // Call when BlueZ has exited: its scan has ended too. Reports all devices as gone.
    void Reset();
    // Stops the scan and forgets all devices, without a callback.
    void End();

private:
    struct Device {
        SoftBus::Announcement announcement;
        std::string address;  // with its type: "AA:BB:CC:DD:EE:FF/public"
        SteadyTime heardAt;
    };

    [[nodiscard]] Result<void> StartScan();
    [[nodiscard]] Result<void> StopScan();
    // Returns the address with its type, "AA:BB:CC:DD:EE:FF/public"; empty if BlueZ does not report it.
    std::string AddressOf(const std::string& device, const PropertyMap& properties);

    DaemonCalls& bluez_;
    const SoftBus::AnnouncementChannel::IsOurs isOurs_;
    const SoftBus::AnnouncementChannel::Heard heard_;
    const Clock& clock_;

    std::string adapter_;                    // its path; empty: none
    bool isScanning_ = false;                // also true if BlueZ did not answer the last call to start or stop
    std::map<std::string, Device> devices_;  // of this account, by BlueZ's path
    QuviewDFX::LogLimit<std::string> logLimit_;
};

}  // namespace Vexo::Linux
