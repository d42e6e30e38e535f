// ShareUsage: how many bytes the hotspots of this daemon have carried since the month's first day, and for each station
// since it joined: from successive looks at the hotspot. It only counts: the caller gives the time and the looks, and
// locks. No call blocks.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "host/sharing/share_time.h"
#include "host/sharing/sharing_file.h"
#include "platform/wifi/share_control.h"

namespace Vexo::Host {

// The first day of the month that the day is in: the firstDay, 1 to 31, or the last day of a shorter month.
std::chrono::local_days MonthOf(std::chrono::local_days day, uint32_t firstDay);

class ShareUsage {
public:
    struct Station {
        std::chrono::sys_seconds since;  // when it was seen first
        uint64_t bytes = 0;              // both directions, since then
        bool isConnected = false;        // at the last look
        SteadyTime lastSeen{};
        uint64_t lastReceived = 0;  // the counters at the last look
        uint64_t lastSent = 0;
    };

    ShareUsage(uint32_t firstDay, const SharingRecord& record, const ShareTime& now);

    void OnLook(const Wifi::ShareInfo& info, const ShareTime& now);
    // Starts the month anew once its first day has come. A date before the month's first day, which a clock that was
    // set back shows, starts nothing anew, unless it lasts for a month: then the clock was ahead before.
    void OnTime(const ShareTime& now);

    uint64_t MonthBytes() const { return monthBytes_; }
    std::chrono::local_days MonthDay() const { return month_; }
    // By MAC address: connected ones, and those that were so a short while ago.
    const std::map<std::string, Station>& Stations() const { return stations_; }
    // Fills in the month.
    void Store(SharingRecord& record) const;

private:
    const uint32_t firstDay_;
    std::chrono::local_days month_;
    SteadyTime monthSeen_;  // when the date was last not before the month
    uint64_t monthBytes_ = 0;
    uint32_t opening_ = 0;
    std::map<std::string, Station> stations_;
};

}  // namespace Vexo::Host
