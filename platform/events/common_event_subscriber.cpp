#include "platform/events/common_event_subscriber.h"

#include <algorithm>

namespace Vexo::EventFwk {

bool MatchingSkills::Match(const Want& want) const
{
    return std::find(events_.begin(), events_.end(), want.GetAction()) != events_.end();
}

}  // namespace Vexo::EventFwk
