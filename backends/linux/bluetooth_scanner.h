// BluetoothScanner: hears through BlueZ which other devices of the account advertise themselves nearby. It scans only
// while somebody seeks a device, because scanning costs power and air time. Advertisements of strangers cost no call
// and no memory. Used on the channel's strand (bluetooth_channel.h); blocks for BlueZ's answers.
#pragma once

#include <algorithm>
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

    // Scans on this adapter from now on, by its path; empty: on none. What another one heard is reported as gone.
    void UseAdapter(const std::string& adapter);
    // Scans until then at least, from the next Update on.
    void SeekUntil(SteadyTime until) { until_ = std::max(until_, until); }
    // Starts or ends scanning, and reports what has not been heard for long as gone. After an error: again, later.
    [[nodiscard]] Result<void> Update();
    // When the next Update is due; nothing: after another call.
    std::optional<SteadyTime> NextUpdate() const;

    // BlueZ tells properties of a device: all of a new one, or those that changed.
    void OnProperties(const std::string& device, const PropertyMap& properties);
    void OnRemoved(const std::string& device);

    // BlueZ, and its scan, has ended: reports everything heard as gone.
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
    // "AA:BB:CC:DD:EE:FF/public"; empty when BlueZ does not tell it.
    std::string AddressOf(const std::string& device, const PropertyMap& properties);

    DaemonCalls& bluez_;
    const SoftBus::AnnouncementChannel::IsOurs isOurs_;
    const SoftBus::AnnouncementChannel::Heard heard_;
    const Clock& clock_;

    std::string adapter_;  // its path; empty: none
    SteadyTime until_;
    bool isScanning_ = false;                // or may be, as far as is known
    std::map<std::string, Device> devices_;  // of this account, by BlueZ's path
    QuviewDFX::LogLimit<std::string> logLimit_;
};

}  // namespace Vexo::Linux
