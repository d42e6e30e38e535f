// BluetoothScanner: hears through BlueZ which other devices of the account advertise themselves nearby. It scans only
// while somebody seeks a device, because scanning costs power and air time. Advertisements of strangers cost no call
// and no memory. Used on the channel's strand (bluetooth_channel.h); blocks for BlueZ's answers.
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

    // Sets the adapter to scan on, by its path; empty: none. After a change, everything heard before is reported as
    // gone.
    void UseAdapter(const std::string& adapter);
    // Starts or ends scanning. While it does not scan, reports devices that were not heard for 30 s as gone. After an
    // error, call it again later.
    [[nodiscard]] Result<void> Update(bool isSought);
    // When the next Update is due. Nothing: only after another call.
    std::optional<SteadyTime> NextUpdate() const;

    // BlueZ reports properties of a device: all of a new one, or those that changed.
    void OnProperties(const std::string& device, const PropertyMap& properties);
    void OnRemoved(const std::string& device);

    // Call when BlueZ has ended, and its scan with it. Reports everything heard as gone.
    void Reset();
    // Ends scanning without another callback.
    void End();

private:
    struct Device {
        SoftBus::Announcement announcement;
        std::string address;  // with its type
        SteadyTime heardAt;
    };

    [[nodiscard]] Result<void> StartScan();
    [[nodiscard]] Result<void> StopScan();
    // "AA:BB:CC:DD:EE:FF/public"; empty when BlueZ does not report it.
    std::string AddressOf(const std::string& device, const PropertyMap& properties);

    DaemonCalls& bluez_;
    const SoftBus::AnnouncementChannel::IsOurs isOurs_;
    const SoftBus::AnnouncementChannel::Heard heard_;
    const Clock& clock_;

    std::string adapter_;                    // its path; empty: none
    bool isScanning_ = false;                // also true when BlueZ did not answer
    std::map<std::string, Device> devices_;  // of this account, by BlueZ's path
    QuviewDFX::LogLimit<std::string> logLimit_;
};

}  // namespace Vexo::Linux
