#include "host/sharing/share_time.h"

#include <ctime>

namespace Vexo::Host {

using namespace std::chrono;

local_days LocalDayOf(WallTime time)
{
    // localtime_r alone does not notice a change of the machine's time zone.
    ::tzset();
    const std::time_t seconds = system_clock::to_time_t(time);
    std::tm parts{};
    if (::localtime_r(&seconds, &parts) == nullptr) {
        return local_days(floor<days>(time).time_since_epoch());
    }
    return local_days(year(parts.tm_year + 1900) / (parts.tm_mon + 1) / parts.tm_mday);
}

sys_seconds BeginningOf(local_days day)
{
    const year_month_day date(day);
    std::tm parts{};
    parts.tm_year = static_cast<int>(date.year()) - 1900;
    parts.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    parts.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    parts.tm_isdst = -1;  // unknown: mktime determines it
    return SecondsOf(system_clock::from_time_t(std::mktime(&parts)));
}

}  // namespace Vexo::Host
