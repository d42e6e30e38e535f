// ShareUsage: counts the bytes that the hotspots of this daemon have carried this month, and the bytes of each station
// since it joined. It computes them from successive states of the hotspot (ShareControl::ReadState). ShareUsage has no
// clock and no lock. The caller passes the time and the states, and locks a mutex around each call. No call blocks.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "host/sharing/share_time.h"
#include "host/sharing/sharing_file.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Host {

// Returns the first day of the accounting month that contains the given day. firstDay: the day of the calendar month (1
// to 31) on which an accounting month begins. In a shorter calendar month, the accounting month begins on the last day.
std::chrono::local_days MonthOf(std::chrono::local_days day, uint32_t firstDay);

class ShareUsage {
public:
    struct Station {
        std::chrono::sys_seconds since;  // when the station was first seen
        uint64_t bytes = 0;              // bytes carried in both directions since the time `since`
        bool isConnected = false;        // connected in the latest state of the hotspot
        SteadyTime lastSeen{};
        uint64_t lastReceived = 0;  // the station's counters in the latest state of the hotspot
        uint64_t lastSent = 0;
    };

    ShareUsage(uint32_t firstDay, const SharingRecord& record, const ShareTime& now);

    void OnHotspotState(const Wifi::ShareInfo& info, const ShareTime& now);
    // Begins a new month when the date is in a later month than the counted month. Keeps the counted month when the
    // date is before it, because somebody may have set the clock back. If the date stays before the counted month for
    // as long as a month lasts, counts the month of the date from then on.
    void OnTime(const ShareTime& now);

    uint64_t MonthBytes() const { return monthBytes_; }
    std::chrono::local_days MonthDay() const { return month_; }
    // Returns the stations by MAC address: connected stations, and stations that disconnected a few minutes ago.
    const std::map<std::string, Station>& Stations() const { return stations_; }
    // Writes record.monthDay and record.monthBytes.
    void Store(SharingRecord& record) const;

private:
    const uint32_t firstDay_;
    std::chrono::local_days month_;
    SteadyTime monthSeen_;  // when the date was last in the month month_
    uint64_t monthBytes_ = 0;
    uint32_t openingNumber_ = 0;
    std::map<std::string, Station> stations_;
};

}  // namespace Vexo::Host
