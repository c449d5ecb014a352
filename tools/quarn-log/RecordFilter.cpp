#include "RecordFilter.h"

#include "TimeText.h"

#include <algorithm>

namespace Quarn::Logging::Tool {

long double WallTimeOf(const SRecordView& record, double startTime)
{
    return static_cast<long double>(startTime) + static_cast<long double>(record.time);
}

bool RecordFilter::Passes(const SRecordView& record, double startTime) const
{
    if (level && record.level < *level) {
        return false;
    }
    if (!categories.empty() && std::find(categories.begin(), categories.end(), record.category) == categories.end()) {
        return false;
    }
    if (!sinceMs && !untilMs) {
        return true;
    }
    const std::optional<std::int64_t> time = MillisecondsOf(static_cast<double>(WallTimeOf(record, startTime)));
    return time && (!sinceMs || *time >= *sinceMs) && (!untilMs || *time <= *untilMs);
}

} // namespace Quarn::Logging::Tool
