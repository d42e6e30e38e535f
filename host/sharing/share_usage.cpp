#include "host/sharing/share_usage.h"

#include <algorithm>

namespace Vexo::Host {
namespace {

using std::chrono::days;
using std::chrono::local_days;

constexpr days LONGEST_MONTH{31};
constexpr std::chrono::minutes STATION_KEPT{3};  // a station that reconnects within this time keeps its byte count
constexpr uint64_t MOST_BYTES = uint64_t{1} << 53;

// Returns how much a counter has grown. A counter that is lower than before was reset to 0.
uint64_t Growth(uint64_t before, uint64_t now)
{
    return now >= before ? now - before : now;
}

}  // namespace

local_days MonthOf(local_days day, uint32_t firstDay)
{
    const auto firstOf = [firstDay](std::chrono::year_month month) {
        const std::chrono::year_month_day last(month / std::chrono::last);
        return local_days(month / std::min(std::chrono::day(firstDay), last.day()));
    };
    const std::chrono::year_month_day date(day);
    const std::chrono::year_month month(date.year(), date.month());
    const local_days first = firstOf(month);
    return first <= day ? first : firstOf(month - std::chrono::months(1));
}

ShareUsage::ShareUsage(uint32_t firstDay, const SharingRecord& record, const ShareTime& now)
    : firstDay_(firstDay), month_(record.monthDay), monthSeen_(now.boot), monthBytes_(record.monthBytes)
{
    OnTime(now);
}

void ShareUsage::OnTime(const ShareTime& now)
{
    const local_days month = MonthOf(LocalDayOf(now.wall), firstDay_);
    if (month > month_ || (month < month_ && now.boot - monthSeen_ >= LONGEST_MONTH)) {
        month_ = month;
        monthBytes_ = 0;
    }
    if (month == month_) {
        monthSeen_ = now.boot;
    }
}

void ShareUsage::OnHotspotState(const Wifi::ShareInfo& info, const ShareTime& now)
{
    OnTime(now);
    if (info.openingNumber != openingNumber_) {
        openingNumber_ = info.openingNumber;
        stations_.clear();
    }
    for (auto& [macAddress, station] : stations_) {
        station.isConnected = false;
    }
    for (const Wifi::ShareStation& seen : info.stations) {
        Station& station = stations_.try_emplace(seen.macAddress, Station{.since = SecondsOf(now.wall)}).first->second;
        const uint64_t carried =
            Growth(station.lastReceived, seen.receivedBytes) + Growth(station.lastSent, seen.sentBytes);
        station.bytes += carried;
        station.isConnected = true;
        station.lastSeen = now.boot;
        station.lastReceived = seen.receivedBytes;
        station.lastSent = seen.sentBytes;
        if (info.isOpenedHere) {
            monthBytes_ = std::min(monthBytes_ + carried, MOST_BYTES);
        }
    }
    std::erase_if(stations_, [&](const auto& entry) { return now.boot - entry.second.lastSeen >= STATION_KEPT; });
}

void ShareUsage::Store(SharingRecord& record) const
{
    record.monthDay = month_.time_since_epoch();
    record.monthBytes = monthBytes_;
}

}  // namespace Vexo::Host
